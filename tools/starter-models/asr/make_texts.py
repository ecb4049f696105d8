#!/usr/bin/env python3
"""Collects the sentences to train on: make_texts.py MEETING_COUNT SEED OUTPUT.tsv

Lines are "kind<TAB>sentence", kind being meeting, wordnet or fortune, in random
order. No sentence of test-sentences/ or of the sample conversations is among them.
"""
import glob
import os
import random as random_module
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "common"))
from meeting_text import MeetingGrammar
from texts import fortune_sentences, plain_key, wordnet_sentences


def forbidden():
    keys = set()
    paths = glob.glob(os.path.join(HERE, "test-sentences", "*.txt"))
    samples = os.path.join(HERE, "..", "..", "..", "samples")
    for path in paths + [os.path.join(samples, name) for name in ("conversation.ref.txt", "second-conversation.ref.txt")]:
        text = open(path).read()
        for line in text.splitlines():
            keys.add(plain_key(line))
        if "conversation" in path:
            keys.update(plain_key(s) for s in re.split(r"(?<=[.?])\s+", text) if len(s.split()) > 3)
    return keys


def main():
    count, seed, output = int(sys.argv[1]), int(sys.argv[2]), sys.argv[3]
    random = random_module.Random(seed)
    banned, grammar = forbidden(), MeetingGrammar(random)
    lines = [("wordnet", s) for s in wordnet_sentences(random)] + [("fortune", s) for s in fortune_sentences()]
    lines += [("meeting", grammar.sentence()) for _ in range(count)]
    lines = [(kind, s) for kind, s in lines if plain_key(s) not in banned]
    random.shuffle(lines)
    with open(output, "w") as f:
        f.writelines(f"{kind}\t{s}\n" for kind, s in lines)
    print(f"{len(lines)} sentences in {output}")


if __name__ == "__main__":
    main()
