#!/usr/bin/env bash
# Runs a cross build under qemu-user: its tests in virtual time and against a pseudo-terminal, and one connection on the
# bench; and counts the program and a command's system calls against bench/counts-ARCH.txt. Arguments: armhf or arm64, the
# build's folder. What wants the daemon's own speed (scenarios, ./prove), a browser or systemd is left to the building
# machine's own ./test. Status 0 when all of it has passed.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib.sh
. scripts/lib.sh

readonly arch=$1 folder=$2
readonly sysroot=$PWD/build/sysroot/$arch
# The emulator's own: its name is the process's, it has no TIOCGEXCL, and it runs no program that a test starts.
readonly NOT_UNDER_EMULATION='^(Packaging$|Doctor.SaysWhoHasThePort|AtTtyPortTest.OpensTheLineRaw|Client\.|FleetClient\.|StatesDocument\.PicturesAreCurrent|celldctl\.|Faults.FatalSetUp)'
eval "$(dpkg-architecture --host-arch "$arch" --force --print-set 2>/dev/null)"
declare -rA EMULATORS=([armhf]=qemu-arm-static [arm64]=qemu-aarch64-static)

emulated() { # PROGRAM [ARGUMENT]...
    local program=$1
    shift
    "${EMULATORS[$arch]}" -L "$sysroot" "${STRACE[@]}" "$folder/bin/$program" "$@"
}
STRACE=()

# The emulator's record of the calls goes to standard error. It has no vDSO: on a unit the time costs no call.
calls_of() { # PIECE ROUNDS
    local STRACE=(-strace)
    emulated counts "$1" "$2" 2>&1 >/dev/null | grep -aE '^[0-9]+ [a-z_0-9]+\(' | grep -acv ' clock_gettime'
}

count_all() {
    local work stripped few=500 many=1500 module
    work=$(mktemp -d)
    stripped=$work/celld
    mkfifo "$work/orders"
    export CELLD_ROOT=$work
    emulated quick-module "$work" <>"$work/orders" >"$work/module.log" 2>&1 &
    module=$!
    until grep -q ready "$work/module.log"; do
        kill -0 $module && sleep 0.1
    done
    calls=$(($(calls_of command $many) - $(calls_of command $few)))
    kill $module
    echo "calls.command $(awk -v calls=$calls -v n=$((many - few)) 'BEGIN {printf "%.1f", calls / n}')"
    "$DEB_HOST_GNU_TYPE-strip" -o "$stripped" "$folder/bin/celld"
    echo "program.bytes $(stat -c %s "$stripped")"
    echo "program.relocations $(readelf -rW "$stripped" | grep -cE '^[0-9a-f]{8,16} ')"
    echo "program.objects $("${EMULATORS[$arch]}" -L "$sysroot" -E LD_TRACE_LOADED_OBJECTS=1 "$stripped" | grep -c '=> /')"
    rm -r "$work"
}

say "Testing under ${EMULATORS[$arch]}"
QEMU_LD_PREFIX=$sysroot run_logged "$folder/tests.log" ctest --test-dir "$folder" --parallel "$(nproc)" \
    --label-exclude 'scenario|prove|browser' --exclude-regex "$NOT_UNDER_EMULATION" --timeout 600
tail -n 4 "$folder/tests.log"

say "Connecting under ${EMULATORS[$arch]}"
mkdir -p "$folder/emulated"
for program in celld celld-sim celldctl; do
    printf '%s\n' '#!/bin/sh' "exec ${EMULATORS[$arch]} -L $sysroot $PWD/$folder/bin/$program \"\$@\"" >"$folder/emulated/$program"
    chmod +x "$folder/emulated/$program"
done
CELLD_PROGRAMS=$folder/emulated run_logged "$folder/connection.log" ./demo --until connected
grep -oE "[0-9:.]+Z NOTICE celld.modem.state: .*to 'Modem::State::CONNECTED'" "$folder/connection.log" | tail -n 1

say "Counting"
count_all >"$folder/counts"
awk -f bench/verdict.awk "$folder/counts" "bench/counts-$arch.txt"
