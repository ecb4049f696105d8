#!/usr/bin/env python3
"""Windows of 10 s: windows.py training|development SEED COUNT OUTPUT_FOLDER POOL_PREFIX...

Both networks learn from the same windows. A shard holds, for each window, the
logarithm of mel power, who of up to three speakers sounds in which frame, and
the speakers' numbers (-1: none).
"""
import os
import random as random_module
import sys

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "common")]
import augmentation
from conversations import Scheduler, Style, frame_activity
from front import BANDS, FRAMES, HOP, SAMPLES, log_mel_power
from rooms import NoiseBank, Room
from speakers import is_for_development, kind, training_speakers
from utterances import Pool

SHARD = 200
SPEAKER_COUNTS = [0] + [1] * 6 + [2] * 8 + [3] * 6


class WindowMaker:
    def __init__(self, role, seed, prefixes):
        self.random, self.rng = random_module.Random(seed), np.random.default_rng(seed)
        self.pool = Pool(prefixes)
        speakers, self.of_base = training_speakers(), {}
        self.voices = [v for v in self.pool.by_speaker if self.pool.long(v) and self.pool.short(v)
                       and is_for_development(speakers[v]) == (role == "development")]
        for v in self.voices:
            self.of_base.setdefault(kind(speakers[v]), []).append(v)
        self.kind = {v: kind(speakers[v]) for v in self.voices}
        self.noises = NoiseBank(self.random, self.rng)

    def _choose_voices(self, count):
        """Often voices that have much in common: the same base in other settings."""
        chosen = []
        while len(chosen) < count:
            kinds = list(self.of_base)
            alike = chosen and self.random.random() < .25
            v = self.random.choice(self.of_base[self.kind[chosen[-1]]]) if alike else \
                self.random.choice(self.voices if self.random.random() < .6 else self.of_base[self.random.choice(kinds)])
            if v not in chosen:
                chosen.append(v)
        return chosen

    def _style(self):
        r = self.random
        quick = r.random() < .3
        return Style(gap=(0, .5 if quick else 1.2), long_gap=r.choice([.02, .1, .3]), backchannel=r.choice([0, .2, .4]),
                     chance_of_overlap=r.choice([0, .2, .5, .9]), cropped=.7 if quick else .25,
                     utterances_a_turn=(1,) if quick else (1, 1, 2, 3), same_again=r.choice([.1, .3]))

    def window(self):
        """-> (log mel power [592, 64], activity [592, 3], speakers [3])"""
        r, activity, numbers = self.random, np.zeros((FRAMES, 3), np.uint8), np.full(3, -1, np.int16)
        room, count = Room(Room.ANY, r, self.rng, self.noises), r.choice(SPEAKER_COUNTS)
        if count == 0:
            samples = np.zeros(SAMPLES, np.float32) if r.random() < .2 else self.noises.piece(SAMPLES, r) * 10 ** r.uniform(-4, -.8)
            return log_mel_power(self._store(samples.astype(np.float32))), activity, numbers
        voices = self._choose_voices(count)
        offset = int(r.uniform(0, 8) * 16000)
        plan = Scheduler(self.pool, voices, self._style(), r).run((offset + SAMPLES) / 16000, r.uniform(0, 1) if r.random() < .8 else r.uniform(0, 8))
        tracks, spans = plan.tracks(SAMPLES, offset, r)
        for k, (voice, parts) in enumerate(zip(voices, spans)):
            activity[:, k] = frame_activity(parts, FRAMES, HOP)
            numbers[k] = voice if parts else -1
        samples = room.record(tracks)
        if r.random() < .92:
            samples = room.add_noise(samples, .1)
        if r.random() < .08:  # a recording that ends inside the window
            last = r.randrange(SAMPLES // 10, SAMPLES)
            samples[last:] = 0
            activity[last // HOP:] = 0
        peak = np.abs(samples).max() + 1e-6
        loud = r.random()
        samples = samples * ((10 ** r.uniform(-2.3, -.05) if loud > .06 else r.uniform(1.5, 5)) / peak)  # the loudest clip
        return log_mel_power(self._store(samples)), activity, numbers

    @staticmethod
    def _store(samples):
        """What 16-bit files do."""
        return np.round(np.clip(samples, -1, 1) * 32767) / 32768


def main():
    role, seed, count, folder, prefixes = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4], sys.argv[5:]
    os.makedirs(folder, exist_ok=True)
    maker = WindowMaker(role, seed, prefixes)
    for shard in range((count + SHARD - 1) // SHARD):
        size = min(SHARD, count - shard * SHARD)
        made = [maker.window() for _ in range(size)]
        path = f"{folder}/windows-{seed:03d}-{shard:04d}.npz"
        np.savez(path + ".tmp.npz", mel=np.stack([m for m, _, _ in made]), activity=np.stack([a for _, a, _ in made]),
                 speakers=np.stack([s for _, _, s in made]))
        os.rename(path + ".tmp.npz", path)
        print(path, flush=True)


if __name__ == "__main__":
    main()
