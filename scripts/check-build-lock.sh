#!/usr/bin/env bash
# Checks the lock that build() holds: free once the build is over, no child's, and said in words where there can be none.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib.sh
. scripts/lib.sh

tree=$(mktemp -d "${TMPDIR:-/tmp}/celld-lock.XXXXXX")
trap 'rm -rf "$tree"' EXIT
cd "$tree"

held() { ! flock --nonblock "build/$1.lock" true; }
fail() {
    complain "build(): $*"
    exit 1
}

configure_and_build() {
    held "$1" || fail "the lock is free while it builds"
    sleep 60 & # what a build may leave behind
    left=$!
    # Until it runs its program a child of the shell holds what the shell has set aside for after the build.
    until [[ $(<"/proc/$left/comm") == sleep ]]; do :; done
    return 7
}
status=0
build some || status=$?
((status == 7)) || fail "the status of the build is lost"
held some && fail "the lock is held once the build is over"
kill "$left"

# Nobody, root included, makes a directory in a file's place.
rm -rf build
: >build
set +e
text=$( (build some) 2>&1)
status=$?
[[ $status == 1 && $text == *"Cannot write to $tree/build"* && $text != *unbound* ]] ||
    fail "a tree that cannot be written to is not said to be one: $text"
