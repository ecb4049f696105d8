"""Rooms: where each speaker stands, the microphone's colour, the noise, the level."""
import os
import sys

import numpy as np
from scipy import fft
from scipy.signal import oaconvolve

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "common"))
import augmentation

SAMPLE_RATE = 16000
NOISE_SECONDS = 20
MICROPHONE_DELAY = 64  # samples, room for the part of the microphone's filter that comes before its centre


class NoiseBank:
    """A stock of noises to cut pieces from; making noise anew for every window would take longer than everything else."""

    def __init__(self, random, rng, count=60):
        length = NOISE_SECONDS * SAMPLE_RATE
        self.noises = [self._normal(augmentation.any_noise(length, random, rng)) for _ in range(count)]

    @staticmethod
    def _normal(noise):
        return (noise / augmentation.rms(noise)).astype(np.float32)

    def piece(self, count, random):
        noise = random.choice(self.noises)
        at = random.randrange(len(noise))
        turns = [noise[at:]] + [noise] * (count // len(noise) + 1)
        return np.concatenate(turns)[:count]


class Room:
    """One room with one microphone. near: a headset or a laptop in a small quiet room; far: a table microphone in a lively one."""

    NEAR = dict(decay=(.12, .3), reverberation=(.1, .35), colour=.35, ratio=(24, 36))
    FAR = dict(decay=(.3, .6), reverberation=(.45, 1.), colour=1., ratio=(12, 20))
    ANY = dict(decay=(.1, .65), reverberation=(.0, 1.), colour=1., ratio=(8, 38))

    def __init__(self, kind, random, rng, noises):
        self.kind, self.random, self.rng, self.noises = kind, random, rng, noises
        self.decay = random.uniform(*kind["decay"])
        self.reverberation = random.uniform(*kind["reverberation"])
        self.slope, self.bump = random.uniform(-1.4, .9) * kind["colour"], random.uniform(-.7, .7) * kind["colour"]
        self.centre = random.random()
        self.cut = random.uniform(.42, .9) if random.random() < .3 * kind["colour"] else None

    def _response(self):
        """From one place in the room to the microphone: the direct sound, some early reflections, a decaying tail; then the microphone."""
        length = int(self.decay * SAMPLE_RATE)
        tail = self.rng.standard_normal(length) * np.exp(-6.9 * np.arange(length) / length)
        tail[:self.random.randint(20, 200)] = 0
        for _ in range(self.random.randint(2, 6)):
            tail[self.random.randint(15, min(length, 700) - 1)] += self.random.uniform(-3, 3)
        tail *= self.reverberation * self.random.uniform(.7, 1.3) / np.sqrt((tail * tail).sum() + 1e-9)
        tail[0] = 1
        size = fft.next_fast_len(length + 2 * MICROPHONE_DELAY, real=True)
        spectrum = fft.rfft(np.concatenate([np.zeros(MICROPHONE_DELAY), tail]).astype(np.float32), size)
        x = np.arange(len(spectrum), dtype=np.float32) / len(spectrum)
        gain = np.exp(self.slope * x + self.bump * np.exp(-((x - self.centre) / .12) ** 2))
        if self.cut:
            gain = gain / (1 + (x / self.cut) ** 12)
        return fft.irfft(spectrum * gain, size)

    def record(self, tracks):
        """tracks: float32 of one length, one for each speaker -> what the microphone hears, before noise"""
        count = len(tracks[0])
        heard = sum(oaconvolve(track, self._response()) for track in tracks if track.any())
        return heard[MICROPHONE_DELAY:MICROPHONE_DELAY + count].astype(np.float32) if np.ndim(heard) else np.zeros(count, np.float32)

    def add_noise(self, samples, speech_level, noise=None):
        """Noise at the room's distance under the speech's root mean square."""
        if noise is None:
            noise = self.noises.piece(len(samples), self.random)
        return samples + noise * (speech_level * 10 ** (-self.random.uniform(*self.kind["ratio"]) / 20))
