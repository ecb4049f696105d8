#!/bin/sh
# Trains the cased piece vocabulary: make_pieces.sh TEXTS.tsv OUTPUT_PREFIX
set -e
cut -f2 "$1" | tr -d ',' | head -n 120000 > "$2.txt"
spm_train --input="$2.txt" --model_prefix="$2" --vocab_size=720 --model_type=bpe --character_coverage=1.0 \
  --user_defined_symbols='.,?' --max_sentencepiece_length=6 --bos_id=-1 --eos_id=-1 --unk_id=0 \
  --num_threads=1 --input_sentence_size=120000 --shuffle_input_sentence=false --minloglevel=1
rm "$2.txt"
