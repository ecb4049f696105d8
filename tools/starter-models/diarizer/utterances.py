#!/usr/bin/env python3
"""A pool of dry utterances: utterances.py training|held-out PART PER_SPEAKER TEXTS.tsv OUTPUT_PREFIX

Writes OUTPUT_PREFIX.i16 (16 kHz samples, one utterance after the other) and
OUTPUT_PREFIX.json: for each utterance its speaker's number, its place in the
file, whether it is a short phrase, and when exactly it sounds. PART is the
seed. Every tenth sentence of TEXTS.tsv is for held-out speakers, the others
are for training.
"""
import json
import os
import random as random_module
import sys

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "common")]
from speakers import held_out_speakers, training_speakers
from synthesis import SAMPLE_RATE, Prosody, SynthesisError, Synthesizer

LEVEL = .1               # root mean square where it sounds
HOP = 80                 # samples, the resolution of activity
SOUNDING_RANGE = 10 ** (-38 / 20)
LONGEST_BRIDGED = .3     # seconds: shorter pauses belong to the turn
SHORTEST_SOUND = .05
SHORT_SHARE = .2
SHORT_PHRASES = """Yes. No. I see. Right. Exactly. Okay. All right. Of course. Yes, please. That is true. I think so.
Not really. Good idea. Thank you. Well, yes. Maybe. Sure. I agree. Oh, really? Go on. Very good. Why not? Sorry?
Never mind. One moment. Let me see. What about you? I don't know. Sounds good. Me too.""".replace("\n", " ")
SHORT_PHRASES = [p + end for p, end in zip(*[iter(__import__("re").split(r"([.?])\s*", SHORT_PHRASES))] * 2)]


def sounding(samples):
    """[(first, end)] in samples: where an utterance is heard, pauses under 0.3 s bridged."""
    frames = len(samples) // HOP
    power = np.sqrt(np.mean(samples[:frames * HOP].reshape(frames, HOP) ** 2, 1) + 1e-12)
    smooth = np.convolve(power, np.ones(5) / 5, "same")
    loud = smooth > np.percentile(smooth, 95) * SOUNDING_RANGE
    edges = np.flatnonzero(np.diff(np.concatenate([[0], loud.astype(np.int8), [0]])))
    spans = [(a * HOP, b * HOP) for a, b in zip(edges[::2], edges[1::2]) if (b - a) * HOP >= SHORTEST_SOUND * SAMPLE_RATE]
    merged = []
    for first, end in spans:
        if merged and first - merged[-1][1] < LONGEST_BRIDGED * SAMPLE_RATE:
            merged[-1] = (merged[-1][0], end)
        else:
            merged.append((first, end))
    return merged


def move_formants(samples, factor):
    """Stretches the spectral envelope along frequency by `factor` and leaves the pitch alone (cepstral envelope, short-time filters)."""
    if abs(factor - 1) < 1e-3:
        return samples
    size, hop, kept = 512, 128, 26
    window = np.sqrt(np.hanning(size + 1)[:size]).astype(np.float32)
    padded = np.pad(samples, (size, size + hop))
    frames = np.lib.stride_tricks.sliding_window_view(padded, size)[::hop] * window
    spectrum = np.fft.rfft(frames)
    cepstrum = np.fft.irfft(np.log(np.abs(spectrum) + 1e-4))
    cepstrum[:, kept:-kept + 1] = 0
    envelope = np.fft.rfft(cepstrum).real
    bins = np.arange(size // 2 + 1)
    source = np.minimum(bins / factor, size // 2)
    low = np.minimum(source.astype(int), size // 2 - 1)
    part = source - low
    moved = envelope[:, low] * (1 - part) + envelope[:, low + 1] * part
    frames = np.fft.irfft(spectrum * np.exp(np.clip(moved - envelope, -4, 3))).astype(np.float32) * window
    out = np.zeros(len(padded), np.float32)
    for k in range(size // hop):  # overlapping frames, every fourth at once
        part = frames[k::size // hop].reshape(-1)
        out[k * hop:k * hop + len(part)] += part[:len(out) - k * hop]
    return out[size:size + len(samples)] / 2


def speak(synthesizer, speaker, text, random):
    """-> float32 samples of one utterance of this speaker, at LEVEL"""
    jitter = lambda x, share: x * random.uniform(1 - share, 1 + share)
    prosody = Prosody(jitter(speaker.rate, .04), jitter(speaker.resampling, .006),
                      None if speaker.pitch < 0 else float(np.clip(speaker.pitch + random.uniform(-.02, .02), 0, 1)))
    samples = move_formants(synthesizer.sound(speaker.base, text, prosody), speaker.tract)
    power = samples * samples
    return samples * (LEVEL / np.sqrt(power[power > 1e-3 * power.max()].mean() + 1e-12)) if len(samples) else samples


class Pool:
    """The pool, read: samples(i), and lists of utterance numbers by speaker."""

    def __init__(self, prefixes):
        self.entries, self.sounds = [], []
        for prefix in prefixes:
            self.sounds.append(np.memmap(prefix + ".i16", np.int16, "r"))
            self.entries += [dict(e, file=len(self.sounds) - 1) for e in json.load(open(prefix + ".json"))]
        self.by_speaker = {}
        for i, e in enumerate(self.entries):
            self.by_speaker.setdefault(e["speaker"], ([], []))[e["short"]].append(i)

    def samples(self, i):
        e = self.entries[i]
        return self.sounds[e["file"]][e["at"]:e["at"] + e["count"]].astype(np.float32) / 32768

    def long(self, speaker):
        return self.by_speaker[speaker][0]

    def short(self, speaker):
        return self.by_speaker[speaker][1]


def main():
    role, part, count, texts, prefix = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4], sys.argv[5]
    speakers = {"training": training_speakers, "held-out": held_out_speakers}[role]()
    lines = [line.rstrip("\n").split("\t")[1] for line in open(texts)]
    lines = [s for i, s in enumerate(lines) if (i % 10 == 0) == (role == "held-out")]
    random = random_module.Random(1000 * part + len(role))
    order = list(range(len(speakers)))
    random.shuffle(order)
    synthesizer = Synthesizer(f"/dev/shm/utterances-{role}-{part}")
    entries, at, failed = [], 0, 0
    with open(prefix + ".i16", "wb") as out:
        for number in order:
            for k in range(count):
                short = k < round(count * SHORT_SHARE)
                text = random.choice(SHORT_PHRASES if short else lines)
                try:
                    samples = speak(synthesizer, speakers[number], text, random)
                except SynthesisError:
                    failed += 1
                    continue
                spans = sounding(samples)
                if not spans or len(samples) > 12 * SAMPLE_RATE or (short and len(samples) > 2.5 * SAMPLE_RATE):
                    failed += 1
                    continue
                out.write((np.clip(samples, -1, 1) * 32767).astype("<i2").tobytes())
                entries.append({"speaker": number, "at": at, "count": len(samples), "short": int(short), "text": text,
                                "sounding": [(int(a), int(b)) for a, b in spans]})
                at += len(samples)
    with open(prefix + ".json", "w") as f:
        json.dump(entries, f)
    print(f"{role}: {len(speakers)} speakers, {len(entries)} utterances, {at / SAMPLE_RATE / 3600:.2f} h, {failed} left out")


if __name__ == "__main__":
    main()
