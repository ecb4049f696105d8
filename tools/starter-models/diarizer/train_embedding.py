#!/usr/bin/env python3
"""Trains the embedding network: train_embedding.py WINDOWS DEVELOPMENT_WINDOWS OUTPUT.pt STEPS RATE [START.pt]

Each speaker of a window is one example, by the frames in which nobody else
sounds. The loss has two parts: an angular softmax with a margin over all
training voices, and hinges that pull the cosine to the own voice above 0.9 and
push the cosine to every other voice under 0.05, because the product compares
cosines with fixed limits.
"""
import copy
import math
import os
import random as random_module
import sys
import time

import torch
from torch import nn
from torch.nn import functional as F

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from front import FRAMES, for_embedding
from networks import EmbeddingNetwork
from shards import Shards
from speakers import training_speakers

BATCH, WARM_UP, AVERAGING, SAVE_EVERY = 40, 100, .995, 200
SCALE, MARGIN = 18., .15
NEAR, APART, SHORTEST = .9, .05, 24  # cosines; frames (0.4 s)
REGION = 240                         # frames (4 s) of a window that a training example sees


def examples(batch, random, crop=True):
    """-> power [N, 64, F], mask [N, 1, F], voice [N]: one example for each speaker heard alone long enough"""
    power, activity, speakers = batch
    alone = activity * (activity.sum(2, keepdim=True) == 1)
    windows, masks, voices = [], [], []
    for w in range(len(power)):
        for s in range(3):
            mask = alone[w, :, s].float()
            if speakers[w, s] < 0 or mask.sum() < SHORTEST:
                continue
            first, end = 0, FRAMES
            if crop:
                first = region_with_speech(mask, random)
                end = first + REGION
                if random.random() < .5:                                    # edges as a segmentation network finds them
                    mask = torch.roll(mask, random.randint(-8, 8))
                if random.random() < .3:                                    # as if less of it had been said
                    part = mask.clone()
                    part[first + random.randint(40, REGION):] = 0
                    mask = part if part[first:end].sum() >= SHORTEST else mask
            windows.append(power[w, :, first:end])
            masks.append(mask[first:end])
            voices.append(int(speakers[w, s]))
    return torch.stack(windows), torch.stack(masks)[:, None], torch.tensor(voices)


def region_with_speech(mask, random):
    """The first frame of a random region that holds enough frames of the mask."""
    inside = torch.cat((torch.zeros(1), mask.cumsum(0)))
    counts = inside[REGION:] - inside[:-REGION]
    enough = (counts >= min(SHORTEST, float(counts.max()))).nonzero()[:, 0]
    return int(enough[random.randrange(len(enough))])


def loss_of(embedding, prototypes, voices):
    cosine = F.normalize(embedding) @ F.normalize(prototypes).t()
    own = cosine.gather(1, voices[:, None])
    angle = torch.acos(own.clamp(-1 + 1e-6, 1 - 1e-6))
    logits = SCALE * cosine.scatter(1, voices[:, None], torch.cos((angle + MARGIN).clamp(max=math.pi)))
    softmax = F.cross_entropy(logits, voices)
    others = (cosine - APART).clamp(min=0) ** 2
    apart = others.sum(1) - others.gather(1, voices[:, None])[:, 0]
    near = ((NEAR - own).clamp(min=0) ** 2)[:, 0]
    return softmax, (apart + 5 * near).mean(), (cosine.argmax(1) == voices).float().mean()


def measure(network, windows):
    """Equal error rate over all pairs of examples of different windows."""
    network.eval()
    found, voices = [], []
    with torch.no_grad():
        for i in range(0, len(windows), 20):
            power, mask, voice = examples(Shards.tensors(windows[i:i + 20]), random_module.Random(1), crop=False)
            found.append(F.normalize(network(for_embedding(power, mask), mask)))
            voices.append(voice)
    network.train()
    found, voices = torch.cat(found), torch.cat(voices)
    cosine = found @ found.t()
    upper = torch.triu(torch.ones_like(cosine), 1) > 0
    same = voices[:, None] == voices[None]
    alike, apart = cosine[same & upper].sort()[0], cosine[~same & upper]
    best = min((abs(float((alike < t).float().mean()) - float((apart >= t).float().mean())), t) for t in torch.linspace(-.2, .95, 116).tolist())[1]
    return (f"{len(alike)} pairs of one voice: mean {alike.mean():.3f}, tenth {alike[len(alike) // 10]:.3f}; of two: mean {apart.mean():.3f}, "
            f"over 0.16 {100 * (apart > .16).float().mean():.1f} %, over 0.65 {100 * (apart > .65).float().mean():.2f} %; equal error {100 * float((apart >= best).float().mean()):.2f} % at {best:.2f}")


def main():
    folder, development, output, steps, rate = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4]), float(sys.argv[5])
    torch.manual_seed(2)
    torch.set_num_threads(1)
    random, shards = random_module.Random(8), Shards(folder, 8, BATCH)
    network, count = EmbeddingNetwork(), len(training_speakers())
    prototypes = nn.Parameter(torch.randn(count, 256))
    if len(sys.argv) > 6:
        start = torch.load(sys.argv[6])
        prototypes.data.copy_(start.pop("prototypes"))
        network.load_state_dict(start)
    print(sum(p.numel() for p in network.parameters()), "weights,", count, "voices")
    average = copy.deepcopy(network.state_dict())
    optimizer = torch.optim.AdamW(list(network.parameters()) + [prototypes], lr=rate, weight_decay=1e-2)
    shown, started = [0.] * 3, time.time()
    for step in range(1, steps + 1):
        for group in optimizer.param_groups:
            group["lr"] = rate * min(1, step / WARM_UP) * (.5 + .5 * math.cos(math.pi * step / steps))
        power, mask, voices = examples(shards.next(), random)
        values = loss_of(network(for_embedding(power, mask), mask), prototypes, voices)
        optimizer.zero_grad()
        (values[0] + 2 * values[1]).backward()
        torch.nn.utils.clip_grad_norm_(network.parameters(), 5.)
        optimizer.step()
        decay = min(AVERAGING, (1 + step) / (10 + step))
        for name, value in network.state_dict().items():
            average[name].lerp_(value, 1 - decay) if value.is_floating_point() else average[name].copy_(value)
        keep = .97 if step > 1 else 0.
        shown = [keep * s + (1 - keep) * v.item() for s, v in zip(shown, values)]
        if step % 25 == 0:
            print(f"step {step} softmax {shown[0]:.3f} hinges {shown[1]:.3f} right {100 * shown[2]:.0f} % {time.time() - started:.0f} s", flush=True)
        if step % SAVE_EVERY == 0 or step == steps:
            torch.save(dict(average, prototypes=prototypes.detach()), output + ".tmp")
            os.replace(output + ".tmp", output)
            probe = EmbeddingNetwork()
            probe.load_state_dict(average)
            print("  development windows:", measure(probe, Shards.all_of(development)), flush=True)


if __name__ == "__main__":
    main()
