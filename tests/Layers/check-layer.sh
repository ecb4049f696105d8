#!/usr/bin/env bash
# check-layer.sh COMPILER OWN-HEADER UPPER-HEADER INCLUDE-ROOT...
# Fails unless OWN-HEADER is found below the include roots and UPPER-HEADER is not.
set -u
compiler=$1 own=$2 upper=$3
shift 3
flags=(-std=c++20 -x c++ -fsyntax-only)
for root in "$@"; do flags+=("-I$root"); done

reaches() { printf '#include "%s"\n' "$1" | "$compiler" "${flags[@]}" - 2>&1; }

if ! output=$(reaches "$own"); then
  echo "the layer does not reach its own header $own:"
  echo "$output"
  exit 1
fi
if output=$(reaches "$upper"); then
  echo "the layer reaches $upper, which lies above it"
  exit 1
fi
grep -q "$upper: No such file or directory" <<<"$output" || { echo "$output"; exit 1; }
