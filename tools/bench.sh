#!/usr/bin/env bash
# Runs every benchmark of the release build, one after the other. Each prints ratios measured within one run.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
shopt -s nullglob
programs=("$root"/build/release/bin/bench_*)
[ ${#programs[@]} -gt 0 ] || { echo "no benchmark was built" >&2; exit 1; }
for program in "${programs[@]}"; do
  printf '\n== %s\n' "$(basename "$program")"
  "$program"
done
