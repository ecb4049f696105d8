"""What happens to clean synthetic speech on its way to a training example: rooms, channels, noise."""
import numpy as np
from scipy.fft import next_fast_len
from scipy.signal import fftconvolve

SAMPLE_RATE = 16000


def coloured_noise(count, exponent, rng):
    """Noise whose amplitude falls with frequency to the power of `exponent`: 0 white, 0.5 pink, 1 brown."""
    length = next_fast_len(count)
    spectrum = np.fft.rfft(rng.standard_normal(length))
    spectrum /= np.maximum(np.arange(len(spectrum)), 20.) ** exponent
    noise = np.fft.irfft(spectrum, length)[:count]
    return (noise / (noise.std() + 1e-12)).astype(np.float32)


def hum(count, random, rng):
    t, base = np.arange(count) / SAMPLE_RATE, random.choice([50, 60, 100, 120])
    tones = sum(np.sin(2 * np.pi * base * k * t + random.random() * 6) / k ** random.uniform(.6, 1.6) for k in range(1, 9))
    return (tones + random.uniform(.01, .3) * rng.standard_normal(count)).astype(np.float32)


def knocks(count, random, rng):
    """Key presses, clicks and bumps: short decaying bursts at random times."""
    out = np.zeros(count, np.float32)
    for _ in range(random.randint(1, max(2, count // 8000))):
        length = random.randint(100, 3000)
        burst = coloured_noise(length, random.uniform(0, .9), rng) * np.exp(-np.arange(length) / random.uniform(20, length / 3))
        at = random.randrange(max(1, count - length))
        out[at:at + length] += burst[:count - at] * random.uniform(.2, 1.)
    return out


def room_noise(count, random, rng):
    """A mixture as in empty rooms: slowly moving coloured noise, sometimes hum, sometimes knocks."""
    noise = coloured_noise(count, random.uniform(.2, 1.), rng)
    points = max(2, count // 8000)
    noise *= np.interp(np.arange(count), np.linspace(0, count, points), rng.uniform(.5, 1.5, points)).astype(np.float32)
    if random.random() < .4:
        noise += hum(count, random, rng) * random.uniform(.1, .8)
    if random.random() < .4:
        noise += knocks(count, random, rng) * random.uniform(1, 12)
    return noise


def any_noise(count, random, rng):
    draw = random.random()
    if draw < .3:
        return rng.standard_normal(count).astype(np.float32)
    if draw < .6:
        return coloured_noise(count, random.uniform(.3, 1.1), rng)
    if draw < .7:
        return hum(count, random, rng)
    return room_noise(count, random, rng)


def babble(count, random, bank):
    """A few other voices talking at once, from earlier utterances."""
    out = np.zeros(count, np.float32)
    for _ in range(random.randint(3, 6)):
        voice = random.choice(bank)
        out += np.resize(np.roll(voice, random.randrange(len(voice))), count)
    return out


def rms(samples):
    return float(np.sqrt(np.mean(samples * samples) + 1e-12))


def reverberate(samples, random, rng):
    length = int(random.uniform(.1, .5) * SAMPLE_RATE)
    tail = rng.standard_normal(length) * np.exp(-6.9 * np.arange(length) / length)
    tail[:random.randint(20, 200)] = 0
    tail *= random.uniform(.1, .8) / np.sqrt((tail * tail).sum() + 1e-9)
    tail[0] = 1
    return fftconvolve(samples, tail)[:len(samples)].astype(np.float32)


def tilt(samples, random):
    """A microphone's colour: spectral tilt, a broad bump or dip, sometimes a low-pass."""
    length = next_fast_len(len(samples))
    spectrum = np.fft.rfft(samples, length)
    x = np.arange(len(spectrum)) / len(spectrum)
    gain = np.exp(random.uniform(-1.4, .9) * x + random.uniform(-.7, .7) * np.exp(-((x - random.random()) / .12) ** 2))
    if random.random() < .3:
        gain = gain / (1 + (x / random.uniform(.42, .9)) ** 12)
    return np.fft.irfft(spectrum * gain, length)[:len(samples)].astype(np.float32)


def augment(samples, random, rng, bank):
    """Room, channel, noise and level for a whole window. `bank`: earlier utterances, for babble."""
    if random.random() < .35:
        samples = reverberate(samples, random, rng)
    if random.random() < .4:
        samples = tilt(samples, random)
    if random.random() < .6:
        use_babble = bank and random.random() < .2
        noise = babble(len(samples), random, bank) if use_babble else any_noise(len(samples), random, rng)
        ratio = random.uniform(12 if use_babble else 5, 35)
        samples = samples + noise * (rms(samples) / rms(noise) * 10 ** (-ratio / 20))
    level = 10 ** random.uniform(-2.2, 0) * .9 / (np.abs(samples).max() + 1e-6)
    samples = samples * level
    if random.random() < .7:  # the floor of a sound card; without it, digital silence between words
        samples = samples + rng.standard_normal(len(samples)).astype(np.float32) * 10 ** random.uniform(-4.8, -3.6)
    return samples.astype(np.float32)
