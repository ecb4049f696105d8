#!/usr/bin/env python3
"""Trains the segmentation network: train_segmentation.py WINDOWS DEVELOPMENT_WINDOWS OUTPUT.pt STEPS RATE LOCAL_VOICE.pt|START.pt

The learning rate falls to nothing along a cosine. OUTPUT.pt holds the averaged weights.
"""
import copy
import math
import os
import sys
import time

import numpy as np
import torch

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from front import for_segmentation
from networks import POWERSET, SegmentationNetwork, permutation_free_loss
from shards import Shards

BATCH, WARM_UP, AVERAGING, SAVE_EVERY = 24, 100, .995, 100
LONGEST_BRIDGED = 30  # frames


def bridged(activity):
    """Fills a speaker's pauses of up to half a second in which nobody else speaks: the product drops what is shorter than a
    second, and a turn should not fall to pieces over a breath. activity [B, F, 3], changed in place."""
    silent = activity.sum(2) == 0
    for window, quiet in zip(activity.numpy(), silent.numpy()):
        for s in range(window.shape[1]):
            edges = np.flatnonzero(np.diff(window[:, s].astype(np.int8)))
            for stop, start in zip(edges[:-1], edges[1:]):
                if window[stop, s] and start - stop <= LONGEST_BRIDGED and quiet[stop + 1:start + 1].all():
                    window[stop + 1:start + 1, s] = 1
    return activity


def mask_bands(x, random):
    """Now and then a stretch of bands or frames is blanked."""
    for i in range(len(x)):
        if random.random() < .3:
            at = random.randrange(56)
            x[i, at:at + random.randint(1, 8)] = 0
    return x


def measure(network, windows):
    """Share of frames whose speakers are wrong, over the frames with speech, under the best order (a diarization error rate)."""
    from itertools import permutations
    sets = torch.zeros(len(POWERSET), 3)
    for i, members in enumerate(POWERSET):
        sets[i, list(members)] = 1
    network.eval()
    missed = false = confused = total = 0.
    with torch.no_grad():
        for i in range(0, len(windows), 20):
            power, activity, _ = Shards.tensors(windows[i:i + 20])
            found = sets[network(for_segmentation(power)).argmax(-1)]       # [B, F, 3]
            for f, a in zip(found, activity.float()):
                both = max((f[:, order] * a).sum().item() for order in permutations(range(3)))
                nf, na = f.sum(1), a.sum(1)
                missed += (na - nf).clamp(min=0).sum().item()
                false += (nf - na).clamp(min=0).sum().item()
                confused += torch.minimum(nf, na).sum().item() - both
                total += na.sum().item()
    network.train()
    return [100 * v / total for v in (missed, false, confused)]


def main():
    import random as random_module
    folder, development, output, steps, rate = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4]), float(sys.argv[5])
    torch.manual_seed(1)
    torch.set_num_threads(1)
    random, shards = random_module.Random(7), Shards(folder, 7, BATCH)
    network = SegmentationNetwork()
    start = torch.load(sys.argv[6])
    network.load_state_dict(start, strict="head.weight" in start)  # LOCAL_VOICE.pt holds the fixed part alone
    print(sum(p.numel() for p in network.parameters()), "weights")
    average = copy.deepcopy(network.state_dict())
    optimizer = torch.optim.AdamW(network.parameters(), lr=rate, weight_decay=1e-2)
    shown, started = 0., time.time()
    for step in range(1, steps + 1):
        for group in optimizer.param_groups:
            group["lr"] = rate * min(1, step / WARM_UP) * (.5 + .5 * math.cos(math.pi * step / steps))
        power, activity, _ = shards.next()
        loss = permutation_free_loss(network(mask_bands(for_segmentation(power), random)), bridged(activity))
        optimizer.zero_grad()
        loss.backward()
        torch.nn.utils.clip_grad_norm_(network.parameters(), 1.)
        optimizer.step()
        decay = min(AVERAGING, (1 + step) / (10 + step))
        for name, value in network.state_dict().items():
            average[name].lerp_(value, 1 - decay)
        keep = .97 if step > 1 else 0.
        shown = keep * shown + (1 - keep) * loss.item()
        if step % 25 == 0:
            print(f"step {step} loss {shown:.4f} {time.time() - started:.0f} s", flush=True)
        if step % SAVE_EVERY == 0 or step == steps:
            torch.save(average, output + ".tmp")
            os.replace(output + ".tmp", output)
            torch.save(network.state_dict(), output + ".raw")
            probe = SegmentationNetwork()
            probe.load_state_dict(average)
            print("  development windows: missed {:.1f} %, false {:.1f} %, confused {:.1f} %".format(*measure(probe, Shards.all_of(development))), flush=True)


if __name__ == "__main__":
    main()
