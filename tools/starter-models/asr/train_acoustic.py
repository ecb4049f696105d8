#!/usr/bin/env python3
"""Trains the acoustic network with CTC, two processes side by side.

train_acoustic.py WINDOWS_FOLDER PIECES.model OUTPUT.pt STEPS FIRST_RATE LAST_RATE [START.pt]

Stops after STEPS steps, the learning rate going in a line from FIRST_RATE to
LAST_RATE. New windows are picked up after each pass over the data. Writes OUTPUT.pt (the weights averaged over the last
few hundred steps, which is what to export) and OUTPUT.pt.raw now and then, and
at the end. START.pt may hold all weights or only some.
"""
import glob
import math
import os
import random as random_module
import sys
import time

import numpy as np
import sentencepiece
import torch
import torch.multiprocessing as multiprocessing

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from network import LETTERS, MEL_BANDS, AcousticNetwork

PROCESSES = 2
FRAMES_A_BATCH = 8000    # mel frames, padding included, in each process
WARM_UP_STEPS = 100
AVERAGING = .998
LETTER_WEIGHT = .2
GRADIENT_LIMIT = 2.0
SAVE_EVERY = 100
NORMALISED_BLANK = 0     # SpecAugment fills with the mean


def load_new_windows(folder, rank, seen, windows, pieces):
    """Adds the shards of this process that have appeared since the last call."""
    for path in sorted(glob.glob(folder + "/windows-*.npz")):
        if path.endswith(".tmp.npz") or path in seen or int(path[-8:-4]) % PROCESSES != rank:
            continue
        seen.add(path)
        with np.load(path) as shard:
            features, at = shard["features"], 0
            for length, text in zip(shard["lengths"], shard["texts"]):
                array, at = features[at:at + length], at + length
                ids = pieces.encode(str(text))
                repeats = sum(a == b for a, b in zip(ids, ids[1:]))
                if len(ids) + repeats + 1 < length / 8:
                    letters = [LETTERS.index(c) for c in str(text).lower() if c in LETTERS]
                    windows.append((array.T.copy(), ids, letters))


def batches(windows, random):
    order = sorted(range(len(windows)), key=lambda i: windows[i][0].shape[1] * random.uniform(.92, 1.08))
    result, current, longest = [], [], 0
    for i in order:
        length = windows[i][0].shape[1]
        if current and max(longest, length) * (len(current) + 1) > FRAMES_A_BATCH:
            result.append(current)
            current, longest = [], 0
        current.append(i)
        longest = max(longest, length)
    result.append(current)
    random.shuffle(result)
    return result


def assemble(windows, batch, random):
    """-> mel [B, 64, T] with SpecAugment, lengths"""
    lengths = [windows[i][0].shape[1] for i in batch]
    longest = (max(lengths) + 7) // 8 * 8
    mel = np.zeros((len(batch), MEL_BANDS, longest), np.float32)
    for row, i in enumerate(batch):
        mel[row, :, :lengths[row]] = windows[i][0]
        for _ in range(random.randint(0, 2)):
            width = random.randint(0, 9)
            at = random.randint(0, MEL_BANDS - width)
            mel[row, at:at + width] = NORMALISED_BLANK
        for _ in range(random.randint(0, max(1, lengths[row] // 350))):
            width = random.randint(0, 16)
            at = random.randint(0, max(1, lengths[row] - width))
            mel[row, :, at:at + width] = NORMALISED_BLANK
    return torch.from_numpy(mel), torch.tensor(lengths)


def rate_at(step, steps, first, last):
    return min(1, (step + 1) / WARM_UP_STEPS) * (first + (last - first) * step / steps)


def save(state, path):
    torch.save(state, path + ".tmp")
    os.rename(path + ".tmp", path)


def work(rank, folder, model_file, output, steps, rates, start, gradients, barrier):
    torch.set_num_threads(1)
    torch.manual_seed(7)  # the same first weights in both processes
    random = random_module.Random(100 + rank)
    pieces = sentencepiece.SentencePieceProcessor(model_file=model_file)
    network = AcousticNetwork(pieces.get_piece_size())
    if start:
        print(network.load_state_dict(torch.load(start), strict=False), flush=True)
    average = {name: value.clone() for name, value in network.state_dict().items()}
    parameters = list(network.parameters())
    optimizer = torch.optim.AdamW(parameters, lr=rates[0], betas=(.9, .98), weight_decay=1e-2)
    loss_of = torch.nn.CTCLoss(blank=network.blank, reduction="sum", zero_infinity=True)
    letter_loss_of = torch.nn.CTCLoss(blank=len(LETTERS), reduction="sum", zero_infinity=True)
    torch.manual_seed(1000 + rank)
    windows, seen, step, heard, started = [], set(), 0, 0., time.time()
    shown = letter_shown = 0.
    while step < steps:
        load_new_windows(folder, rank, seen, windows, pieces)
        todo = batches(windows, random)
        if rank == 0:
            print(f"pass over {len(windows)} windows of this process, {len(todo)} batches", flush=True)
        for batch in todo:
            mel, lengths = assemble(windows, batch, random)
            network.train()
            logits, letters, frames = network(mel, lengths)
            target = [windows[i][1] for i in batch]
            letter_target = [windows[i][2] for i in batch]
            loss = loss_of(logits.log_softmax(-1).transpose(0, 1), torch.tensor(sum(target, []), dtype=torch.long),
                           frames, torch.tensor([len(t) for t in target])) / max(1, sum(map(len, target)))
            letter_loss = letter_loss_of(letters.log_softmax(-1).transpose(0, 1), torch.tensor(sum(letter_target, []), dtype=torch.long),
                                         frames * 2, torch.tensor([len(t) for t in letter_target])) / max(1, sum(map(len, letter_target)))
            optimizer.zero_grad()
            (loss + LETTER_WEIGHT * letter_loss).backward()
            gradients[rank].copy_(torch.cat([p.grad.reshape(-1) for p in parameters]))
            barrier.wait()
            total = (gradients[0] + gradients[1]) / PROCESSES
            barrier.wait()
            norm = float(total.norm())
            scale = min(1., GRADIENT_LIMIT / (norm + 1e-6)) if math.isfinite(norm) else 0.
            total = torch.nan_to_num(total) * scale
            at = 0
            for p in parameters:
                p.grad.copy_(total[at:at + p.numel()].view_as(p))
                at += p.numel()
            for group in optimizer.param_groups:
                group["lr"] = rate_at(step, steps, *rates)
            optimizer.step()
            step += 1
            heard += sum(lengths.tolist()) / 100 * PROCESSES
            keep = .97 if step > 1 else 0.
            shown, letter_shown = keep * shown + (1 - keep) * float(loss), keep * letter_shown + (1 - keep) * float(letter_loss)
            if rank == 0:
                decay = min(AVERAGING, (1 + step) / (10 + step))
                for name, value in network.state_dict().items():
                    average[name].lerp_(value, 1 - decay) if value.is_floating_point() else average[name].copy_(value)
                if step % 50 == 0:
                    print(f"step {step} loss {shown:.3f} letters {letter_shown:.3f} rate {rate_at(step, steps, *rates):.2e} |g| {norm:.2f} "
                          f"{time.time() - started:.0f} s, {heard / 3600:.2f} h heard, {heard / (time.time() - started):.0f}x", flush=True)
                if step % SAVE_EVERY == 0 or step == steps:
                    save(average, output)
                    save(network.state_dict(), output + ".raw")
            if step == steps:
                return


def main():
    folder, model_file, output, steps, first_rate, last_rate = sys.argv[1:7]
    start = sys.argv[7] if len(sys.argv) > 7 else None
    size = sentencepiece.SentencePieceProcessor(model_file=model_file).get_piece_size()
    count = sum(p.numel() for p in AcousticNetwork(size).parameters())
    print(f"{count} parameters, {size} pieces", flush=True)
    gradients = torch.zeros(PROCESSES, count).share_memory_()
    context = multiprocessing.get_context("spawn")
    barrier = context.Barrier(PROCESSES)
    workers = [context.Process(target=work, args=(rank, folder, model_file, output, int(steps),
                                           (float(first_rate), float(last_rate)), start, gradients, barrier))
               for rank in range(PROCESSES)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    sys.exit(any(worker.exitcode for worker in workers))


if __name__ == "__main__":
    main()
