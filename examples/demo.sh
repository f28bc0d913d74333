#!/usr/bin/env bash
# Makes a flowbook without the library and reads it with the command. usage: demo.sh FLOWBOOK_COMMAND
set -euo pipefail

flowbook=$(realpath -e "$1")
cd "$(dirname "${BASH_SOURCE[0]}")/.."
example=build/demo/example.tqx

show() {
    printf '$ %s\n' "$*"
    "$@"
    echo
}

mkdir -p "$(dirname "$example")"
PATH="$(dirname "$flowbook"):$PATH"
show python3 examples/make_example.py "$example"
show flowbook info "$example"
show flowbook cat "$example"
