"""Speech with known word times from the Debian synthesizers.

`Synthesizer.speak(voice, text)` returns 16 kHz samples and, for each
white-space separated word of the text, where it starts and ends. espeak-ng and
flite run inside this process through their C libraries; festival runs as a
child process fed through a pipe.
"""
import ctypes
import os
import re
import subprocess
import time
import wave
from dataclasses import dataclass

import numpy as np
from scipy.fft import next_fast_len
from scipy.signal import resample

SAMPLE_RATE = 16000


@dataclass
class Prosody:
    """How a voice departs from its default: 1.0 and None change nothing."""
    rate: float = 1.0      # speaking rate
    formants: float = 1.0  # vocal-tract factor: pitch and formants together, by resampling
    pitch: float = None    # 0 (deep) to 1 (high), where the engine can change pitch alone


@dataclass
class Utterance:
    samples: np.ndarray  # float32, 16 kHz, mono
    words: list          # (word, start in seconds, end in seconds)


class SynthesisError(Exception):
    pass


# --- espeak-ng -----------------------------------------------------------------

class _EspeakEvent(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("identifier", ctypes.c_uint), ("text_position", ctypes.c_int),
                ("length", ctypes.c_int), ("audio_position", ctypes.c_int), ("sample", ctypes.c_int),
                ("user_data", ctypes.c_void_p), ("id", ctypes.c_void_p)]


_EspeakCallback = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.POINTER(ctypes.c_short), ctypes.c_int,
                                   ctypes.POINTER(_EspeakEvent))


class _Espeak:
    RETRIEVAL, WORD_EVENT, RATE, PITCH, UTF8 = 1, 1, 1, 3, 1

    def __init__(self):
        self.library = ctypes.CDLL("libespeak-ng.so.1")
        self.rate = self.library.espeak_Initialize(self.RETRIEVAL, 0, None, 0)
        self.blocks, self.events = [], []
        self.callback = _EspeakCallback(self._receive)  # kept: the library holds a bare pointer
        self.library.espeak_SetSynthCallback(self.callback)

    def _receive(self, samples, count, events):
        if samples and count > 0:
            self.blocks.append(np.ctypeslib.as_array(samples, (count,)).copy())
        i = 0
        while events[i].type != 0:
            if events[i].type == self.WORD_EVENT and events[i].length > 0:
                self.events.append((events[i].text_position - 1, events[i].sample / self.rate))
            i += 1
        return 0

    def speak(self, name, text, prosody):
        identifier = re.sub(r"^en-gb(?=$|\+)", "gmw/en", name)  # by name, the library knows British English only as its file
        if self.library.espeak_SetVoiceByName(identifier.encode()) != 0:
            raise SynthesisError("no voice " + name)
        self.library.espeak_SetParameter(self.RATE, int(np.clip(162 * prosody.rate / prosody.formants, 85, 400)), 0)
        self.library.espeak_SetParameter(self.PITCH, 50 if prosody.pitch is None else int(15 + 70 * prosody.pitch), 0)
        self.blocks.clear()
        self.events.clear()
        encoded = text.encode()
        self.library.espeak_Synth(encoded, len(encoded) + 1, 0, 0, 0, self.UTF8, None, None)
        self.library.espeak_Synchronize()
        if not self.blocks:
            raise SynthesisError("no sound")
        return np.concatenate(self.blocks), self.rate, self._word_starts(text)

    def _word_starts(self, text):
        """The first event inside each word; a word without one (run together by the engine) has None."""
        starts, position = [], 0
        for word in text.split():
            position = text.index(word, position)
            inside = [t for p, t in self.events if position <= p < position + len(word)]
            starts.append(min(inside) if inside else None)
            position += len(word)
        return starts


# --- flite ---------------------------------------------------------------------

class _FliteWave(ctypes.Structure):
    _fields_ = [("type", ctypes.c_char_p), ("rate", ctypes.c_int), ("count", ctypes.c_int),
                ("channels", ctypes.c_int), ("samples", ctypes.POINTER(ctypes.c_short))]


class _FliteVoice(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char_p), ("features", ctypes.c_void_p)]


class _Flite:
    LIBRARIES = {name: (f"libflite_cmu_us_{name}.so.1", f"register_cmu_us_{name}")
                 for name in ("slt", "awb", "rms", "kal", "kal16")}
    START = b"R:Token.daughter1.R:SylStructure.daughter1.daughter1.R:Segment.p.end"

    def __init__(self):
        pointer, text = ctypes.c_void_p, ctypes.c_char_p
        f = self.library = ctypes.CDLL("libflite.so.1", mode=ctypes.RTLD_GLOBAL)
        for extra in ("libflite_cmulex.so.1", "libflite_usenglish.so.1"):
            ctypes.CDLL(extra, mode=ctypes.RTLD_GLOBAL)
        for function, result, arguments in [
                (f.flite_synth_text, pointer, [text, pointer]), (f.utt_relation, pointer, [pointer, text]),
                (f.relation_head, pointer, [pointer]), (f.item_next, pointer, [pointer]),
                (f.item_feat_string, text, [pointer, text]), (f.flite_ffeature_float, ctypes.c_float, [pointer, text]),
                (f.utt_wave, pointer, [pointer]), (f.delete_utterance, None, [pointer]),
                (f.feat_set_float, None, [pointer, text, ctypes.c_float])]:
            function.restype, function.argtypes = result, arguments
        f.flite_init()
        self.voices = {}

    def _voice(self, name):
        if name not in self.voices:
            library, register = self.LIBRARIES[name]
            function = getattr(ctypes.CDLL(library), register)
            function.restype = ctypes.c_void_p
            self.voices[name] = function(None)
        return self.voices[name]

    def speak(self, name, text, prosody):
        f, voice = self.library, self._voice(name)
        features = _FliteVoice.from_address(voice).features
        f.feat_set_float(features, b"duration_stretch", prosody.formants / prosody.rate)
        if name.startswith("kal"):
            f.feat_set_float(features, b"int_f0_target_mean", 105.0 if prosody.pitch is None else 80 + 70 * prosody.pitch)
        utterance = f.flite_synth_text(text.encode(), voice)
        if not utterance:
            raise SynthesisError("no sound")
        try:
            sound = _FliteWave.from_address(f.utt_wave(utterance))
            samples = np.ctypeslib.as_array(sound.samples, (sound.count,)).copy()
            starts, item = [], f.relation_head(f.utt_relation(utterance, b"Token"))
            while item:
                starts.append(f.flite_ffeature_float(item, self.START))
                item = f.item_next(item)
            return samples, sound.rate, starts
        finally:
            f.delete_utterance(utterance)


# --- festival ------------------------------------------------------------------

class _Festival:
    WORD_TIMES = """
(define (token_starts utt file)
  (let ((out (fopen file "w")) (token (utt.relation.first utt 'Token)))
    (while token
      (format out "%f\\n" (item.feat token "R:Token.daughter1.R:SylStructure.daughter1.daughter1.R:Segment.segment_start"))
      (set! token (item.next token)))
    (fclose out)))
"""

    def __init__(self, folder):
        self.folder, self.children = folder, {}

    def _child(self, name):
        if name not in self.children:
            child = subprocess.Popen(["festival", "--pipe"], stdin=subprocess.PIPE,
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, text=True)
            child.stdin.write(f"(voice_{name})\n{self.WORD_TIMES}")
            self.children[name] = child
        return self.children[name]

    def speak(self, name, text, prosody):
        child = self._child(name)
        sound, times, done = (os.path.join(self.folder, f"{name}.{end}") for end in ("wav", "times", "done"))
        for path in (sound, times, done):
            if os.path.exists(path):
                os.unlink(path)
        plain = text.replace('"', "").replace("\\", "")
        child.stdin.write(f"(Parameter.set 'Duration_Stretch {prosody.formants / prosody.rate:.3f})\n"
                          f'(set! u (utt.synth (Utterance Text "{plain}")))\n'
                          f'(utt.save.wave u "{sound}")\n(token_starts u "{times}")\n(system "touch {done}")\n')
        child.stdin.flush()
        deadline = time.monotonic() + 30
        while not os.path.exists(done):
            if time.monotonic() > deadline or child.poll() is not None:
                self.children.pop(name).kill()
                raise SynthesisError("festival gave no answer")
            time.sleep(.004)
        if not os.path.exists(sound):
            raise SynthesisError("no sound")
        with wave.open(sound) as f:
            rate, samples = f.getframerate(), np.frombuffer(f.readframes(f.getnframes()), "<i2")
        starts = [float(line) for line in open(times)] if os.path.exists(times) else []
        return samples, rate, starts


# --- all together --------------------------------------------------------------

class Synthesizer:
    def __init__(self, folder):
        """folder: where festival may put its short-lived files, private to this process."""
        os.makedirs(folder, exist_ok=True)
        self.folder, self.engines = folder, {}

    def _engine(self, name):
        if name not in self.engines:
            self.engines[name] = {"espeak": _Espeak, "flite": _Flite}[name]() if name != "festival" \
                else _Festival(self.folder)
        return self.engines[name]

    def speak(self, voice, text, prosody=Prosody()):
        raw, rate, starts = self._engine(voice.engine).speak(voice.name, text, prosody)
        samples = raw.astype(np.float32) / 32768
        samples = _resample(samples, SAMPLE_RATE / rate / prosody.formants)
        return _trim(samples, _spans(text.split(), starts, samples, 1 / prosody.formants))

    def sound(self, voice, text, prosody=Prosody()):
        """The samples alone: also for voices of other languages, whose words cannot be timed."""
        raw, rate, _ = self._engine(voice.engine).speak(voice.name, text, prosody)
        samples = _resample(raw.astype(np.float32) / 32768, SAMPLE_RATE / rate / prosody.formants)
        return _trim(samples, []).samples


def _resample(samples, ratio):
    if abs(ratio - 1) < 1e-6:
        return samples
    count = next_fast_len(len(samples))
    target = next_fast_len(max(16, round(count * ratio)))
    longer = resample(np.pad(samples, (0, count - len(samples))), target)
    return longer[:round(len(samples) * ratio)].astype(np.float32)


def _spans(words, starts, samples, scale):
    """(word, start, end) for each word. A word ends where the next starts, less the silence before that."""
    if len(starts) != len(words):
        raise SynthesisError("word times do not fit the text")
    total = len(samples) / SAMPLE_RATE
    known = [None if s is None else min(s * scale, total) for s in starts]
    if known[0] is None:
        known[0] = 0.0
    spans, hop = [], 160
    peak = np.abs(samples).max() + 1e-6
    frames = len(samples) // hop
    loud = np.abs(samples[:frames * hop]).reshape(frames, hop).max(1) > .02 * peak
    for i, word in enumerate(words):
        following = next((k for k in known[i + 1:] if k is not None), total)
        start = known[i] if known[i] is not None else spans[-1][1]
        last = min(int(following * 100), frames) - 1
        while last > start * 100 + 5 and not loud[last]:
            last -= 1
        spans.append((word, start, max(start + .04, (last + 1) / 100)))
    return spans


def _trim(samples, spans):
    """Cuts silence at both ends, leaving 25 ms before and 50 ms after."""
    loud = np.nonzero(np.abs(samples) > .01 * np.abs(samples).max() + 1e-5)[0]
    if len(loud) < 1600:
        raise SynthesisError("almost no sound")
    first, last = max(0, loud[0] - 400), loud[-1] + 800
    shift, length = first / SAMPLE_RATE, (min(last, len(samples)) - first) / SAMPLE_RATE
    moved = [(w, max(0., a - shift), min(length, max(0., b - shift))) for w, a, b in spans]
    return Utterance(samples[first:last], moved)
