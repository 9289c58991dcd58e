#!/usr/bin/env bash
# scripts/pictures.sh [--check] STATES_DOC: draws docs/images/states.svg from the rows that the daemon follows, as the program
# states-doc prints them, and threads.svg from docs/images/threads.dot. Drawing needs the package graphviz; --check does not:
# each picture carries the graph and the style that it was drawn from, and the names of its nodes and edges.
set -uo pipefail

usage() { echo "Usage: scripts/pictures.sh [--check] STATES_DOC" >&2; }
check=
[[ ${1:-} != --check ]] || { check=1 && shift; }
[[ $# == 1 && -x $1 ]] || { usage && exit 2; }
states_doc=$(realpath "$1")
cd "$(dirname "${BASH_SOURCE[0]}")/../docs/images" || exit 2

graph_of() { # NAME
    case $1 in
    states) "$states_doc" --dot ;;
    *) cat "$1.dot" ;;
    esac
}

# What is put into the picture: how it looks, in light and dark, and what it was drawn from.
head_of() { # GRAPH
    printf '<style><![CDATA[\n%s\n]]></style>\n<metadata><![CDATA[\n%s\n]]></metadata>\n' "$(cat pictures.css)" "$1"
}

draw() { # NAME GRAPH
    local drawn
    drawn=$(neato -n2 -Tsvg <<<"$2") || return
    # Behind the line that ends the opening tag.
    sed -e '/^<svg/,/>$/{/>$/r '<(head_of "$2") -e '}' <<<"$drawn" >"$1.svg"
}

names_in_graph() { # GRAPH
    sed -nE 's/^  ([A-Za-z_]+) \[.*/\1/p' <<<"$1" | grep -vxE 'graph|node|edge'
    sed -nE '/ -> /{s/^ +//; s/ \[.*//; p}' <<<"$1" | awk -F ' -> ' '{ for (i = 1; i < NF; ++i) print $i "->" $(i + 1) }'
}

names_in_picture() { # SVG; the first title is the graph's own
    sed -nE 's/^<title>(.*)<\/title>$/\1/p' <<<"$1" | tail -n +2 | sed 's/&#45;/-/g; s/&gt;/>/g'
}

is_current() { # NAME GRAPH
    local svg
    svg=$(cat "$1.svg") || return
    [[ $svg == *"$(head_of "$2")"* ]] && diff <(names_in_graph "$2" | sort) <(names_in_picture "$svg" | sort) && return
    echo "docs/images/$1.svg is stale: run scripts/pictures.sh STATES_DOC" >&2
    return 1
}

failed=0
for name in states threads; do
    graph=$(graph_of "$name") || exit 1
    if [[ -n $check ]]; then
        is_current "$name" "$graph" || failed=1
    else
        draw "$name" "$graph" || { echo "$name cannot be drawn; is the package graphviz installed?" >&2 && exit 1; }
    fi
done
exit $failed
