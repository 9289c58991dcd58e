#!/usr/bin/env bash
# Checks what a build installs: exactly the files of packaging/installed-files.txt, a unit that systemd takes and finds safe,
# a user with its groups, the lock, udev rights for the very lines that the daemon switches. Argument: the build's folder.
set -eu
build=$(realpath "$1")
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib.sh
. scripts/lib.sh
readonly MOST_EXPOSED=20 # tenths, of `systemd-analyze security`

root=$(mktemp -d "${TMPDIR:-/tmp}/celld-packaging.XXXXXX")
trap 'rm -rf "$root"' EXIT
failures=0
fail() {
    complain "packaging: $*"
    failures=$((failures + 1))
}

# silent NAME COMMAND...: fails with what the command says, be it with status 0; passes over a command that is not there.
silent() {
    local name=$1 said
    shift
    command -v "$1" >/dev/null || {
        say "$1 is not installed: $name is not looked at"
        return
    }
    if ! said=$("$@" 2>&1) || [[ -n $said ]]; then
        fail "$name: ${said:-status other than 0}"
    fi
}

install_component() { # COMPONENT
    cmake --install "$build" --prefix "$root/$1" --component "$1" >/dev/null
    (cd "$root/$1" && find . -type f -printf "$1 %P\n")
}

{ install_component celld && install_component tools; } | LC_ALL=C sort >"$root/installed"
diff --unified=0 packaging/installed-files.txt "$root/installed" || fail "other files are installed than are listed"
cmake --install "$build" --prefix "$root/whole" >/dev/null
[[ $(find "$root/whole" -type f | wc -l) == $(wc -l <"$root/installed") ]] || fail "a file belongs to no package"

unit=$root/celld/lib/systemd/system/celld.service
grep -qx "ExecStart=$root/celld/sbin/celld" "$unit" || fail "the unit does not start what was installed"
silent 'unit file' systemd-analyze verify --man=no "$unit"
if command -v systemd-analyze >/dev/null; then
    systemd-analyze security --offline=true --threshold=$MOST_EXPOSED "$unit" >"$root/exposure" ||
        fail "the unit is more exposed than $MOST_EXPOSED tenths: $(tail -n 1 "$root/exposure")"
fi

# In a system of its own: nothing here is touched.
mkdir -p "$root/unit/etc" "$root/unit/run" "$root/unit/usr" "$root/unit/sys/class/gpio"
cp -r "$root/celld/lib" "$root/unit/usr/"
: >"$root/unit/sys/class/gpio/export"
if ((EUID == 0)) && command -v systemd-sysusers systemd-tmpfiles >/dev/null; then
    systemd-sysusers --root="$root/unit" celld.conf 2>/dev/null || fail "sysusers: status $?"
    for group in dialout gpio; do
        grep -qE "^$group:.*[:,]celld(,|$)" "$root/unit/etc/group" || fail "user celld is not in group $group"
    done
    systemd-tmpfiles --root="$root/unit" --create celld.conf || fail "tmpfiles: status $?"
    id() { sed -n "s/^$2:[^:]*:\([0-9]*\):.*/\1/p" "$root/unit/etc/$1"; }
    [[ $(stat -c '%u %a' "$root/unit/run/celld.lock") == "$(id passwd celld) 644" ]] || fail "the lock is not the daemon's"
    [[ $(stat -c '%g %a' "$root/unit/sys/class/gpio/export") == "$(id group gpio) 220" ]] ||
        fail "the group gpio may not export"
else
    say "No root, or no systemd-sysusers: user and lock are not looked at"
fi

lines() { grep -ohE "$1" "${@:2}" | grep -oE '[0-9]+' | sort -nu | tr '\n' ' '; }
[[ $(lines 'gpio[0-9]+' <(grep -F 'KERNEL=="gpio' packaging/70-celld.rules)) == "$(lines 'Gpio\([0-9]+' src/gpio/*.cpp)" ]] ||
    fail "70-celld.rules gives rights to other lines than the daemon switches"
for script in packaging/debian/{postinst,prerm,postrm}; do
    silent "$script" sh -n "$script"
done
((failures == 0))
