"""Log-mel features: the numpy twin of the preprocessor network (asr/export_networks.py).

Level and channel are taken out with statistics of the *active* frames only
(those within 35 dB of the loudest), so that the same words give the same
features whether a window is full of speech or mostly silent. A window whose
active frames are all but inaudible becomes zeros.
"""
import numpy as np

SAMPLE_RATE, WINDOW_LENGTH, HOP, FFT_SIZE, MEL_BANDS = 16000, 400, 160, 512, 64
ACTIVE_RANGE = 10 ** -3.5   # frames with less than this share of the loudest frame's power do not count
REFERENCE_POWER = 500.0     # mean mel power to which active frames are scaled
MINIMUM_POWER = 4.5e-5      # active mean mel power (about -70 dB of full scale) under which a window is silence
LOG_FLOOR = 1e-3
LIMIT = 4.0


def mel_matrix():
    to_mel = lambda hertz: 2595 * np.log10(1 + hertz / 700.)
    to_hertz = lambda mel: 700 * (10 ** (mel / 2595.) - 1)
    edges = to_hertz(np.linspace(to_mel(40), to_mel(7800), MEL_BANDS + 2))
    frequencies = np.arange(FFT_SIZE // 2 + 1) * SAMPLE_RATE / FFT_SIZE
    matrix = np.zeros((MEL_BANDS, FFT_SIZE // 2 + 1), np.float32)
    for band in range(MEL_BANDS):
        low, centre, high = edges[band:band + 3]
        matrix[band] = np.maximum(0, np.minimum((frequencies - low) / (centre - low), (high - frequencies) / (high - centre)))
    return matrix / np.maximum(matrix.sum(1, keepdims=True), 1e-6)


MEL = mel_matrix()
WINDOW = np.hanning(WINDOW_LENGTH + 1)[:WINDOW_LENGTH].astype(np.float32)


def mel_power(samples):
    """float32 [n] -> [n // 160, 64], zeros assumed after the end."""
    frames = len(samples) // HOP
    padded = np.concatenate([samples.astype(np.float32), np.zeros(WINDOW_LENGTH, np.float32)])
    windows = np.lib.stride_tricks.as_strided(padded, (frames, WINDOW_LENGTH), (HOP * 4, 4)) * WINDOW
    spectrum = np.fft.rfft(windows, FFT_SIZE)
    return (spectrum.real ** 2 + spectrum.imag ** 2).astype(np.float32) @ MEL.T


def normalised_log_mel(samples):
    """float32 [n] -> [n // 160, 64], what the encoder sees."""
    power = mel_power(samples)
    frame_power = power.mean(1)
    active = (frame_power >= ACTIVE_RANGE * frame_power.max()).astype(np.float32)[:, None]
    count = active.sum()
    mean_power = (frame_power[:, None] * active).sum() / count
    if mean_power < MINIMUM_POWER:
        return np.zeros_like(power)
    log = np.log(power * (REFERENCE_POWER / mean_power) + LOG_FLOOR)
    mean = (log * active).sum(0) / count
    deviation = np.sqrt((((log - mean) * active) ** 2).sum(0) / count)
    return np.clip((log - mean) / (deviation + .1), -LIMIT, LIMIT)
