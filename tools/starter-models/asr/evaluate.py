#!/usr/bin/python3
"""Measures the recogniser: word error rates by test list and voice, words heard in silence and noise.

evaluate.py prepare FOLDER              synthesizes the test files and FOLDER/list.tsv
evaluate.py run FOLDER PROGRAM [ARG...] transcribes them all with "PROGRAM ARG... transcribe --no-diarization
                                        --format txt FILE" into FOLDER/result.tsv
evaluate.py score RESULT                prints the tables of such a result

A list line is "set<TAB>voice<TAB>file<TAB>text", a result line has the
recognised text as a fifth field. Case and punctuation do not count.
"""
import argparse
import itertools
import os
import random as random_module
import re
import subprocess
import sys
import wave
from collections import defaultdict

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "common"))

LISTS = ("hand", "free", "grammar")


# --- prepare -------------------------------------------------------------------

def write_wav(path, samples):
    with wave.open(path, "wb") as f:
        f.setnchannels(1)
        f.setsampwidth(2)
        f.setframerate(16000)
        f.writeframes((np.clip(samples, -1, 1) * 32767).astype("<i2").tobytes())


def assignments():
    """(group, voice, list, sentence) for each test file."""
    from voices import HEARD_TEST_VOICES, UNHEARD_VARIANTS, UNHEARD_VOICES
    for name in LISTS:
        sentences = open(os.path.join(HERE, "test-sentences", name + ".txt")).read().splitlines()
        for i, sentence in enumerate(sentences):
            yield "heard", HEARD_TEST_VOICES[i % 6], name, sentence
            yield "unheard", UNHEARD_VOICES[i % 2], name, sentence
            if name != "grammar" or i % 2 == 0:
                yield "unheard-variants", UNHEARD_VARIANTS[i // 2 % 4], name, sentence


def quiet_files():
    """(name, samples): silence, noise, hum, clicks, at several levels and lengths."""
    from augmentation import coloured_noise, hum, knocks, room_noise
    random, rng, rate = random_module.Random(31), np.random.default_rng(31), 16000
    yield "silence-3s", np.zeros(3 * rate)
    yield "silence-10s", np.zeros(10 * rate)
    yield "silence-15s", np.zeros(15 * rate)
    for level in (-60, -40, -20):
        gain = 10 ** (level / 20)
        for seconds in (4, 14):
            count = seconds * rate
            yield f"white{level}dB-{seconds}s", gain * rng.standard_normal(count)
            yield f"pink{level}dB-{seconds}s", gain * coloured_noise(count, .5, rng)
            yield f"brown{level}dB-{seconds}s", gain * coloured_noise(count, 1., rng)
            noise = hum(count, random, rng)
            yield f"hum{level}dB-{seconds}s", gain * noise / noise.std()
            noise = room_noise(count, random, rng)
            yield f"room{level}dB-{seconds}s", gain * noise / noise.std()
            noise = knocks(count, random, rng)
            yield f"knocks{level}dB-{seconds}s", 3 * gain * noise / np.abs(noise).max()


def prepare(folder, every):
    from synthesis import Synthesizer
    os.makedirs(folder, exist_ok=True)
    synthesizer, lines = Synthesizer("/dev/shm/evaluate"), []
    for i, (group, voice, name, sentence) in itertools.islice(enumerate(assignments()), 0, None, every):
        samples = synthesizer.speak(voice, sentence).samples
        padded = np.concatenate([np.zeros(3200), samples * (.6 / np.abs(samples).max()), np.zeros(4800)])
        path = os.path.join(folder, f"{i:04d}.wav")
        write_wav(path, padded)
        lines.append(f"{group} {name}\t{voice}\t{path}\t{sentence}\n")
    for name, samples in itertools.islice(quiet_files(), 0, None, every):
        path = os.path.join(folder, name + ".wav")
        write_wav(path, samples)
        lines.append(f"quiet\t{name}\t{path}\t\n")
    with open(os.path.join(folder, "list.tsv"), "w") as f:
        f.writelines(lines)
    print(f"{len(lines)} files")


# --- run and score -------------------------------------------------------------

def run(folder, program, every):
    with open(os.path.join(folder, "list.tsv")) as listed, open(os.path.join(folder, "result.tsv"), "w") as out:
        for line in itertools.islice(listed, 0, None, every):
            path = line.split("\t")[2]
            done = subprocess.run(program + ["transcribe", "--no-diarization", "--format", "txt", path],
                                  stdout=subprocess.PIPE, text=True, check=True)
            heard = re.sub(r"\[?\b\d+:\d\d(:\d\d)?\b\]?", " ", done.stdout)  # time stamps, if any
            out.write(line.rstrip("\n") + "\t" + re.sub(r"\s+", " ", heard).strip() + "\n")


def words(text):
    return re.sub(r"[^a-z' ]", " ", text.lower()).split()


def errors(reference, heard):
    row = list(range(len(heard) + 1))
    for i, a in enumerate(reference, 1):
        diagonal, row[0] = row[0], i
        for j, b in enumerate(heard, 1):
            diagonal, row[j] = row[j], min(row[j] + 1, row[j - 1] + 1, diagonal + (a != b))
    return row[-1]


def score(path):
    totals, quiet = defaultdict(lambda: [0, 0, 0, 0]), []
    for line in open(path):
        group, voice, _, text, heard = (line.rstrip("\n").split("\t") + [""])[:5]
        if group == "quiet":
            quiet.append((voice, heard))
            continue
        wrong, count = errors(words(text), words(heard)), len(words(text))
        keys = [group, "voice " + voice, group.split()[0] + " all"]
        if group.split()[1] in ("hand", "free"):
            keys.append(group.split()[0] + " hand+free")
        for key in keys:
            total = totals[key]
            total[0] += wrong
            total[1] += count
            total[2] += 1
            total[3] += wrong == 0
    for key in sorted(totals):
        wrong, count, files, perfect = totals[key]
        print(f"{key:34s} WER {100 * wrong / count:5.1f} %  {wrong:4d} of {count:4d} words, {files:3d} files, {perfect:3d} without error")
    print(f"silence and noise: {sum(len(words(h)) for _, h in quiet)} words in {len(quiet)} files")
    for name, heard in quiet:
        if heard:
            print(f"  {name}: {heard}")


def positive(text):
    value = int(text)
    if value < 1:
        raise argparse.ArgumentTypeError("must be 1 or more")
    return value


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = parser.add_subparsers(dest="command", required=True)
    command = commands.add_parser("prepare", help="synthesize the test files and their list")
    command.add_argument("folder", metavar="FOLDER", help="where to; made if need be")
    command.add_argument("--every", type=positive, default=1, metavar="N", help="only each N-th file")
    command = commands.add_parser("run", help="transcribe the test files with a program")
    command.add_argument("--every", type=positive, default=1, metavar="N", help="only each N-th file of the list")
    command.add_argument("folder", metavar="FOLDER", help="what prepare made")
    command.add_argument("program", metavar="PROGRAM", help="varnel, or what takes its place")
    command.add_argument("arguments", metavar="ARG", nargs=argparse.REMAINDER, help="its first arguments")
    command = commands.add_parser("score", help="print the tables of a result")
    command.add_argument("result", metavar="RESULT", help="FOLDER/result.tsv")
    options = parser.parse_args()

    if options.command == "prepare":
        prepare(options.folder, options.every)
    elif options.command == "run":
        run(options.folder, [options.program, *options.arguments], options.every)
    else:
        score(options.result)


if __name__ == "__main__":
    main()
