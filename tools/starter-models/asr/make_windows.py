#!/usr/bin/env python3
"""Synthesises training windows: make_windows.py SEED COUNT SENTENCES.tsv OUTPUT_FOLDER

A window is up to 15 s of speech (or of nothing) as features, with the text a
recogniser should write for it. SENTENCES.tsv has "kind<TAB>sentence" lines.
Streams of speech are cut anywhere, as the product cuts long recordings; the
text then holds the words that lie wholly inside.
"""
import os
import random as random_module
import sys

import numpy as np

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "common"))
import augmentation
import features
from synthesis import SAMPLE_RATE, Prosody, SynthesisError, Synthesizer
from texts import spelled
from voices import pick_training_voice

LONGEST = 15.0
SHARD = 100          # windows in one file
EDGE_TOLERANCE = .03  # a word may lack this many seconds at a cut and still count as whole


class WindowMaker:
    def __init__(self, seed, sentences, folder):
        self.random = random_module.Random(seed)
        self.rng = np.random.default_rng(seed)
        self.sentences = sentences
        self.synthesizer = Synthesizer(folder)
        self.bank = []  # recent utterances, for babble

    def window(self):
        """-> (samples, text)"""
        draw = self.random.random()
        if draw < .05:
            return self.nothing(), ""
        if draw < .17:
            samples, words = self.stream(0, 1)
        elif draw < .52:
            samples, words = self.stream(self.random.uniform(2, 9), self.random.choice([1, 1, 2]))
        else:
            samples, words = self.cut_stream()
        samples, words = samples[:int(LONGEST * SAMPLE_RATE)], words
        end = len(samples) / SAMPLE_RATE
        text = " ".join(word for word, start, stop in words if start >= -EDGE_TOLERANCE and stop <= end + EDGE_TOLERANCE)
        return augmentation.augment(samples, self.random, self.rng, self.bank), spelled(text)

    def nothing(self):
        """Silence or noise without any speech."""
        count = int(self.random.uniform(1, LONGEST) * SAMPLE_RATE)
        draw = self.random.random()
        if draw < .1:
            return np.zeros(count, np.float32)
        noise = augmentation.room_noise(count, self.random, self.rng) if draw < .5 else \
            augmentation.any_noise(count, self.random, self.rng)
        if draw > .8:
            noise = augmentation.tilt(noise, self.random)
        if draw > .9:  # a noise that starts or stops, or sounds in the middle
            at, length = self.random.randrange(count), self.random.randint(800, count)
            noise[:at], noise[at + length:] = 0, 0
            noise += 1e-3 * self.rng.standard_normal(count).astype(np.float32)
        return (noise * 10 ** self.random.uniform(-4, -.7) / (np.abs(noise).max() + 1e-9)).astype(np.float32)

    def speaker(self):
        r, voice = self.random, pick_training_voice(self.random)
        if voice.engine == "espeak":
            formants = 1.0 if r.random() < .5 else r.uniform(.93, 1.08)
        else:
            formants = 1.0 if r.random() < .3 else r.uniform(.84, 1.2)
        return voice, formants, r.uniform(.85, 1.22), r.random(), 10 ** r.uniform(-.3, 0)

    def say(self, speaker):
        voice, formants, rate, pitch, level = speaker
        for _ in range(20):
            text = self.random.choice(self.sentences)
            try:
                utterance = self.synthesizer.speak(voice, text, Prosody(rate * self.random.uniform(.95, 1.05), formants, pitch))
            except SynthesisError:
                continue
            if len(utterance.samples) < LONGEST * SAMPLE_RATE:
                utterance.samples = utterance.samples * (level / (augmentation.rms(utterance.samples) * 8))
                self.bank = (self.bank + [utterance.samples])[-30:]
                return utterance
        raise SynthesisError("twenty sentences failed in a row")

    def pause(self):
        draw = self.random.random()
        if draw < .12:
            return 0.
        if draw < .8:
            return self.random.uniform(.05, .8)
        return self.random.uniform(.8, 1.8) if draw < .95 else self.random.uniform(1.8, 5)

    def stream(self, seconds, speaker_count):
        """Sentences with pauses between them until `seconds` are reached (at least one)."""
        speakers = [self.speaker() for _ in range(speaker_count)]
        lead = self.random.uniform(0, .5) if self.random.random() < .9 else self.random.uniform(.5, 3)
        pieces, words, at = [np.zeros(int(lead * SAMPLE_RATE), np.float32)], [], int(lead * SAMPLE_RATE)
        speaker = self.random.choice(speakers)
        while not words or at < seconds * SAMPLE_RATE:
            utterance = self.say(speaker)
            if words and not seconds:
                break
            if words and seconds < LONGEST and at + len(utterance.samples) > LONGEST * SAMPLE_RATE:
                break
            words += [(w, a + at / SAMPLE_RATE, b + at / SAMPLE_RATE) for w, a, b in utterance.words]
            gap = np.zeros(int(self.pause() * SAMPLE_RATE), np.float32)
            pieces += [utterance.samples, gap]
            at += len(utterance.samples) + len(gap)
            if self.random.random() < .5:
                speaker = self.random.choice(speakers)
        return np.concatenate(pieces), words

    def cut_stream(self):
        """A window cut out of a longer stream, both ends anywhere."""
        length = LONGEST - .04 if self.random.random() < .4 else self.random.uniform(4, LONGEST)
        offset = self.random.uniform(0, 4)
        samples, words = self.stream(max(LONGEST, offset + length), self.random.choice([1, 1, 2]))
        first = int(offset * SAMPLE_RATE)
        return samples[first:first + int(length * SAMPLE_RATE)], [(w, a - offset, b - offset) for w, a, b in words]


def main():
    seed, count, source, folder = int(sys.argv[1]), int(sys.argv[2]), sys.argv[3], sys.argv[4]
    os.makedirs(folder, exist_ok=True)
    sentences = [line.rstrip("\n").split("\t")[1] for line in open(source)]
    maker = WindowMaker(seed, sentences, f"/dev/shm/windows-{os.getpid()}")
    seconds = 0.
    for shard in range((count + SHARD - 1) // SHARD):
        arrays, lengths, texts = [], [], []
        for _ in range(min(SHARD, count - shard * SHARD)):
            samples, text = maker.window()
            array = features.normalised_log_mel(samples)
            arrays.append(array.astype(np.float16))
            lengths.append(len(array))
            texts.append(text)
        seconds += sum(lengths) / 100
        path = f"{folder}/windows-{seed:03d}-{shard:04d}.npz"
        np.savez(path + ".tmp.npz", features=np.concatenate(arrays), lengths=np.array(lengths), texts=np.array(texts))
        os.rename(path + ".tmp.npz", path)
        print(f"{path}: {seconds / 3600:.2f} h so far", flush=True)


if __name__ == "__main__":
    main()
