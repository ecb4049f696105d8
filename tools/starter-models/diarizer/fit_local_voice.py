#!/usr/bin/env python3
"""Fits the fixed part of the segmentation network: fit_local_voice.py WINDOWS OUTPUT.pt [SHARDS]

A linear discriminant of what is heard around a moment. Apart count the
speakers of one window, alike the moments of one speaker in one window: room
and microphone are the same for all of them, so they need not be ignored.
"""
import glob
import os
import sys

import torch
from torch.nn import functional as F

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from front import for_segmentation
from networks import STRIDE, LocalVoice
from shards import Shards

SHRINKAGE = .02


def moments(windows, span):
    """-> statistics [N, 192] of moments with one speaker around, group [N] (one for each speaker of a window), window of each group"""
    found, groups, window_of = [], [], []
    for i in range(0, len(windows), 40):
        power, activity, _ = Shards.tensors(windows[i:i + 40])
        x = for_segmentation(power)
        share = F.avg_pool1d(activity.float().transpose(1, 2), span, STRIDE, (span - STRIDE) // 2)
        statistics = LocalVoice.statistics(x, span).transpose(1, 2)
        for w in range(len(power)):
            for s in range(3):
                others = share[w].sum(0) - share[w, s]
                chosen = ((share[w, s] > .7) & (others == 0)).nonzero()[:, 0]
                if len(chosen) >= 3:
                    found.append(statistics[w, chosen[::2]])
                    groups.append(torch.full((len(found[-1]),), len(window_of)))
                    window_of.append(i + w)
    return torch.cat(found), torch.cat(groups), torch.tensor(window_of)


def fit(values, groups, window_of):
    count = len(window_of)
    size = torch.zeros(count).index_add_(0, groups, torch.ones(len(groups)))
    means = torch.zeros(count, values.shape[1]).index_add_(0, groups, values) / size[:, None]
    within = values - means[groups]
    covariance = within.t() @ within / (len(values) - count)
    covariance = (1 - SHRINKAGE) * covariance + SHRINKAGE * torch.eye(len(covariance)) * covariance.diag().mean()
    e, v = torch.linalg.eigh(covariance)
    whiten = v / e.clamp(min=1e-8).sqrt() @ v.t()
    first, second = neighbours(window_of)
    between = (means[first] - means[second]) @ whiten
    _, strength, turn = torch.linalg.svd(between, full_matrices=False)
    strength = strength / len(between) ** .5
    print("difference of two speakers of a window, in deviations of one:", " ".join(f"{s:.2f}" for s in strength[:LocalVoice.VALUES]))
    return means.mean(0), whiten @ turn.t()[:, :LocalVoice.VALUES] / 2


def neighbours(window_of):
    """All pairs of groups of the same window; groups of a window lie side by side."""
    pairs = [(i, i + k) for k in (1, 2) for i in range(len(window_of) - k) if window_of[i] == window_of[i + k]]
    return torch.tensor(pairs).t()


def main():
    folder, output = sys.argv[1:3]
    torch.set_num_threads(1)
    paths = sorted(glob.glob(folder + "/windows-*[0-9].npz"))[:int(sys.argv[3]) if len(sys.argv) > 3 else 15]
    windows = [w for p in paths for w in Shards.read(p)]
    fitted = [fit(*moments(windows, span)) for span in LocalVoice.SPANS]
    torch.save({"local_voice.centres": torch.stack([c for c, _ in fitted]), "local_voice.projections": torch.stack([p for _, p in fitted])}, output)


if __name__ == "__main__":
    main()
