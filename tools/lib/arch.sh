# Sourced by the tools: builds for another kind of machine, whose programs run under emulation here.

# Builds for the named architecture from now on, in a folder of its own.
build_for() {
    case "$1" in
        arm64) ;;
        *) printf 'no such architecture: %s (there is arm64)\n' "$1" >&2 && return 2 ;;
    esac
    [ "$(dpkg --print-architecture)" != "$1" ] || return 0
    know_architecture "$1"
    cross_file=$root/packaging/cross/$1.ini
    build_folder=$root/build-$1
    build_options=(--cross-file "$cross_file")
    build_packages+=(
        g++-aarch64-linux-gnu qemu-user-static
        {libjson-c-dev,libssl-dev,libsystemd-dev,libgtest-dev,libgmock-dev,libasan8,libtsan2,libubsan1}:"$1"
    )
    # Where the tests of the simulated libraries find them.
    export SIM_LIBDIR=$build_folder/sim
    unit_options+=(--timeout-multiplier 10)
    sim_options=(--cross-file="$cross_file")
}

# Makes the packages of another architecture known to the machine, beside its own.
know_architecture() {
    dpkg --print-foreign-architectures | grep -qx "$1" && return 0
    if [ "$(id -u)" -ne 0 ]; then
        printf 'Only root can make packages of %s known: dpkg --add-architecture %s\n' "$1" "$1" >&2
        return 1
    fi
    dpkg --add-architecture "$1"
}
