#!/usr/bin/env python3
"""The language model inside the prediction network: language_model.py TEXTS.tsv PIECES.model OUTPUT.pt STEPS

One GRU over pieces. Rows are one to three sentences in a row; a third of them
begin in mid-sentence, as windows do.
"""
import os
import random as random_module
import sys
import time

import sentencepiece
import torch
from torch import nn

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "common"))
from texts import spelled

WIDTH, EMBEDDING = 320, 128
ROWS, LONGEST_ROW, POOL = 64, 90, 200
RATE = 3e-3
IGNORE = -100


class LanguageModel(nn.Module):
    def __init__(self, pieces):
        super().__init__()
        self.start = pieces  # the symbol before the first piece
        self.embedding = nn.Embedding(pieces + 1, EMBEDDING)
        self.gru = nn.GRU(EMBEDDING, WIDTH, batch_first=True)
        self.output = nn.Linear(WIDTH, pieces)

    def forward(self, ids, state=None):
        y, state = self.gru(self.embedding(ids), state)
        return self.output(y), state


def rows_of(sentences, pieces, random):
    """Endless rows of piece ids."""
    while True:
        at = 0
        random.shuffle(sentences)
        while at < len(sentences):
            count = random.choice([1, 1, 2, 3])
            words = " ".join(sentences[at:at + count]).split()
            if random.random() < .33:
                words = words[random.randrange(len(words)):]
            at += count
            yield pieces.encode(" ".join(words))[:LONGEST_ROW]


def tensors(rows, start):
    longest = max(map(len, rows))
    given, wanted = torch.full((len(rows), longest), start), torch.full((len(rows), longest), IGNORE)
    for i, row in enumerate(rows):
        wanted[i, :len(row)] = torch.tensor(row)
        given[i, 1:len(row)] = torch.tensor(row[:-1], dtype=torch.long)
    return given, wanted


def loss_of(model, rows):
    given, wanted = tensors(rows, model.start)
    return nn.functional.cross_entropy(model(given)[0].flatten(0, 1), wanted.flatten(), ignore_index=IGNORE)


def main():
    source, model_file, output, steps = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4])
    torch.manual_seed(5)
    torch.set_num_threads(1)
    random = random_module.Random(5)
    pieces = sentencepiece.SentencePieceProcessor(model_file=model_file)
    sentences = [spelled(line.rstrip("\n").split("\t")[1]) for line in open(source)]
    check = [pieces.encode(s) for s in sentences[:400]]
    model = LanguageModel(pieces.get_piece_size())
    optimizer = torch.optim.AdamW(model.parameters(), lr=RATE, weight_decay=1e-3)
    rows, pool, shown, started = rows_of(sentences[400:], pieces, random), [], 0., time.time()
    for step in range(steps):
        if not pool:
            taken = sorted((next(rows) for _ in range(ROWS * POOL)), key=len)
            pool = [taken[i:i + ROWS] for i in range(0, len(taken), ROWS)]
            random.shuffle(pool)
        for group in optimizer.param_groups:
            group["lr"] = RATE * min(1, (step + 1) / 100) * min(1, (steps - step) / (.8 * steps))
        loss = loss_of(model, pool.pop())
        optimizer.zero_grad()
        loss.backward()
        nn.utils.clip_grad_norm_(model.parameters(), 1.)
        optimizer.step()
        shown = .98 * shown + .02 * float(loss) if step else float(loss)
        if (step + 1) % 200 == 0:
            with torch.no_grad():
                print(f"step {step + 1} loss {shown:.3f} held out {float(loss_of(model, check)):.3f} {time.time() - started:.0f} s", flush=True)
            torch.save(model.state_dict(), output)
    torch.save(model.state_dict(), output)


if __name__ == "__main__":
    main()
