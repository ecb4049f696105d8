"""The two networks of the diarizer."""
import itertools
import math
import os
import sys

import torch
from torch import nn
from torch.nn import functional as F

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "asr"))  # last: it has files of the same names
from fast_gru import bidirectional_gru
from network import ChannelNorm

BANDS, SPEAKERS, STRIDE = 64, 3, 4
POWERSET = [(), (0,), (1,), (2,), (0, 1), (0, 2), (1, 2)]


class Attention(nn.Module):
    """Self-attention and a feed-forward part over [B, T, width], each added to what it got."""

    def __init__(self, width, heads=4):
        super().__init__()
        self.heads, self.width = heads, width
        self.norm, self.norm2 = nn.LayerNorm(width), nn.LayerNorm(width)
        self.given, self.out = nn.Linear(width, 3 * width), nn.Linear(width, width)
        self.up, self.down = nn.Linear(width, 2 * width), nn.Linear(2 * width, width)

    def forward(self, x):
        batch, steps = x.shape[:2]
        q, k, v = self.given(self.norm(x)).reshape(batch, steps, 3, self.heads, self.width // self.heads).permute(2, 0, 3, 1, 4).unbind(0)
        weights = (torch.matmul(q, k.transpose(2, 3)) / math.sqrt(self.width // self.heads)).softmax(-1)
        x = x + self.out(torch.matmul(weights, v).transpose(1, 2).reshape(batch, steps, self.width))
        return x + self.down(F.relu(self.up(self.norm2(x))))


class LocalVoice(nn.Module):
    """What the voice is like around each moment: mean, deviation and change of the log-mel frames over half a second and over
    one and a half, projected to the directions that tell the speakers of a window apart (fitted by fit_local_voice.py, then fixed)."""

    SPANS, VALUES = (28, 92), 24  # frames; values for each span

    def __init__(self):
        super().__init__()
        self.register_buffer("centres", torch.zeros(len(self.SPANS), 3 * BANDS))
        self.register_buffer("projections", torch.zeros(len(self.SPANS), 3 * BANDS, self.VALUES))

    @staticmethod
    def statistics(x, span):
        """[B, 65, F] -> [B, 192, F / 4]"""
        log, active = x[:, :BANDS], x[:, BANDS:]
        weight = F.avg_pool1d(active, span, STRIDE, (span - STRIDE) // 2)
        pool = lambda v: F.avg_pool1d(v * active, span, STRIDE, (span - STRIDE) // 2) / weight.clamp(min=.05)
        mean = pool(log)
        deviation = torch.sqrt((pool(log * log) - mean * mean).clamp(min=0.) + 1e-3)
        step = torch.cat((log[:, :, 1:] - log[:, :, :-1], torch.zeros_like(log[:, :, :1])), 2)
        return torch.cat((mean, deviation, torch.sqrt(pool(step * step) + 1e-3)), 1)

    def forward(self, x):
        """-> [B, 48, F / 4], zero where nothing is heard around"""
        values = []
        for i, span in enumerate(self.SPANS):
            heard = (F.avg_pool1d(x[:, BANDS:], span, STRIDE, (span - STRIDE) // 2) > .1).to(torch.float32)
            values.append(torch.matmul(self.projections[i].t(), self.statistics(x, span) - self.centres[i][:, None]) * heard)
        return torch.cat(values, 1).clamp(-6., 6.)


class SegmentationNetwork(nn.Module):
    """Convolutions to 67 ms steps, beside them what the voice is like; self-attention, one bidirectional GRU, scores of
    the seven sets of speakers for each frame."""

    def __init__(self, width=160, blocks=1, attentions=2, gru_width=96):
        super().__init__()
        self.local_voice = LocalVoice()
        self.down = nn.ModuleList([nn.Conv1d(BANDS + 1, 96, 5, 2, 2), nn.Conv1d(96, width, 5, 2, 2)])
        self.down_norms = nn.ModuleList([ChannelNorm(96), ChannelNorm(width)])
        self.blocks = nn.ModuleList(nn.Conv1d(width, width, 5, 1, 2) for _ in range(blocks))
        self.block_norms = nn.ModuleList(ChannelNorm(width) for _ in range(blocks))
        self.join = nn.Linear(width + 2 * LocalVoice.VALUES, width)
        self.attentions = nn.ModuleList(Attention(width) for _ in range(attentions))
        self.gru = nn.GRU(width, gru_width, batch_first=True, bidirectional=True)
        self.norm = nn.LayerNorm(2 * gru_width)
        self.head = nn.Linear(2 * gru_width + width, STRIDE * len(POWERSET))

    def forward(self, x):
        """[B, 65, F] of front.for_segmentation -> scores [B, F, 7]"""
        local = self.local_voice(x).transpose(1, 2)
        for convolution, norm in zip(self.down, self.down_norms):
            x = F.relu(norm(convolution(x)))
        for convolution, norm in zip(self.blocks, self.block_norms):
            x = x + F.relu(convolution(norm(x)))
        x = self.join(torch.cat((x.transpose(1, 2), local), 2))
        for attention in self.attentions:
            x = attention(x)
        y = bidirectional_gru(self.gru, x) if self.training else self.gru(x)[0]
        scores = self.head(torch.cat((self.norm(y), x), -1))
        return scores.reshape(scores.shape[0], scores.shape[1] * STRIDE, len(POWERSET))


def _class_tables():
    """For each order of the three speakers, the class of each activity code a0 + 2 a1 + 4 a2; -1 for all three at once."""
    tables = []
    for order in itertools.permutations(range(SPEAKERS)):
        table = []
        for code in range(8):
            active = tuple(sorted(order[s] for s in range(SPEAKERS) if code >> s & 1))
            table.append(POWERSET.index(active) if active in POWERSET else -1)
        tables.append(table)
    return torch.tensor(tables)


CLASS_TABLES = _class_tables()


def permutation_free_loss(scores, activity):
    """scores [B, F, 7], activity [B, F, 3] of 0 and 1 -> mean over windows of the loss under the best order of speakers"""
    log = scores.log_softmax(-1)
    codes = activity.long() @ torch.tensor([1, 2, 4])
    counted = (codes < 7).float()
    losses = []
    for table in CLASS_TABLES:
        chosen = log.gather(2, table[codes].clamp(min=0)[:, :, None])[:, :, 0]
        losses.append(-(chosen * counted).sum(1) / counted.sum(1).clamp(min=1))
    return torch.stack(losses).min(0)[0].mean()


class EmbeddingNetwork(nn.Module):
    """Convolutions at 67 ms steps over the chosen frames, attentive mean and deviation over them, 256 values."""

    def __init__(self, width=256, blocks=3, pooled=384, values=256):
        super().__init__()
        self.down = nn.ModuleList([nn.Conv1d(BANDS + 1, 160, 5, 2, 2), nn.Conv1d(160, width, 5, 2, 2)])
        self.down_norms = nn.ModuleList([ChannelNorm(160), ChannelNorm(width)])
        self.blocks = nn.ModuleList(nn.Conv1d(width, width, 3, 1, 1) for _ in range(blocks))
        self.block_norms = nn.ModuleList(ChannelNorm(width) for _ in range(blocks))
        self.spread = nn.Conv1d(width, pooled, 1)
        self.attention = nn.Conv1d(pooled, pooled, 1, groups=8)
        self.norm = nn.BatchNorm1d(2 * pooled)
        self.out = nn.Linear(2 * pooled, values, bias=False)
        self.out_norm = nn.BatchNorm1d(values, affine=False)

    def forward(self, x, mask):
        """[B, 64, F] of front.for_embedding, mask [B, 1, F] -> [B, 256], centred, each value about 1 in size"""
        x = torch.cat((x, mask), 1)
        for convolution, norm in zip(self.down, self.down_norms):
            x = F.relu(norm(convolution(x)))
        weight = F.avg_pool1d(mask, STRIDE)                                     # [B, 1, F / 4]
        for convolution, norm in zip(self.blocks, self.block_norms):
            x = x + F.relu(convolution(norm(x)))
        x = F.relu(self.spread(x))
        attention = torch.exp(4 * torch.tanh(self.attention(x) / 4)) * weight
        attention = attention / attention.sum(2, keepdim=True).clamp(min=1e-6)
        mean = (x * attention).sum(2)
        deviation = torch.sqrt(((x * x * attention).sum(2) - mean * mean).clamp(min=1e-5))
        return self.out_norm(self.out(self.norm(torch.cat((mean, deviation), 1))))
