#!/usr/bin/env python3
"""Measures the diarizer's networks through the product's own command line.

evaluate.py run FOLDER PROGRAM [ARG..]     diarizes the recordings that make_test_set.py left in FOLDER, with
                                           "PROGRAM ARG.. diarize --json --embeddings FILE", into FOLDER/results
evaluate.py score FOLDER PROGRAM           diarization error rates ("PROGRAM eval der"), and recognition across meetings
                 [--picture scores.svg]    with the histogram of its scores

Recognition as the product does it: a diarized speaker's voice is the mean of
the raw embeddings of the segments; a voice is known as the stored one with the
highest cosine, if that is 0.65 or more.
"""
import argparse
import glob
import json
import os
import subprocess
import sys
import tempfile

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
from histogram import histogram
from speakers import held_out_speakers, kind

LIMIT = .65
COLLAR = .25


def name_of(path):
    return os.path.splitext(os.path.basename(path))[0]


# --- run -----------------------------------------------------------------------

def run(folder, program, workers):
    results = os.path.join(folder, "results")
    os.makedirs(results, exist_ok=True)
    waiting, running = sorted(glob.glob(os.path.join(folder, "*.wav"))), []
    waiting.reverse()
    while waiting or running:
        while waiting and len(running) < workers:
            path = waiting.pop()
            out = open(os.path.join(results, name_of(path) + ".json"), "w")
            running.append((path, out, subprocess.Popen(program + ["diarize", "--json", "--embeddings", path], stdout=out)))
        path, out, child = running.pop(0)
        if child.wait():
            sys.exit(f"{path}: exit status {child.returncode}")
        out.close()


# --- score ---------------------------------------------------------------------

def segments_of(folder, name):
    return json.load(open(os.path.join(folder, "results", name + ".json")))


def reference_of(folder, name):
    """[(start, end, voice)]"""
    rows = [line.split() for line in open(os.path.join(folder, name + ".rttm"))]
    return [(float(r[3]), float(r[3]) + float(r[4]), r[7]) for r in rows]


def error_rates(folder, program, collar):
    """Over all conversations, by `eval der`."""
    names = sorted(name_of(p) for p in glob.glob(os.path.join(folder, "conversation-*.wav")))
    with tempfile.TemporaryDirectory() as scratch:
        reference, hypothesis = os.path.join(scratch, "reference.rttm"), os.path.join(scratch, "hypothesis.rttm")
        with open(reference, "w") as f:
            f.writelines(open(os.path.join(folder, n + ".rttm")).read() for n in names)
        with open(hypothesis, "w") as f:
            for n in names:
                for s in segments_of(folder, n):
                    start, end = s["startTimeSeconds"], s["endTimeSeconds"]
                    f.write(f"SPEAKER {n} 1 {start:.3f} {end - start:.3f} <NA> <NA> {s['speakerId']} <NA> <NA>\n")
        done = subprocess.run(program + ["eval", "der", reference, hypothesis, "--collar", str(collar), "--json"],
                              stdout=subprocess.PIPE, check=True)
    return json.loads(done.stdout)


def report_conversations(folder, program):
    strict, lenient = error_rates(folder, program, 0), error_rates(folder, program, COLLAR)
    manifest = {line.split("\t")[0]: line.split("\t") for line in open(os.path.join(HERE, "test-set.tsv"))}
    print("| Conversation | room | minutes | speakers | found | overlap | DER, collar 0.25 s | missed | false | confused | DER, no collar |")
    print("| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- |")
    wrong, off = 0, 0
    for a, b in zip(lenient["recordings"], strict["recordings"]):
        row, seconds = manifest[a["recording"]], a["referenceSeconds"]
        share = [f"{100 * a[k] / seconds:.1f} %" for k in ("missedSeconds", "falseAlarmSeconds", "confusedSeconds")]
        found, real = a["hypothesisSpeakers"], a["referenceSpeakers"]
        wrong, off = wrong + (found != real), off + abs(found - real)
        print(f"| {a['recording'][-2:]} | {row[1]} | {float(row[2]) / 60:.1f} | {real} | {found} | {row[3]} % | "
              f"{100 * a['diarizationErrorRate']:.1f} % | {' | '.join(share)} | {100 * b['diarizationErrorRate']:.1f} % |")
    seconds = lenient["referenceSeconds"]
    share = [f"{100 * lenient[k] / seconds:.1f} %" for k in ("missedSeconds", "falseAlarmSeconds", "confusedSeconds")]
    count = len(lenient["recordings"])
    print(f"| all | | | | | | {100 * lenient['diarizationErrorRate']:.1f} % | {' | '.join(share)} | {100 * strict['diarizationErrorRate']:.1f} % |")
    print(f"\nSpeakers: the count is wrong in {wrong} of {count} conversations, by {off / count:.2f} on average\n")


def voices_of(folder, name):
    """The mean raw embedding of the diarized speaker that covers most of each true voice; None if it was not found. -> {voice: mean}, speakers found"""
    reference, segments = reference_of(folder, name), segments_of(folder, name)
    speakers, found = sorted({s["speakerId"] for s in segments}), {}
    for voice in sorted({v for *_, v in reference}):
        shared = {k: sum(max(0., min(b, s["endTimeSeconds"]) - max(a, s["startTimeSeconds"])) for a, b, v in reference if v == voice
                         for s in segments if s["speakerId"] == k) for k in speakers}
        best = max(shared, key=shared.get, default=None)
        if best is None or not shared[best]:
            found[voice] = None
            continue
        found[voice] = np.mean([np.array(s["embedding"], np.float32) for s in segments if s["speakerId"] == best], 0)
    return found, len(speakers)


def report_recognition(folder, picture):
    names = {kind: sorted(name_of(p) for p in glob.glob(os.path.join(folder, kind + "-*.wav"))) for kind in ("first", "known", "unknown")}
    stored = {}
    for name in names["first"]:
        stored.update({v: e for v, e in voices_of(folder, name)[0].items() if e is not None})
    labels = sorted(stored)
    matrix = np.stack([stored[v] / np.linalg.norm(stored[v]) for v in labels])
    print(f"stored voices: {len(labels)} (speakers found in the first meetings that have one: {len(names['first'])} recordings)")
    right, best_of_unknown, own, others = 0, [], [], []
    trials, mistaken, not_found, extra = 0, 0, 0, 0
    for name in names["known"]:
        found, count = voices_of(folder, name)
        extra += count - len(found)
        for voice, mean in found.items():
            trials += 1
            if mean is None or voice not in stored:
                not_found += 1
                continue
            scores = matrix @ (mean / np.linalg.norm(mean))
            own.append(scores[labels.index(voice)])
            others += np.delete(scores, labels.index(voice)).tolist()
            best = int(scores.argmax())
            right += bool(scores[best] >= LIMIT and labels[best] == voice)
            mistaken += bool(scores[best] >= LIMIT and labels[best] != voice)
    print(f"known: {trials} trials, {right} matched to the right one ({100 * right / trials:.1f} %), {mistaken} to another ({100 * mistaken / trials:.1f} %), "
          f"{not_found} not found; {extra:+d} speakers over all recordings")
    base = lambda voice: kind(held_out[int(voice[len("voice"):])])
    held_out = held_out_speakers()
    unknown, false, alike, lost, extra = 0, 0, 0, 0, 0
    for name in names["unknown"]:
        found, count = voices_of(folder, name)
        extra += count - len(found)
        for voice, mean in found.items():
            unknown += 1
            if mean is None:
                lost += 1
                continue
            scores = matrix @ (mean / np.linalg.norm(mean))
            best_of_unknown.append(scores.max())
            false += bool(scores.max() >= LIMIT)
            alike += bool(scores.max() >= LIMIT and base(labels[int(scores.argmax())]) == base(voice))
    print(f"unknown: {unknown} trials, {false} matched to somebody ({100 * false / unknown:.1f} %), {alike} of these to another setting of their own base; {lost} not found; {extra:+d} speakers over all recordings")
    for limit in (.45, .5, .55, .6, .65, .7, .75, .8):
        print(f"  at {limit:.2f}: own voice reaches it in {100 * np.mean(np.array(own) >= limit):.1f} % of known, best stranger in {100 * np.mean(np.array(best_of_unknown) >= limit):.1f} % of unknown")
    if picture:
        with open(picture, "w") as f:
            f.write(histogram([("the same voice, known before", own, "#2b7a4b"), ("the nearest stored voice, for one unknown", best_of_unknown, "#b5482f"),
                               ("another stored voice", others, "#8a8f98")], LIMIT, "cosine of two meetings' mean embeddings"))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    actions = parser.add_subparsers(dest="action", required=True)
    running = actions.add_parser("run")
    running.add_argument("folder")
    running.add_argument("--workers", type=int, default=2)
    running.add_argument("program", nargs=argparse.REMAINDER)
    scoring = actions.add_parser("score")
    scoring.add_argument("folder")
    scoring.add_argument("--picture")
    scoring.add_argument("--only", choices=("conversations", "recognition"))
    scoring.add_argument("program", nargs="+")
    arguments = parser.parse_args()
    if arguments.action == "run":
        run(arguments.folder, arguments.program, arguments.workers)
        return
    if arguments.only != "recognition":
        report_conversations(arguments.folder, arguments.program)
    if arguments.only != "conversations":
        report_recognition(arguments.folder, arguments.picture)


if __name__ == "__main__":
    main()
