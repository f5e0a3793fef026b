# Sourced by the tools: builds and runs that watch the programs, and what the programs are told then.

# "address" (memory, leaks, undefined behaviour) and "thread" (data races) build in a folder of their
# own; "memcheck" takes the unit tests as they are and has valgrind run them.
sanitize() {
    case "$1" in
        address)
            build_with address,undefined
            # The simulated controller's libraries are preloaded, in front of the sanitizer's.
            export ASAN_OPTIONS=verify_asan_link_order=0:detect_stack_use_after_return=1
            export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
            ;;
        thread)
            build_with thread
            export TSAN_OPTIONS=second_deadlock_stack=1
            ;;
        memcheck)
            kinds=unit
            watcher_packages=(valgrind)
            # The tests' own operator new stays theirs: they make it fail.
            unit_options=(
                --suite unit --timeout-multiplier 20 --wrapper "valgrind --quiet --error-exitcode=99
                    --leak-check=full --soname-synonyms=somalloc=nouserintercepts
                    --suppressions=$root/tests/unit/memcheck.supp"
            )
            unit_report=testlog-valgrind # named after the wrapper
            ;;
        *) printf 'no such sanitizer: %s (there are address, thread and memcheck)\n' "$1" >&2 && return 2 ;;
    esac
}

watcher_packages=()
unit_options=()
unit_report=testlog
sim_options=()

build_with() {
    build_folder=$root/build-${1%%,*}
    # A library's undefined symbols are found in the sanitizer's own, which the program brings along.
    build_options=(-Db_sanitize="$1" -Db_lundef=false)
    # Where the tests of the simulated libraries find them.
    export SIM_LIBDIR=$build_folder/sim
}
