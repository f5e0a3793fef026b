# Sourced by the tools: brings a fresh Debian 12 to where the project can be built and run.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# Debian's Python has the packages that are installed below; another one in PATH may not.
export PATH="/usr/bin:$PATH"
# The simulated controller, and what the tests, the long runs and the bench share; as in pytest.ini.
export PYTHONPATH=$root:$root/sim:$root/tests

build_packages=(
    g++ meson ninja-build pkg-config
    libboost-dev libjson-c-dev libssl-dev libsystemd-dev
    libgtest-dev libgmock-dev
    python3 python3-yaml
)
run_packages=(
    bubblewrap proot dbus dbus-tests strace systemd valgrind
    python3-cryptography python3-dbus-next python3-pytest python3-pytest-xdist python3-rich
)
lint_packages=(clang-format clang-tidy git jq)

# The comment at a tool's head is its help.
usage() { awk 'NR > 1 { if (!/^#/) exit; sub(/^# ?/, ""); print }' "$0"; }

say() { printf '\n== %s\n' "$*"; }

# A name without an architecture means the machine's own.
missing_packages() {
    local package architecture
    for package in "$@"; do
        architecture=$(dpkg --print-architecture)
        [[ $package == *:* ]] && architecture=${package#*:}
        dpkg-query -W -f '${db:Status-Status} ${Architecture}\n' "${package%:*}" 2>/dev/null |
            grep -qxE "installed ($architecture|all)" || printf '%s\n' "$package"
    done
}

# Runs a command; what it prints is shown only when it fails.
quietly() {
    local output
    output=$("$@" 2>&1) || { printf '%s\n' "$output" >&2 && return 1; }
}

# Installs those of the named packages that are missing; as an ordinary user, says what is needed.
ensure_packages() {
    local missing
    missing=$(missing_packages "$@")
    [ -z "$missing" ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        printf 'These packages are missing, and only root can install them:\n\n' >&2
        printf '    apt-get install --no-install-recommends %s\n\n' "$(echo $missing)" >&2
        return 1
    fi
    say "Installing $(echo "$missing" | wc -l) packages: $(echo $missing)"
    export DEBIAN_FRONTEND=noninteractive
    quietly apt-get -qq update
    # shellcheck disable=SC2086
    quietly apt-get -qq -y install --no-install-recommends $missing
    installed=yes
}

# Where `build` builds, and how; tools that need a build of another kind have a folder of their own.
build_folder=$root/build
build_options=()
# Set where something was just installed: what an earlier configuration did not find may be there now.
installed=

# Builds targets (all of them where none is named) in the build folder, which it configures if need be.
build() {
    # A warning stops a change, but not somebody's newer compiler.
    local werror=false
    [ -n "${CI:-}" ] && werror=true
    say "Building in $(basename "$build_folder")"
    if [ ! -f "$build_folder/build.ninja" ]; then
        meson setup "$build_folder" "$root" -Dwerror="$werror" "${build_options[@]}"
    elif [ -n "$installed" ]; then
        meson setup --reconfigure "$build_folder" "$root" -Dwerror="$werror"
    elif [ -n "${CI:-}" ]; then
        meson configure "$build_folder" -Dwerror=true
    fi
    ninja -C "$build_folder" "$@"
}
