#!/usr/bin/env bash
# Builds the fuzz targets with clang's libFuzzer and runs each for FUZZ_SECONDS (default 60). What they find lies in
# build/fuzz/findings; a finding is mended after a test shows it.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${FUZZ_SECONDS:-60}

if ! command -v clang++ >/dev/null || ! dpkg-query -W libclang-rt-14-dev >/dev/null 2>&1; then
  install=(apt-get install -q -y --no-install-recommends clang libclang-rt-14-dev)
  if [ "$(id -u)" = 0 ]; then "${install[@]}"; else sudo "${install[@]}"; fi
fi

cmake -S "$root" -B "$root/build/fuzz" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DVARNEL_FUZZ=ON -DBUILD_TESTING=OFF \
  -DVARNEL_SANITIZE=address,undefined
cmake --build "$root/build/fuzz" --target fuzzers

export LSAN_OPTIONS=suppressions=$root/tools/sanitizers/lsan.supp:print_suppressions=0
for program in "$root"/build/fuzz/bin/fuzz_*; do
  name=$(basename "$program")
  corpus=$root/build/fuzz/corpus/$name
  mkdir -p "$corpus" "$root/build/fuzz/findings"
  echo "== $name, $seconds s"
  "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$root/build/fuzz/findings/$name-" "$corpus" 2>&1 | tail -n 12
done
