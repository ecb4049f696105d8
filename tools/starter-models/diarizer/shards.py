"""Reads training windows back, shuffled, as they become available."""
import glob
import random as random_module

import numpy as np
import torch


class Shards:
    """Draws whole batches; a few shards are open at a time and mixed. New shards of the folder join in as they appear."""

    def __init__(self, folder, seed, batch, open_shards=6):
        self.folder, self.random, self.batch, self.open_shards = folder, random_module.Random(seed), batch, open_shards
        self.unread, self.stock = [], []

    @staticmethod
    def read(path):
        with np.load(path) as f:
            return list(zip(f["mel"], f["activity"], f["speakers"]))

    def _fill(self):
        while len(self.stock) < self.open_shards * 100:
            if not self.unread:
                self.unread = sorted(glob.glob(self.folder + "/windows-*[0-9].npz"))
                self.random.shuffle(self.unread)
            self.stock += self.read(self.unread.pop())
            self.random.shuffle(self.stock)

    def next(self):
        self._fill()
        return self.tensors([self.stock.pop() for _ in range(self.batch)])

    @classmethod
    def all_of(cls, folder):
        return [w for p in sorted(glob.glob(folder + "/windows-*[0-9].npz")) for w in cls.read(p)]

    @staticmethod
    def tensors(windows):
        """-> power [B, 64, F], activity [B, F, 3], speakers [B, 3]"""
        mel = torch.tensor(np.stack([m for m, _, _ in windows]).astype(np.float32)).exp().transpose(1, 2).contiguous()
        return mel, torch.tensor(np.stack([a for _, a, _ in windows])), torch.tensor(np.stack([s for _, _, s in windows]).astype(np.int64))
