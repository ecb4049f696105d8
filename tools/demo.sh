#!/usr/bin/env bash
# The main job on real speech: two recorded conversations of the same two people become stored transcripts. The first
# has them apart; they are named once; the second comes out with their names by itself.
# Works in a folder of its own, so that nothing of the user's is touched.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
demo=$root/build/demo
rm -rf "$demo"
mkdir -p "$demo"
# Neither the user's settings nor models that were fetched have a say in it.
export XDG_DATA_HOME=$demo/data XDG_CONFIG_HOME=$demo/config XDG_STATE_HOME=$demo/state
export VARNEL_STARTER_MODELS=$root/models/starter

say() { printf '\n\033[1m%s\033[0m\n' "$1"; }
show() { printf '\033[2m$ varnel'; printf ' %q' "$@"; printf '\033[0m\n'; }
varnel() { show "$@"; "$root/build/release/bin/varnel" "$@"; }

cd "$root"
say "A conversation of two people becomes a meeting. Their voices are told apart; nobody is known yet."
varnel transcribe --save samples/conversation.flac

say "The two get their names."
varnel speakers rename 'Speaker 1' Anna --meeting latest
varnel speakers rename 'Speaker 2' Boris --meeting latest

say "Another day the same two talk again: their voices are known, and the names come by themselves."
varnel transcribe --save samples/second-conversation.flac

say "Both meetings, and who speaks in them"
varnel meetings list
varnel speakers list

say "The second one as Markdown"
varnel meetings export latest --format md --output build/demo/second-conversation.md
cat build/demo/second-conversation.md
echo "The file is build/demo/second-conversation.md"
