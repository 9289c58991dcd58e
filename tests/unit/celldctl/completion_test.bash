#!/usr/bin/env bash
# completion_test.bash COMPLETION PROGRAM: what bash offers for a line of words, the last of which is being written.
set -u
completion=$1 program=$2 wrong=0
# shellcheck source=packaging/celldctl.bash-completion
. "$completion"

# expect "OFFERED..." WORD...
expect() {
    local offered=$1
    shift
    COMP_WORDS=("$program" "$@")
    COMP_CWORD=$#
    _celldctl "$program"
    # shellcheck disable=SC2053 # a pattern
    [[ "${COMPREPLY[*]}" == $offered ]] && return
    printf 'celldctl %s: offers "%s", not "%s"\n' "$*" "${COMPREPLY[*]}" "$offered"
    wrong=1
}

expect 'status *watch*wait-for*monitor*--version*--cafile*' ''
expect 'watch wait-for' wa
expect '*--changes*--timeout*--host*' monitor --
expect 'monitor' -h status mon # "status" is a host here
expect 'status,sim status,signals' monitor --only status,si
expect 'connecting connected' wait-for conn
expect 'on off' blackout ''
expect "$completion" --cafile "${completion%n}"
expect 'state since signal seen' fleet --sort s
expect '' status --unit ''
expect '' status --timeout ''
expect '*--files*' doctor --f
exit $wrong
