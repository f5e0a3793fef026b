# Sourced by the tools: builds with another compiler, or by other options of it.

# Builds from now on with the named compiler ("g++", "clang-19"), in a folder of its own.
#
# usage: build_by COMPILER STANDARD [-O0..-O3] [--lto]
build_by() {
    local name=$1 compiler=$1 standard=$2 option cache
    shift 2
    cache=$(command -v ccache || true)
    case "$compiler" in
        g++*) build_packages+=("$compiler") ;;
        clang-*)
            build_packages+=("$compiler")
            compiler=clang++-${compiler#*-}
            ;;
        *) printf 'no such compiler: %s (there are g++ and clang-VERSION)\n' "$compiler" >&2 && return 2 ;;
    esac
    # With the cache that Meson takes for the compiler that it finds by itself.
    export CXX="${cache:+ccache }$compiler"

    build_folder=$root/build-$name-$standard
    case "$standard" in
        # Meson's list of what a compiler knows is older than some compilers; all of them know this name.
        c++23) build_options=(-Dcpp_std=none -Dcpp_args=-std=c++2b) ;;
        *) build_options=(-Dcpp_std="$standard") ;;
    esac
    for option in "$@"; do
        build_folder+=-${option##*-}
        case "$option" in
            -O*) build_options+=(-Doptimization="${option#-O}") ;;
            --lto) build_options+=(-Db_lto=true) ;;
        esac
    done
    # Where the tests of the simulated libraries find them.
    export SIM_LIBDIR=$build_folder/sim
}
