#!/usr/bin/env bash
# Fails on an include that points upward. The order, topmost first; who stands on one line may include each other:
#   main
#   modem
#   variant, sim, status
#   at, gpio
#   data
#   bus, record, timer, utils
#   the platform's public headers
#   files, service, threads (in common/: what is at a path, the datagram for the service manager, the locks)
# platform/ knows nothing of src/, and its public headers nothing of the locks. celld-sim knows nothing of them all: it
# stands in for the module, not for the daemon.
set -u

usage() { echo "Usage: scripts/check-layers.sh [TREE]" >&2; }
(($# <= 1)) || { usage && exit 2; }
cd "${1:-$(dirname "${BASH_SOURCE[0]}")/..}" || exit 2

declare -A rank=(
    [main]=6 [modem]=5 [variant]=4 [sim]=4 [status]=4 [at]=3 [gpio]=3 [data]=2 [bus]=1 [record]=1 [timer]=1 [utils]=1
)
found=0
wrong() { # FILE:LINE:INCLUDE WHY
    printf '%s: %s\n' "${1%%:*}:$(cut -d: -f2 <<<"$1")" "$2: ${1##*:}"
    found=$((found + 1))
}

includes_in() { # FOLDER...
    grep -rnoE --include='*.hpp' --include='*.cpp' '^[[:space:]]*#[[:space:]]*include[[:space:]]*["<][^">]+' "$@" |
        sed -E 's/:[^:]*["<]/:/'
}

check_daemon() {
    local line from file target to
    while IFS= read -r line; do
        file=${line%%:*} target=${line##*:}
        from=${file#src/} from=${from%%/*}
        if [[ $target == *platform/* || $target == ../* || $target == */../* ]]; then
            wrong "$line" "not a path from src/"
            continue
        fi
        [[ $target == */* ]] || continue
        to=${target%%/*}
        [[ -n ${rank[$to]:-} ]] || continue
        if [[ -z ${rank[$from]:-} ]]; then
            wrong "$line" "src/$from has no place in the order; give it one in $0"
        elif ((rank[$to] > rank[$from])); then
            wrong "$line" "src/$from includes upward"
        fi
    done < <(includes_in src)
}

check_apart() { # FOLDER FORBIDDEN WHY
    local line
    while IFS= read -r line; do
        [[ ${line##*:} =~ $2 ]] && wrong "$line" "$3"
    done < <(includes_in "$1")
}

readonly DAEMON='^(src|main|modem|variant|sim|status|at|gpio|data|bus|record|timer|utils)/|(^|/)\.\./(\.\./)*src/(main|modem|at)/'
check_daemon
check_apart platform "$DAEMON" "the platform includes the daemon"
check_apart platform/include '(^|/)\.\./|^(src|files|service|threads|com|config|logging|var)/' "a public header includes a private one"
if [[ -d tools/celld-sim ]]; then
    check_apart tools/celld-sim "^(src|main|modem|variant|sim|status|gpio|data|bus|timer|utils|files|service|threads)/|^ecu/|src/" \
        "the bench includes the daemon or the platform"
fi
((found == 0))
