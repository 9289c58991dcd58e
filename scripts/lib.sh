# shellcheck shell=bash
# What ./demo and ./test share: messages, missing packages, quiet steps, the build. Sourced by bash, from the tree's root.

# Everything that `cmake --preset release` needs, and the broker.
BUILD_PACKAGES=(
    g++ cmake ninja-build pkg-config protobuf-compiler libprotobuf-dev libmosquittopp-dev libgtest-dev libgmock-dev
    nlohmann-json3-dev libcli11-dev libmicrohttpd-dev mosquitto ca-certificates openssl
)

# What counts the cost of the code (bench/check-counts).
# shellcheck disable=SC2034 # for ./test
COUNT_PACKAGES=(valgrind strace)

# What the sanitizers' builds need besides: the compiler, its runtime libraries (libFuzzer's too), a linker that takes a fifth
# of the time, and what turns the addresses of a report into lines.
# shellcheck disable=SC2034 # for ./test
SANITIZER_PACKAGES=(clang libclang-rt-dev lld llvm)

# What packing needs besides the build: dpkg-shlibdeps and dpkg-buildflags, and file for what is stripped.
# shellcheck disable=SC2034 # for scripts/build-packages.sh
PACKING_PACKAGES=(dpkg-dev file)

# What building for another architecture needs besides: what its own packages of the sysroot are, and, on the building
# machine, compiler and emulator.
# shellcheck disable=SC2034 # for scripts/make-sysroot.sh
SYSROOT_PACKAGES=(
    libc6-dev libprotobuf-dev libmosquittopp-dev libgtest-dev libgmock-dev nlohmann-json3-dev libcli11-dev libmicrohttpd-dev
)
# shellcheck disable=SC2034 # for scripts/build-packages.sh
CROSS_PACKAGES_armhf=(crossbuild-essential-armhf qemu-user-static debian-archive-keyring)
# shellcheck disable=SC2034 # likewise
CROSS_PACKAGES_arm64=(crossbuild-essential-arm64 qemu-user-static debian-archive-keyring)

if [[ -t 1 && -z ${NO_COLOR:-} ]]; then
    BOLD=$'\e[1m' RED=$'\e[31m' GREEN=$'\e[32m' CYAN=$'\e[36m' YELLOW=$'\e[33m' PLAIN=$'\e[0m'
else
    # shellcheck disable=SC2034 # each user takes the ones it needs
    BOLD='' RED='' GREEN='' CYAN='' YELLOW='' PLAIN=''
fi

say() { printf '%s==>%s %s\n' "$BOLD" "$PLAIN" "$*"; }
complain() { printf '%s%s%s\n' "$RED" "$*" "$PLAIN" >&2; }
die() {
    complain "$*"
    exit 1
}

# run_logged LOG COMMAND...: silent while it works; on failure the end of the log.
run_logged() {
    local log=$1
    shift
    "$@" >"$log" 2>&1 && return
    complain "Failed: $*"
    tail -n 30 "$log" >&2
    complain "(all of it: $log)"
    return 1
}

is_installed() {
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

as_root() {
    if ((EUID == 0)); then
        "$@"
    else
        sudo "$@"
    fi
}

apt_quietly() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 "$@"
}

# Debian starts a broker of its own with the package. Nothing here uses it, so it does not stay.
stop_installed_broker() {
    if [[ -d /run/systemd/system ]]; then
        as_root systemctl --quiet disable --now mosquitto
    else
        as_root invoke-rc.d --quiet mosquitto stop
        as_root update-rc.d mosquitto disable
    fi >/dev/null 2>&1 || complain "The system's mosquitto service could not be switched off; it does no harm."
}

# install_missing PACKAGE...: installs those of them that are not there.
install_missing() {
    local package missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    ((${#missing[@]})) || return 0

    command -v apt-get >/dev/null || die "Missing: ${missing[*]}, and there is no apt-get to install them with."
    if ((EUID != 0)) && ! command -v sudo >/dev/null; then
        die "Missing: ${missing[*]}. Run this as root, or install sudo, or have them installed."
    fi
    local log
    log=$(mktemp "${TMPDIR:-/tmp}/celld-apt.XXXXXX")
    say "Installing ${missing[*]} (a few minutes on a fresh machine)"
    run_logged "$log" apt_quietly update ||
        complain "apt-get update failed; going on with the package lists that are there."
    if ! run_logged "$log" apt_quietly install --yes --no-install-recommends "${missing[@]}"; then
        die "The packages could not be installed. Is there a network, and is this Debian 12 or newer?"
    fi
    rm -f "$log"
    if [[ " ${missing[*]} " == *" mosquitto "* ]]; then
        stop_installed_broker
    fi
}

# What the build and the tests run under, if anything.
RUNNER=()

# build PRESET [TARGET...]: configures and builds; Ninja shows how far it is. One at a time in one tree: two runs of
# ./demo would write the same files.
build() {
    local preset=$1 lock=''
    shift
    { mkdir -p "build/$preset" && exec {lock}>"build/$preset.lock"; } 2>/dev/null ||
        die "Cannot write to $PWD/build: does the tree belong to another user? Copy it, or run this as its owner."
    if ! flock --nonblock "$lock"; then
        say "Waiting for another build of this tree to end"
        flock "$lock"
    fi
    # Closed for the build itself: a compiler server that it leaves behind would hold the lock for ever.
    configure_and_build "$preset" "$@" {lock}>&-
    local status=$?
    exec {lock}>&- # or the next build waits for the end of this process, not of this build
    return $status
}

configure_and_build() { # PRESET [TARGET...]
    local preset=$1 cache=()
    shift
    if command -v ccache >/dev/null; then
        cache=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    run_logged "build/$preset/configure.log" cmake --preset "$preset" "${cache[@]}" &&
        "${RUNNER[@]}" cmake --build --preset "$preset" --parallel "$(nproc)" ${1:+--target "$@"}
}
