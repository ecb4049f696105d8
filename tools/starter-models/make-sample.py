#!/usr/bin/env python3
"""Makes the sample conversations: make-sample.py [OUTPUT_FOLDER]

Two synthetic voices plan an open day ("conversation"), close to the microphone
in a quiet room. A week later the same two look back at it in another room
("second-conversation"): livelier, a fan humming, the microphone across the table.
Writes for each NAME.flac (16 kHz mono), NAME.txt (one line a turn),
NAME.ref.txt (the words alone) and NAME.rttm (who speaks when, exact, since the
turns are placed here).
Needs flite, sox and the Python packages numpy and scipy; see README.md.
"""
import os
import random as random_module
import subprocess
import sys
import wave

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(HERE, "common"), os.path.join(HERE, "diarizer")]
from rooms import NoiseBank, Room
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

SECOND_TURNS = [
    ("A", .70, "Hello again. I hope you had a quiet weekend after all that work."),
    ("B", .60, "It was quiet enough. I slept until noon on Sunday and then I read a long book."),
    ("A", .50, "So, how did the open day go? The director wants a short report from us."),
    ("B", .55, "We counted three hundred and twelve guests. Most of them came before lunch, and the line was very long."),
    ("A", .45, "The tours were popular, but twelve people in the laboratory were too many."),
    ("B", .60, "I agree. Next time we should take only eight, and open the second door."),
    ("A", .50, "The food was gone at two o'clock. We should order twice as much next year."),
    ("B", .70, "And we need better signs. Several families walked to the wrong building first."),
    ("A", .40, "I will write all of that down this evening and send you the draft."),
    ("B", .50, "Thank you. I can add the numbers and some pictures tomorrow morning."),
]


def plain(samples, rng):
    """Close to the microphone; the hiss of a quiet room."""
    return samples[0] + samples[1] + 3e-4 * rng.standard_normal(len(samples[0])).astype(np.float32)


def across_the_table(samples, rng):
    random = random_module.Random(21)
    room = Room(Room.FAR, random, rng, NoiseBank(random, rng, 4))
    heard = room.add_noise(room.record(samples), .09)
    return heard * (.6 / np.abs(heard).max())


def make(folder, name, turns, place, seed, synthesizer):
    rng = np.random.default_rng(seed)
    tracks, placed, at = {speaker: [] for speaker in VOICES}, [], 0
    for speaker, pause, text in turns:
        samples = synthesizer.speak(VOICES[speaker], text).samples
        samples = samples * (LEVELS[speaker] / np.sqrt(np.mean(samples * samples)))
        gap = np.zeros(int(pause * SAMPLE_RATE), np.float32)
        for other, track in tracks.items():
            track += [gap, samples if other == speaker else np.zeros_like(samples)]
        placed.append((speaker, (at + len(gap)) / SAMPLE_RATE, len(samples) / SAMPLE_RATE, text))
        at += len(gap) + len(samples)
    end = np.zeros(SAMPLE_RATE, np.float32)
    sound = place([np.concatenate(track + [end]) for track in tracks.values()], rng)
    uncompressed = os.path.join(folder, name + ".wav")
    with wave.open(uncompressed, "wb") as f:
        f.setnchannels(1)
        f.setsampwidth(2)
        f.setframerate(SAMPLE_RATE)
        f.writeframes((np.clip(sound, -1, 1) * 32767).astype("<i2").tobytes())
    subprocess.run(["sox", uncompressed, "-C", "8", os.path.join(folder, name + ".flac")], check=True)
    os.unlink(uncompressed)
    with open(os.path.join(folder, name + ".txt"), "w") as f:
        f.writelines(f"{speaker}: {text}\n" for speaker, _, _, text in placed)
    with open(os.path.join(folder, name + ".ref.txt"), "w") as f:
        f.write(" ".join(text for _, _, _, text in placed) + "\n")
    with open(os.path.join(folder, name + ".rttm"), "w") as f:
        f.writelines(f"SPEAKER {name} 1 {start:.3f} {length:.3f} <NA> <NA> {speaker} <NA> <NA>\n"
                     for speaker, start, length, _ in placed)
    print(f"{name}: {len(sound) / SAMPLE_RATE:.1f} s, {len(placed)} turns")


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "..", "..", "samples")
    os.makedirs(folder, exist_ok=True)
    synthesizer = Synthesizer("/dev/shm/make-sample")
    make(folder, "conversation", TURNS, plain, 20, synthesizer)
    make(folder, "second-conversation", SECOND_TURNS, across_the_table, 22, synthesizer)


if __name__ == "__main__":
    main()
