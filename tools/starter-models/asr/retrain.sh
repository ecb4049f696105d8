#!/bin/bash
# Trains the starter recogniser again: retrain.sh WORKDIR [START.pt]
#
# Everything that is made lies in WORKDIR; the networks end in WORKDIR/networks, to be copied by hand to
# models/starter/parakeet-tdt-0.6b-v3-coreml. Work is bounded by the numbers below and seeded, not timed.
# START.pt: acoustic weights to start from (for example WORKDIR/acoustic.pt of an earlier run); without it, from nothing.
set -euo pipefail
WORK=${1:?usage: retrain.sh WORKDIR [START.pt]}
START=${2:-}
HERE=$(cd "$(dirname "$0")" && pwd)
PYTHON=/usr/bin/python3

MEETING_SENTENCES=${MEETING_SENTENCES:-110000}
PLAIN_WINDOWS=${PLAIN_WINDOWS:-2000}   # for each of two seeds: dictionary examples and quotations only
MIXED_WINDOWS=${MIXED_WINDOWS:-3600}   # for each of two seeds: all kinds of sentences
LANGUAGE_STEPS=${LANGUAGE_STEPS:-4000}
FIRST_STEPS=${FIRST_STEPS:-3200}       # at a high learning rate
LAST_STEPS=${LAST_STEPS:-4000}         # falling to nothing

packages="python3-torch python3-onnx python3-numpy python3-scipy sentencepiece python3-sentencepiece sox espeak-ng flite festival
  festvox-kallpc16k festvox-kdlpc16k festvox-us-slt-hts wamerican wordnet-base fortunes fortunes-min"
if ! dpkg-query -W $packages >/dev/null 2>&1; then
  [ "$(id -u)" = 0 ] && become="" || become=sudo
  $become apt-get update
  $become apt-get install -y --no-install-recommends $packages
fi

mkdir -p "$WORK/windows"
cd "$WORK"
export OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1
$PYTHON "$HERE/make_texts.py" "$MEETING_SENTENCES" 11 texts.tsv
grep -v '^meeting' texts.tsv > plain.tsv
sh "$HERE/make_pieces.sh" texts.tsv pieces
synthesize() { # SEED COUNT TEXTS: both in parallel, each a fixed sequence of its own
  $PYTHON "$HERE/make_windows.py" "$1" "$2" "$3" windows > "windows-$1.log" & first=$!
  $PYTHON "$HERE/make_windows.py" $(($1 + 1)) "$2" "$3" windows > "windows-$(($1 + 1)).log" & second=$!
  wait $first && wait $second
}
synthesize 1 "$PLAIN_WINDOWS" plain.tsv
synthesize 3 "$MIXED_WINDOWS" texts.tsv
$PYTHON "$HERE/language_model.py" texts.tsv pieces.model language.pt "$LANGUAGE_STEPS" | tee language.log
$PYTHON "$HERE/train_acoustic.py" windows pieces.model first.pt "$FIRST_STEPS" 1.3e-3 1.0e-3 $START | tee first.log
$PYTHON "$HERE/train_acoustic.py" windows pieces.model acoustic.pt "$LAST_STEPS" 1.0e-3 0 first.pt.raw | tee last.log
$PYTHON -W ignore "$HERE/export_networks.py" acoustic.pt language.pt pieces.model networks
echo "networks in $WORK/networks; measure them with evaluate.py"
