#!/usr/bin/env bash
# Checks format and lint; `--fix` formats instead.
#   clang-format over every source, clang-tidy over the speech module and over whatever changed since LINT_BASE
#   (a commit; by default the fork point from origin/main, which in a fresh clone is none).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
mapfile -t sources < <(git ls-files --cached --others --exclude-standard '*.cpp' '*.h')

if [ "${1:-}" = --fix ]; then
  clang-format -i "${sources[@]}"
  exit 0
fi

echo "clang-format: ${#sources[@]} files"
clang-format --dry-run --Werror "${sources[@]}"

if grep -nE '^#include "\.\./' "${sources[@]}"; then
  echo "lint: an include goes up out of its folder; write the path from the root" >&2
  exit 1
fi

base=${LINT_BASE:-$(git merge-base HEAD origin/main 2>/dev/null || git rev-parse HEAD)}
mapfile -t changed < <(git diff --name-only --diff-filter=d "$base" -- '*.cpp')
mapfile -t linted < <(
  { git ls-files --cached --others --exclude-standard 'VarnelSpeech/*.cpp'; printf '%s\n' "${changed[@]}"; } |
    grep . | sort -u)

# clang cannot read the compiler's precompiled headers; every source includes what it uses.
commands=build/release/lint
mkdir -p "$commands"
sed -E 's/ -Winvalid-pch -include [^ "]+//; s/ -fpch-preprocess//' build/release/compile_commands.json \
  > "$commands/compile_commands.json"

echo "clang-tidy: ${#linted[@]} files"
printf '%s\0' "${linted[@]}" |
  xargs -0 -n 4 -P "$(nproc)" clang-tidy --quiet -p "$commands" 2> >(grep -v -E 'warnings? (generated|treated)|Suppressed|Use -header' >&2)
