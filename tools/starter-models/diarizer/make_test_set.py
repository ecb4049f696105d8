#!/usr/bin/env python3
"""The frozen test recordings: make_test_set.py OUTPUT_FOLDER POOL_PREFIX_1 POOL_PREFIX_2 [--manifest test-set.tsv]

Two sets, all of held-out speakers:
  conversation-NN.wav/.rttm    20 conversations of 3 to 10 minutes with 2 to 4 speakers of different bases, a tenth of the
                               speech with two at once, every other one near and far
  first-NNNN.wav/.rttm         recordings of two speakers, half a minute: the meetings in which STORED speakers
                               became known (utterances of the first pool)
  known-NNNN, unknown-NNNN     second meetings in the other room condition, from the second pool: of stored speakers,
                               and of speakers never stored

The manifest names each recording's condition, length, speakers and a digest of
its utterances and their times; with --manifest an existing one is compared.
"""
import argparse
import hashlib
import os
import random as random_module
import sys
import wave

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "common")]
from conversations import Scheduler, Style
from rooms import NoiseBank, Room
from speakers import held_out_speakers, kind
from utterances import Pool

CONVERSATIONS, STORED, KNOWN_TRIALS, UNKNOWN_TRIALS = 20, 50, 4, 18  # trials: for each speaker
CONDITIONS = {"near": Room.NEAR, "far": Room.FAR}
CONVERSATION = Style(utterances_a_turn=(1, 1, 1, 2, 2, 3), inner_pause=(.1, .6), gap=(.0, .9), long_gap=.08,
                     backchannel=.15, same_again=.1, overlap=.10)
SHORT_MEETING = Style(utterances_a_turn=(1, 2), inner_pause=(.1, .5), gap=(.1, .9), long_gap=.05, backchannel=0., same_again=.0, overlap=.05)


class Maker:
    def __init__(self, folder, prefixes):
        self.folder, self.speakers = folder, held_out_speakers()
        self.pools = [Pool([p]) for p in prefixes] + [Pool(prefixes)]
        self.noises = NoiseBank(random_module.Random(1001), np.random.default_rng(1001))
        self.lines = []

    def make(self, name, seed, pool, voices, seconds, condition, style):
        random, rng = random_module.Random(seed), np.random.default_rng(seed)
        room = Room(CONDITIONS[condition], random, rng, self.noises)
        plan = Scheduler(pool, voices, style, random).run(seconds, .5)
        end = max(s.at + s.end - s.first for s in plan.spoken) + 8000
        tracks, spans = plan.tracks(end, 0, random)
        samples = room.add_noise(room.record(tracks), .1)
        samples *= .5 / np.abs(samples).max()
        with wave.open(os.path.join(self.folder, name + ".wav"), "wb") as f:
            f.setnchannels(1)
            f.setsampwidth(2)
            f.setframerate(16000)
            f.writeframes((samples * 32767).astype("<i2").tobytes())
        turns = sorted((a / 16000, (b - a) / 16000, v) for v, parts in zip(voices, spans) for a, b in parts)
        rttm = "".join(f"SPEAKER {name} 1 {a:.3f} {d:.3f} <NA> <NA> voice{v:03d} <NA> <NA>\n" for a, d, v in turns)
        with open(os.path.join(self.folder, name + ".rttm"), "w") as f:
            f.write(rttm)
        said = "".join(f"{s.at} {s.speaker} {pool.entries[s.utterance]['text']}\n" for s in plan.spoken)
        digest = hashlib.sha256((rttm + said).encode()).hexdigest()[:16]
        who = ";".join(str(self.speakers[v]) for v in voices) if name.startswith(("conversation", "first")) else ";".join(f"voice{v:03d}" for v in voices)
        self.lines.append(f"{name}\t{condition}\t{end / 16000:.2f}\t{100 * plan.double / max(1, plan.speech):.1f}\t{who}\t{digest}\n")

    def conversations(self):
        random = random_module.Random(2001)
        for i in range(CONVERSATIONS):
            voices = []
            while len(voices) < 2 + i % 3:
                v = random.randrange(len(self.speakers))
                if kind(self.speakers[v]) not in [kind(self.speakers[u]) for u in voices]:
                    voices.append(v)
            self.make(f"conversation-{i + 1:02d}", 3000 + i, self.pools[2], voices, random.uniform(180, 590), ("near", "far")[i % 2], CONVERSATION)

    def _pairs(self, voices, random):
        """All the voices in pairs of different bases."""
        while True:
            random.shuffle(voices)
            pairs = list(zip(voices[::2], voices[1::2]))
            if all(kind(self.speakers[a]) != kind(self.speakers[b]) for a, b in pairs):
                return pairs

    def recognition(self):
        random = random_module.Random(2002)
        order = list(range(len(self.speakers)))
        random.shuffle(order)
        stored, others = order[:STORED], order[STORED:]
        first_condition = {}
        for i, pair in enumerate(self._pairs(stored, random)):
            condition = ("near", "far")[i % 2]
            first_condition.update(dict.fromkeys(pair, condition))
            self.make(f"first-{i:04d}", 4000 + i, self.pools[0], pair, 30, condition, SHORT_MEETING)
        i = 0
        for _ in range(KNOWN_TRIALS):
            for condition in ("near", "far"):
                for pair in self._pairs([v for v in stored if first_condition[v] != condition], random):
                    self.make(f"known-{i:04d}", 5000 + i, self.pools[1], pair, 30, condition, SHORT_MEETING)
                    i += 1
        i = 0
        for trial in range(UNKNOWN_TRIALS):
            for pair in self._pairs(others, random):
                self.make(f"unknown-{i:04d}", 6000 + i, self.pools[1], pair, 30, ("near", "far")[trial % 2], SHORT_MEETING)
                i += 1


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("pools", nargs=2)
    parser.add_argument("--manifest", default=os.path.join(HERE, "test-set.tsv"))
    arguments = parser.parse_args()
    os.makedirs(arguments.folder, exist_ok=True)
    maker = Maker(arguments.folder, arguments.pools)
    maker.conversations()
    maker.recognition()
    text = "".join(maker.lines)
    if os.path.exists(arguments.manifest):
        same = open(arguments.manifest).read() == text
        print(f"{len(maker.lines)} recordings, " + ("as in the manifest" if same else "NOT as in the manifest"))
        sys.exit(not same)
    open(arguments.manifest, "w").write(text)
    print(f"{len(maker.lines)} recordings, manifest written")


if __name__ == "__main__":
    main()
