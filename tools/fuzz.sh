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

# Something of each kind to begin with: whole files of a third of a second, and what the program itself reads.
corpus=$root/build/fuzz/corpus
mkdir -p "$corpus"/fuzz_{audio_file,vocabulary,model_bundle,meeting_details}
for extension in wav flac ogg opus mp3 m4a aiff caf w64 mka; do
  ffmpeg -nostdin -loglevel error -y -f lavfi -i sine=frequency=440:sample_rate=16000:duration=0.3 \
    "$corpus/fuzz_audio_file/seed.$extension"
done
echo '{"0": "▁the", "1": "s", "not a number": "x"}' > "$corpus/fuzz_vocabulary/seed.json"
cp "$root"/models/starter/*/Decoder.mlmodelc/coremldata.bin "$corpus/fuzz_model_bundle/seed"
mkdir -p "$corpus/fuzz_rttm"
cp "$root"/samples/*.rttm "$corpus/fuzz_rttm"
cat > "$corpus/fuzz_meeting_details/seed.json" <<'JSON'
[{"text":"x","assignee":"y","timestamp":1.5,"title":"x","startSeconds":1,"endSeconds":2e3,"name":"\u00e9","email":null}]
JSON

export LSAN_OPTIONS=suppressions=$root/tools/sanitizers/lsan.supp:print_suppressions=0
for program in "$root"/build/fuzz/bin/fuzz_*; do
  name=$(basename "$program")
  mkdir -p "$root/build/fuzz/findings" "$corpus/$name"
  echo "== $name, $seconds s"
  "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$root/build/fuzz/findings/$name-" "$corpus/$name" 2>&1 | tail -n 12
done
