#!/usr/bin/env bash
# Packs the tree $1 for distribution, builds the wheel of that without a network, installs it where nothing else is, and
# runs README's lines there.
# With a second argument, a wheel that was built already, it leaves out the building.
set -euo pipefail
source=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
unset PYTHONPATH
pip=(python3 -m pip --disable-pip-version-check -q)

wheel=${2:-}
if [[ -z $wheel ]]; then
    (cd "$source" && python3 setup.py -q egg_info --egg-base "$scratch" sdist -d "$scratch")
    "${pip[@]}" wheel "$scratch"/flowbook-*.tar.gz --no-build-isolation --no-deps --no-index -w "$scratch"
    wheel=$(echo "$scratch"/flowbook-*.whl)
fi
python3 -m venv --without-pip "$scratch/venv"
"${pip[@]}" --python "$scratch/venv/bin/python" install --no-index "$wheel"
cd "$scratch"
sed -n '/^```python$/,/^```$/{/^```/d;p}' "$source/README.md" >readme.py
[[ $(venv/bin/python readme.py) == 'Running mean x = 1; '* ]]
venv/bin/python -c 'import flowbook, importlib.metadata as m; assert m.version("flowbook") == flowbook.__version__'
venv/bin/python -c 'import flowbook, sys; sys.exit(not flowbook.__file__.startswith(sys.prefix))'
