#!/usr/bin/env bash
# Installs what packaging/apt-packages.txt names and is not installed yet. Does nothing, and fast, when all is there.
set -euo pipefail

list="$(dirname "${BASH_SOURCE[0]}")/../packaging/apt-packages.txt"

missing_packages() {
    local wanted installed
    wanted=$(grep -Ev '^(#|$)' "$list" | sort)
    # dpkg-query fails when it does not know one of the names, yet lists the others.
    # shellcheck disable=SC2086
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' $wanted 2>/dev/null |
        sed -n 's/^installed //p' | sort -u || true)
    comm -23 <(echo "$wanted") <(echo "$installed")
}

if ! command -v dpkg-query >/dev/null; then
    echo "setup: this is no Debian system; install the counterparts of $list yourself" >&2
    exit 0
fi
mapfile -t missing < <(missing_packages)
if ((${#missing[@]} == 0)); then
    exit 0
fi

as_root=()
if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
        echo "setup: not root and no sudo; please install: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi
echo "setup: installing ${missing[*]}" >&2
"${as_root[@]}" apt-get update -qq </dev/null >&2
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null >&2
