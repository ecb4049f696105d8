"""The acoustic network: log-mel frames in, one distribution over pieces for each 80 ms out."""
import torch
from torch import nn
from torch.nn import functional as F

from fast_gru import bidirectional_gru

MEL_BANDS = 64
LETTERS = "abcdefghijklmnopqrstuvwxyz' "  # targets of the auxiliary head


class ChannelNorm(nn.Module):
    """Layer norm over the channels of [batch, channels, time]."""

    def __init__(self, channels):
        super().__init__()
        self.norm = nn.LayerNorm(channels)

    def forward(self, x):
        return self.norm(x.transpose(1, 2)).transpose(1, 2)


class AcousticNetwork(nn.Module):
    """Three strided convolutions (8 times fewer frames), residual convolutions, one bidirectional GRU, one CTC head.

    A second head reads letters off the convolutions, two 40 ms steps a frame.
    It only helps training along; no exported network has it.
    """

    def __init__(self, pieces, widths=(144, 224, 256), blocks=7, gru_width=192, dropout=.1):
        super().__init__()
        channels, width = (MEL_BANDS,) + widths, widths[-1]
        self.blank = pieces
        self.down = nn.ModuleList(nn.Conv1d(channels[i], channels[i + 1], 5, 2, 2) for i in range(3))
        self.down_norms = nn.ModuleList(ChannelNorm(w) for w in widths)
        self.blocks = nn.ModuleList(nn.Conv1d(width, width, 5, 1, 2) for _ in range(blocks))
        self.block_norms = nn.ModuleList(ChannelNorm(width) for _ in range(blocks))
        self.gru_input_norm = ChannelNorm(width)
        self.gru = nn.GRU(width, gru_width, batch_first=True, bidirectional=True)
        self.gru_output_norm = nn.LayerNorm(2 * gru_width)
        self.dropout = nn.Dropout(dropout)
        self.head = nn.Linear(2 * gru_width + width, pieces + 1)
        self.letter_head = nn.Linear(width, 2 * (len(LETTERS) + 1))

    def forward(self, mel, lengths):
        """mel [B, 64, T], zeros beyond lengths [B] -> (logits [B, T8, pieces + 1], letter logits [B, 2 * T8, letters + 1], lengths8)"""
        x = mel
        for convolution, norm in zip(self.down, self.down_norms):
            x = F.relu(norm(convolution(x)))
            lengths = torch.div(lengths + 1, 2, rounding_mode="floor")
            mask = (torch.arange(x.shape[2])[None] < lengths[:, None]).to(x.dtype)[:, None]
            x = x * mask
        for convolution, norm in zip(self.blocks, self.block_norms):
            y = F.relu(convolution(norm(x) * mask))
            x = x + F.dropout2d(y[:, :, None], .05, self.training)[:, :, 0] * mask
        x = (self.gru_input_norm(x) * mask).transpose(1, 2)
        letters = self.letter_head(x) if self.training else None
        y = bidirectional_gru(self.gru, x) if self.training else self.gru(x)[0]
        logits = self.head(self.dropout(torch.cat((self.gru_output_norm(y), x), -1)))
        if letters is not None:
            letters = letters.reshape(x.shape[0], 2 * x.shape[1], len(LETTERS) + 1)
        return logits, letters, lengths
