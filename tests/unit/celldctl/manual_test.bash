#!/usr/bin/env bash
# manual_test.bash MANUAL PROGRAM: every verb and option that the program lists stands in the manual page.
set -u
manual=$(sed -E 's/\\-/-/g; s/\\f[BIR]//g' "$1") program=$2 missing=0

listed() { # [VERB]
    "$program" "$@" --help | sed -nE 's/^  (-[^ ]*).*/\1/p' | tr ',' '\n'
}

need() { # WORD WHERE
    grep -qE -- "(^|[^a-z-])$1([^a-z-]|$)" <<<"$manual" && return
    printf 'the manual page lacks %s (%s)\n' "$1" "$2"
    missing=1
}

verbs=$("$program" --help | sed -nE '/^Verbs:/,/^$/s/^  ([a-z][a-z-]*) .*/\1/p')
[[ $(wc -w <<<"$verbs") -ge 7 ]] || { echo "no verbs are listed" && exit 1; }
for option in $(listed); do
    need "$option" celldctl
done
for verb in $verbs; do
    need "$verb" celldctl
    for option in $(listed "$verb"); do
        need "$option" "celldctl $verb"
    done
done
exit $missing
