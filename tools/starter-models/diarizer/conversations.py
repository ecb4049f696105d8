"""Conversations: who says which utterance when. The same scheduler makes training windows and test recordings."""
import math
from dataclasses import dataclass

import numpy as np

SAMPLE_RATE = 16000


@dataclass(frozen=True)
class Style:
    utterances_a_turn: tuple = (1, 1, 1, 2, 2, 3)  # drawn from
    inner_pause: tuple = (.05, .7)        # seconds between utterances of a turn
    gap: tuple = (.0, 1.0)                # seconds between turns
    long_gap: float = .08                 # share of gaps that are 1 to 4 s
    backchannel: float = .15              # chance, a turn, that somebody else puts in a short phrase
    same_again: float = .15               # chance that the next turn is by the same speaker
    overlap: float = None                 # share of the speech with two speakers to steer towards; None: by chance_of_overlap
    chance_of_overlap: float = .3
    longest_overlap: float = 2.0          # seconds
    cropped: float = 0.                   # chance that an utterance is cut to a fragment


@dataclass
class Spoken:
    speaker: int      # of this conversation, 0 up
    utterance: int    # in the pool
    at: int           # sample at which it starts
    first: int        # crop of the utterance, in samples
    end: int

    def spans(self, pool):
        for a, b in pool.entries[self.utterance]["sounding"]:
            a, b = max(a, self.first) - self.first + self.at, min(b, self.end) - self.first + self.at
            if b > a:
                yield a, b


class Scheduler:
    """Draws utterances so that no more than two speakers ever sound at once. Repeats none until a speaker has none left."""

    def __init__(self, pool, voices, style, random):
        self.pool, self.voices, self.style, self.random = pool, voices, style, random
        self.left = [([], []) for _ in voices]
        self.spoken = []
        self.speech = self.double = 0

    def _draw(self, speaker, short):
        left = self.left[speaker][short]
        if not left:
            left += self.pool.short(self.voices[speaker]) if short else self.pool.long(self.voices[speaker])
            self.random.shuffle(left)
        number = left.pop()
        count = self.pool.entries[number]["count"]
        if not short and self.random.random() < self.style.cropped:
            length = int(self.random.uniform(.5, 2.5) * SAMPLE_RATE)
            if length < count:
                first = self.random.randrange(count - length)
                return number, first, first + length
        return number, 0, count

    def _say(self, speaker, at, short=False):
        number, first, end = self._draw(speaker, short)
        self.spoken.append(Spoken(speaker, number, max(0, at), first, end))
        return self.spoken[-1].at + end - first

    def run(self, seconds, start=0.):
        r, style, speakers = self.random, self.style, len(self.voices)
        end, before, speaker = int(start * SAMPLE_RATE), 0, r.randrange(speakers)
        while end < seconds * SAMPLE_RATE:
            if speakers > 1 and self.spoken and r.random() >= style.same_again:
                speaker = r.choice([s for s in range(speakers) if s != speaker])
            share = self.double / max(1, self.speech)
            overlap = r.random() < style.chance_of_overlap if style.overlap is None else share < style.overlap and r.random() < .8
            if overlap and self.spoken and self.spoken[-1].speaker != speaker:
                wish = int(r.uniform(.3, style.longest_overlap) * SAMPLE_RATE)
                begin = max(end - wish, before, self.spoken[-1].at + 3200)
            else:
                gap = r.uniform(1, 4) if r.random() < style.long_gap else r.uniform(*style.gap)
                begin = end + int(gap * SAMPLE_RATE)
            begin = max(0, begin)
            overlapped = max(0, end - begin)
            at = begin
            for k in range(r.choice(style.utterances_a_turn)):
                if k:
                    at += int(r.uniform(*style.inner_pause) * SAMPLE_RATE)
                at = self._say(speaker, at)
            spoken = at - begin
            before = max(end, begin)
            if speakers > 1 and r.random() < style.backchannel and at - before > 2 * SAMPLE_RATE:
                other = r.choice([s for s in range(speakers) if s != speaker])
                put_in = r.randrange(before + 4800, at - 16000)
                done = self._say(other, put_in, short=True)
                overlapped += min(done, at) - put_in
                before = max(before, done)
            self.speech += spoken - max(0, end - begin)
            self.double += overlapped
            end = max(end, at)
        return self

    def tracks(self, count, offset, random, spread=4.):
        """-> float32 tracks [speakers][count] from sample `offset` on, and spans of each speaker [(first, end)]"""
        tracks = [np.zeros(count, np.float32) for _ in self.voices]
        spans = [[] for _ in self.voices]
        levels = [10 ** (random.uniform(-spread, spread) / 20) for _ in self.voices]
        for s in self.spoken:
            at = s.at - offset
            if at >= count or at + s.end - s.first <= 0:
                continue
            samples = self.pool.samples(s.utterance)[s.first:s.end] * (levels[s.speaker] * 10 ** (random.uniform(-1, 1) / 20))
            a, b = max(0, at), min(count, at + len(samples))
            tracks[s.speaker][a:b] += samples[a - at:b - at]
            spans[s.speaker] += [(max(0, x - offset), min(count, y - offset)) for x, y in s.spans(self.pool)
                                 if y > offset and x < offset + count]
        return tracks, [merged(s) for s in spans]


def merged(spans, bridge=.3):
    """Sorted, overlapping ones joined, pauses under `bridge` seconds filled."""
    out = []
    for a, b in sorted(spans):
        if out and a - out[-1][1] < bridge * SAMPLE_RATE:
            out[-1] = (out[-1][0], max(out[-1][1], b))
        else:
            out.append((a, b))
    return out


def frame_activity(spans, frames, hop):
    """spans in samples -> uint8 [frames], 1 where the frame's middle lies in a span"""
    active = np.zeros(frames, np.uint8)
    for a, b in spans:
        active[math.ceil((a - hop / 2) / hop):max(0, math.ceil((b - hop / 2) / hop))] = 1
    return active
