#!/usr/bin/env bash
# Installs what the named sections of packaging/apt-packages.txt name (all of them unless any is named) and is not
# installed yet. Does nothing, and fast, when all is there. With --list it prints the names instead.
set -euo pipefail

list="$(dirname "${BASH_SOURCE[0]}")/../packaging/apt-packages.txt"

# Prints the packages of the named sections, or of all.
wanted_packages() {
    local sections=" $* "
    while read -r line; do
        case $line in
        '' | '#'*) ;;
        '['*) section=${line//[][]/} ;;
        *) if [[ $# == 0 || $sections == *" $section "* ]]; then echo "$line"; fi ;;
        esac
    done <"$list" | LC_ALL=C sort -u
}

missing_packages() {
    local wanted installed
    wanted=$(wanted_packages "$@")
    # dpkg-query fails when it does not know one of the names, yet lists the others.
    # shellcheck disable=SC2086
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' $wanted 2>/dev/null |
        sed -n 's/^installed //p' | LC_ALL=C sort -u || true)
    LC_ALL=C comm -23 <(echo "$wanted") <(echo "$installed") |
        while read -r package; do
            # Node's maker packages npm with it, beside which Debian's cannot be installed.
            if [[ $package != npm ]] || ! command -v npm >/dev/null; then echo "$package"; fi
        done
}

# Runs a command that has much to say, which is shown only when it fails.
quietly() {
    local log
    log=$(mktemp)
    "$@" </dev/null >"$log" 2>&1 || { cat "$log" >&2; rm -f "$log"; return 1; }
    rm -f "$log"
}

if [[ ${1:-} == --list ]]; then
    wanted_packages "${@:2}"
    exit 0
fi
if ! command -v dpkg-query >/dev/null; then
    echo "setup: this is no Debian system; install the counterparts of $list yourself" >&2
    exit 0
fi
mapfile -t missing < <(missing_packages "$@")
if ((${#missing[@]} == 0)); then
    exit 0
fi

as_root=()
if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
        echo "setup: only root can install packages, and there is no sudo here. As root, run:" >&2
        echo "    apt update && apt install ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi
echo "setup: installing ${missing[*]}" >&2
quietly "${as_root[@]}" apt-get update -qq ||
    echo "setup: apt-get update failed, as above; going on with the lists that are there" >&2
quietly "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" || {
    echo "setup: not all could be installed, as above. Install them in another way, then run the command again:" >&2
    echo "    apt install ${missing[*]}" >&2
    exit 1
}
