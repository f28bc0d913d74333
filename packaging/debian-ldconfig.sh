#!/bin/sh
# Run after the libraries were installed or removed. In a root that is not the running system's nothing runs, so that
# packages can be installed there without privileges.
set -e
if [ -z "${DPKG_ROOT:-}" ]; then
    ldconfig
fi
