#!/bin/bash
# Trains the starter diarization networks again, from nothing: retrain.sh WORKDIR
#
# Everything that is made lies in WORKDIR; the bundles end in WORKDIR/networks, to be copied by hand to
# models/starter/speaker-diarization-coreml. Work is bounded by the numbers below and seeded, not timed.
# The frozen test recordings are made first and compared with test-set.tsv.
set -euo pipefail
WORK=${1:?usage: retrain.sh WORKDIR}
HERE=$(cd "$(dirname "$0")" && pwd)
PYTHON="/usr/bin/python3 -B"

MEETING_SENTENCES=${MEETING_SENTENCES:-110000}
UTTERANCES=${UTTERANCES:-13}                       # of each training speaker, in two parts of 5 and the rest
WINDOWS=${WINDOWS:-10000}                          # for each of two seeds
SEGMENTATION_STEPS=${SEGMENTATION_STEPS:-4000}
EMBEDDING_STEPS=${EMBEDDING_STEPS:-4000}
TEST_SET=${TEST_SET:-yes}

packages="python3-torch python3-onnx python3-numpy python3-scipy espeak-ng flite festival festvox-kallpc16k festvox-kdlpc16k
  festvox-us-slt-hts festvox-ca-ona-hts festvox-czech-dita festvox-czech-krb festvox-czech-machac festvox-czech-ph
  festvox-itapc16k festvox-italp16k festvox-suopuhe-lj festvox-suopuhe-mv wamerican wordnet-base fortunes fortunes-min"
if ! dpkg-query -W $packages >/dev/null 2>&1; then
  [ "$(id -u)" = 0 ] && become="" || become=sudo
  $become apt-get update
  $become apt-get install -y --no-install-recommends $packages
fi

mkdir -p "$WORK"
cd "$WORK"
mkdir -p pool
export OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1
both() { # two commands at once, both must succeed
  sh -c "$1" & first=$!
  sh -c "$2" & second=$!
  wait $first && wait $second
}
$PYTHON "$HERE/../asr/make_texts.py" "$MEETING_SENTENCES" 11 texts.tsv
if [ "$TEST_SET" = yes ]; then
  both "$PYTHON '$HERE/utterances.py' held-out 1 20 texts.tsv pool/held-out-1" \
       "$PYTHON '$HERE/utterances.py' held-out 2 40 texts.tsv pool/held-out-2"
  $PYTHON "$HERE/make_test_set.py" test pool/held-out-1 pool/held-out-2
fi
both "$PYTHON '$HERE/utterances.py' training 1 5 texts.tsv pool/training-1" \
     "$PYTHON '$HERE/utterances.py' training 2 $((UTTERANCES - 5)) texts.tsv pool/training-2"
$PYTHON "$HERE/windows.py" development 5 600 development pool/training-1
both "$PYTHON '$HERE/windows.py' training 11 $WINDOWS windows pool/training-1 pool/training-2 > windows-11.log" \
     "$PYTHON '$HERE/windows.py' training 12 $WINDOWS windows pool/training-1 pool/training-2 > windows-12.log"
$PYTHON "$HERE/fit_local_voice.py" windows local_voice.pt
both "$PYTHON '$HERE/train_segmentation.py' windows development segmentation.pt $SEGMENTATION_STEPS 7e-4 local_voice.pt > segmentation.log" \
     "$PYTHON '$HERE/train_embedding.py' windows development embedding.pt $EMBEDDING_STEPS 1.1e-3 > embedding.log"
$PYTHON "$HERE/compare_embeddings.py" windows development embedding.pt | tee comparison.log
$PYTHON -W ignore "$HERE/export_networks.py" segmentation.pt embedding.pt networks
echo "bundles in $WORK/networks; measure them with evaluate.py"
