#!/usr/bin/env bash
# The main job on real speech: the recorded conversation becomes a stored transcript, shown and exported.
# Works in a folder of its own, so that nothing of the user's is touched.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
varnel=$root/build/release/bin/varnel
demo=$root/build/demo
rm -rf "$demo"
mkdir -p "$demo"

say() { printf '\n\033[1m%s\033[0m\n' "$1"; }

say "Transcribing samples/conversation.flac and keeping it as a meeting"
"$varnel" --data-dir "$demo/data" transcribe "$root/samples/conversation.flac" --save

say "The stored meetings"
"$varnel" --data-dir "$demo/data" meetings list

say "Exported as Markdown"
"$varnel" --data-dir "$demo/data" meetings export latest --format md --output "$demo/conversation.md"
cat "$demo/conversation.md"
echo "The file is $demo/conversation.md"
