"""Sound to mel power at the diarizer's frame rate, in numpy for the training data and as a network for the product.

Frame f is centred on sample 270 f + 135; 592 frames cover the 160000 samples of a window.
"""
import math
import os
import sys

import numpy as np
import torch
from torch import nn

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "common"))
import features

SAMPLES, HOP, FRAMES, WINDOW_LENGTH, BANDS = 160000, 270, 592, 512, features.MEL_BANDS
BEFORE = WINDOW_LENGTH // 2 - HOP // 2          # zeros before the first sample
WINDOW = np.hanning(WINDOW_LENGTH + 1)[:WINDOW_LENGTH].astype(np.float32)
REFERENCE_POWER, LOG_FLOOR = 500.0, 3e-3        # speech is scaled to this mean power; what is 52 dB below counts as nothing
ACTIVE_RANGE = 1e-2                             # frames with less than this share of the loudest frame's power do not count
MINIMUM_POWER = 5e-5                            # active mean power (about -70 dB of full scale) under which a window is silence
SMALLEST_POWER = 1e-9


def log_mel_power(samples):
    """float32 [160000] -> float16 [592, 64], natural logarithm of the power in mel bands"""
    padded = np.concatenate([np.zeros(BEFORE, np.float32), samples.astype(np.float32)])
    frames = np.lib.stride_tricks.as_strided(padded, (FRAMES, WINDOW_LENGTH), (HOP * 4, 4)) * WINDOW
    spectrum = np.fft.rfft(frames)
    power = (spectrum.real ** 2 + spectrum.imag ** 2).astype(np.float32) @ features.MEL.T
    return np.log(power + SMALLEST_POWER).astype(np.float16)


class MelPower(nn.Module):
    """samples [1, 160000] -> power [1, 64, 592]"""

    def __init__(self):
        super().__init__()
        bins = WINDOW_LENGTH // 2 + 1
        angle = np.arange(bins)[:, None] * np.arange(WINDOW_LENGTH)[None] * 2 * math.pi / WINDOW_LENGTH
        waves = np.concatenate([np.cos(angle), -np.sin(angle)]) * WINDOW[None]
        self.bins = bins
        self.register_buffer("waves", torch.tensor(waves[:, None, :], dtype=torch.float32))
        self.register_buffer("mel", torch.tensor(features.MEL))

    def forward(self, samples):
        padded = torch.cat((torch.zeros(1, BEFORE), samples.clamp(-100., 100.)), 1)
        spectrum = nn.functional.conv1d(padded[:, None], self.waves, stride=HOP)
        return torch.matmul(self.mel, spectrum[:, :self.bins] ** 2 + spectrum[:, self.bins:] ** 2) + SMALLEST_POWER


def for_segmentation(power):
    """[B, 64, F] -> [B, 65, F]: log mel, level and channel of the active frames taken out, zeros if all is silence; then which frames are active"""
    frame_power = power.mean(1, keepdim=True)
    active = (frame_power >= ACTIVE_RANGE * frame_power.max(2, keepdim=True)[0]).to(torch.float32)
    count = active.sum(2, keepdim=True).clamp(min=1.)
    mean_power = (frame_power * active).sum(2, keepdim=True) / count
    log = torch.log(power * (REFERENCE_POWER / mean_power.clamp(min=MINIMUM_POWER)) + LOG_FLOOR)
    mean = (log * active).sum(2, keepdim=True) / count
    audible = (mean_power >= MINIMUM_POWER).to(torch.float32)
    return torch.cat((((log - mean) / 2).clamp(-4., 4.), active), 1) * audible


def for_embedding(power, mask):
    """[B, 64, F], [B, 1, F] -> [B, 64, F]: the mean level of the chosen frames taken out, all other frames zero"""
    count = mask.sum(2, keepdim=True).clamp(min=1.)
    mean_power = (power.mean(1, keepdim=True) * mask).sum(2, keepdim=True) / count
    log = torch.log(power * (REFERENCE_POWER / mean_power.clamp(min=1e-7)) + LOG_FLOOR)
    return (log - 3.) / 3. * mask
