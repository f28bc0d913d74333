#!/usr/bin/env bash
# Makes a flowbook of code and a picture, shows it, changes it and reads it back. usage: demo.sh FLOWBOOK_COMMAND
set -euo pipefail

flowbook=$(realpath -e "$1")
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p build/demo
cp examples/mean.txt examples/mean.svg build/demo
cd build/demo
rm -f mean.tqx
PATH="$(dirname "$flowbook"):$PATH"

show() {
    printf '$ %s\n' "$*"
    "$@"
    echo
}

show flowbook new mean.tqx --code mean.txt --image mean.svg --title 'Running mean' --version 1.2
show flowbook info mean.tqx
show flowbook set mean.tqx --version 1.3 --description 'Smooths a signal with a window of five samples'
show flowbook info mean.tqx
show flowbook cat mean.tqx
