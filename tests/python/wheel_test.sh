#!/usr/bin/env bash
# Builds the wheel of the tree $1 without a network, installs it where nothing else is, and runs README's lines there.
# With a second argument, a wheel that was built already, it leaves out the building.
set -euo pipefail
source=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
unset PYTHONPATH
pip=(python3 -m pip --disable-pip-version-check -q)

wheel=${2:-}
if [[ -z $wheel ]]; then
    "${pip[@]}" wheel "$source" --no-build-isolation --no-deps --no-index -w "$scratch"
    wheel=$(echo "$scratch"/flowbook-*.whl)
fi
python3 -m venv --without-pip "$scratch/venv"
"${pip[@]}" --python "$scratch/venv/bin/python" install --no-index "$wheel"
cd "$scratch"
sed -n '/^```python$/,/^```$/{/^```/d;p}' "$source/README.md" >readme.py
[[ $(venv/bin/python readme.py) == 'Running mean x = 1; '* ]]
venv/bin/python -c 'import flowbook, sys; sys.exit(not flowbook.__file__.startswith(sys.prefix))'
