#!/usr/bin/env python3
"""Makes the sample conversation: make-sample.py [OUTPUT_FOLDER]

Two synthetic voices plan an open day. Writes conversation.flac (16 kHz mono),
conversation.txt (one line a turn), conversation.ref.txt (the words alone) and
conversation.rttm (who speaks when, exact, since the turns are placed here).
Needs flite, sox and the Python packages numpy and scipy; see README.md.
"""
import os
import subprocess
import sys
import wave

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "common"))
from synthesis import SAMPLE_RATE, Synthesizer
from voices import Voice

VOICES = {"A": Voice("flite", "slt"), "B": Voice("flite", "awb")}
LEVELS = {"A": .10, "B": .085}  # root mean square

# (speaker, pause before the turn in seconds, sentences with the pauses inside the turn left to the voice)
TURNS = [
    ("A", .60, "Good morning, and thank you for joining the call. Today we have to plan the open day in September."),
    ("B", .55, "Good morning. I made a first draft of the program last night."),
    ("A", .40, "That was quick. How many visitors do you expect?"),
    ("B", .70, "Last year we had about two hundred people. I think this time it will be more, because the new building is finished."),
    ("A", .50, "Then we need more chairs, and somebody has to order the food. Can you ask the kitchen for a price?"),
    ("B", .45, "Yes, I will call them this afternoon. The budget for food is nine hundred dollars."),
    ("A", .80, "Good. My biggest problem is the parking. The street will be closed until the end of October."),
    ("B", .60, "Maybe we can use the school next door. Their garden is big and it is empty on Saturday."),
    ("A", .35, "That is a very good idea. I will write to the director today."),
    ("B", .90, "What about the tour of the laboratory? Maria said that she can only take twelve people at a time."),
    ("A", .65, "Then we start at ten and run a tour every half hour. Please put a list at the entrance."),
    ("B", .40, "All right. I will send you the new program on Thursday."),
    ("A", .50, "Perfect. Let's meet again next Monday. Thank you for your help."),
    ("B", .45, "Thanks. See you on Monday."),
]


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "..", "..", "samples")
    os.makedirs(folder, exist_ok=True)
    synthesizer = Synthesizer("/dev/shm/make-sample")
    rng = np.random.default_rng(20)
    pieces, turns, at = [], [], 0
    for speaker, pause, text in TURNS:
        samples = synthesizer.speak(VOICES[speaker], text).samples
        samples = samples * (LEVELS[speaker] / np.sqrt(np.mean(samples * samples)))
        gap = np.zeros(int(pause * SAMPLE_RATE), np.float32)
        pieces += [gap, samples]
        turns.append((speaker, (at + len(gap)) / SAMPLE_RATE, len(samples) / SAMPLE_RATE, text))
        at += len(gap) + len(samples)
    pieces.append(np.zeros(SAMPLE_RATE, np.float32))
    sound = np.concatenate(pieces)
    sound += 3e-4 * rng.standard_normal(len(sound)).astype(np.float32)  # the hiss of a quiet room
    plain = os.path.join(folder, "conversation.wav")
    with wave.open(plain, "wb") as f:
        f.setnchannels(1)
        f.setsampwidth(2)
        f.setframerate(SAMPLE_RATE)
        f.writeframes((np.clip(sound, -1, 1) * 32767).astype("<i2").tobytes())
    subprocess.run(["sox", plain, "-C", "8", os.path.join(folder, "conversation.flac")], check=True)
    os.unlink(plain)
    with open(os.path.join(folder, "conversation.txt"), "w") as f:
        f.writelines(f"{speaker}: {text}\n" for speaker, _, _, text in turns)
    with open(os.path.join(folder, "conversation.ref.txt"), "w") as f:
        f.write(" ".join(text for _, _, _, text in turns) + "\n")
    with open(os.path.join(folder, "conversation.rttm"), "w") as f:
        f.writelines(f"SPEAKER conversation 1 {start:.3f} {length:.3f} <NA> <NA> {speaker} <NA> <NA>\n"
                     for speaker, start, length, _ in turns)
    print(f"{len(sound) / SAMPLE_RATE:.1f} s, {len(turns)} turns")


if __name__ == "__main__":
    main()
