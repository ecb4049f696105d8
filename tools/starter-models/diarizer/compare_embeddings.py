#!/usr/bin/env python3
"""Compares voice embeddings on development speakers: compare_embeddings.py WINDOWS DEVELOPMENT_WINDOWS EMBEDDING.pt

The network's embedding against what needs no network: mean, deviation, change
and covariance of the log-mel bands over the speaker's frames, with a linear
discriminant projection to 128 values. "Windows" are single embeddings,
"meetings" means of three of different windows.
"""
import os
import random as random_module
import sys

import torch
from torch.nn import functional as F

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from front import for_embedding
from networks import BANDS
from export_networks import load_embedding
from shards import Shards
from speakers import kind, training_speakers
from train_embedding import examples

FIT_WINDOWS, SHRINKAGE, VALUES = 6000, .02, 128
NEW_VOICE, KNOWN_VOICE = .16, .65  # the product's limits: of a new speaker in a meeting, of a voice known from another


UPPER = torch.triu_indices(BANDS, BANDS)


def statistics(x, mask):
    """[B, 64, F], [B, 1, F] -> [B, 2272]"""
    count = mask.sum(2)
    mean = (x * mask).sum(2) / count
    centred = (x - mean[:, :, None]) * mask
    change = (centred[:, :, 1:] - centred[:, :, :-1]) * mask[:, :, 1:]
    covariance = torch.matmul(centred, centred.transpose(1, 2))[:, UPPER[0], UPPER[1]] / count
    spread = lambda v: torch.sqrt((v * v).sum(2) / count + 1e-4)
    return torch.cat((mean, spread(centred), spread(change), covariance), 1)


def collect(windows, measure):
    found, voices = [], []
    with torch.no_grad():
        for i in range(0, len(windows), 20):
            power, mask, voice = examples(Shards.tensors(windows[i:i + 20]), random_module.Random(1), crop=False)
            found.append(measure(for_embedding(power, mask), mask))
            voices.append(voice)
    return torch.cat(found), torch.cat(voices)


def discriminant(vectors, voices):
    """-> centre, projection: the covariance within voices becomes the identity, the directions that tell voices apart come first"""
    names = voices.unique()
    means = torch.stack([vectors[voices == v].mean(0) for v in names])
    centre, within = means.mean(0), vectors - means[torch.searchsorted(names, voices)]
    covariance = within.t() @ within / (len(vectors) - len(names))
    covariance = (1 - SHRINKAGE) * covariance + SHRINKAGE * torch.eye(len(covariance)) * covariance.diag().mean()
    e, v = torch.linalg.eigh(covariance)
    whiten = v / e.clamp(min=1e-8).sqrt() @ v.t()
    _, _, turn = torch.linalg.svd((means - centre) @ whiten, full_matrices=False)
    return centre, whiten @ turn.t()[:, :VALUES]


def equal_error(same, apart):
    limits = torch.linspace(-.3, 1., 261)
    return 100 * min(max(float((same < t).float().mean()), float((apart >= t).float().mean())) for t in limits)


def pairs(vectors, voices, bases, groups=None):
    """-> cosines of one voice, of two of other bases, of two of one base; with groups, one voice counts only inside a group"""
    vectors = F.normalize(vectors)
    cosine = vectors @ vectors.t()
    upper = torch.triu(torch.ones_like(cosine), 1) > 0
    same, base = voices[:, None] == voices, bases[:, None] == bases
    alike = same & upper if groups is None else same & upper & (groups[:, None] == groups)
    return cosine[alike], cosine[~base & upper], cosine[base & ~same & upper]


def meetings(vectors, voices, count=3, repetitions=6):
    random, means, names, groups = random_module.Random(0), [], [], []
    for v in voices.unique().tolist():
        numbers = (voices == v).nonzero()[:, 0].tolist()
        for repetition in range(repetitions if len(numbers) >= 2 * count else 0):
            random.shuffle(numbers)
            for k in range(2):
                means.append(vectors[numbers[k * count:(k + 1) * count]].mean(0))
                names.append(v)
                groups.append(repetition)
    return torch.stack(means), torch.tensor(names), torch.tensor(groups)


def report(name, vectors, voices):
    speakers = training_speakers()
    kinds = sorted({kind(s) for s in speakers})
    base_of = torch.tensor([kinds.index(kind(s)) for s in speakers])
    share = lambda values: f"{100 * float(values.float().mean()):6.2f} %"
    same, other, near = pairs(vectors, voices, base_of[voices])
    print(f"{name:34s} windows: equal error {equal_error(same, torch.cat((other, near))):5.2f} %, other bases alone {equal_error(same, other):5.2f} %; "
          f"one voice under {NEW_VOICE} {share(same < NEW_VOICE)}, two of other bases over it {share(other > NEW_VOICE)}")
    means, names, groups = meetings(vectors, voices)
    same, other, near = pairs(means, names, base_of[names], groups)
    print(f"{'':34s} meetings: one voice under {KNOWN_VOICE} {share(same < KNOWN_VOICE)}; over it: two of other bases {share(other >= KNOWN_VOICE)}, two of one base {share(near >= KNOWN_VOICE)}", flush=True)


def main():
    folder, development, weights = sys.argv[1:4]
    torch.set_num_threads(1)
    shards = Shards(folder, 9, 1, open_shards=FIT_WINDOWS // 100)
    shards._fill()
    values, voices = collect(shards.stock[:FIT_WINDOWS], statistics)
    size = values.std(0) + 1e-4
    centre, projection = discriminant(values / size, voices)
    windows = Shards.all_of(development)
    values, voices = collect(windows, statistics)
    report("statistics, linear discriminant", (values / size - centre) @ projection, voices)
    values, voices = collect(windows, load_embedding(weights))
    report("network", values, voices)


if __name__ == "__main__":
    main()
