#!/usr/bin/env bash
# Runs what takes too long for `make test`: the tests labelled "soak", one after the other, on the release build.
#   tools/soak.sh [ctest options]
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
ctest --test-dir build/release -L '^soak$' --no-tests=error --output-on-failure "$@"
