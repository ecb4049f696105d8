"""Sentences from installed text collections (WordNet glosses and examples, fortunes), cleaned for speech.

A clean sentence has letters, apostrophes and commas, real capitals, and ends
in '.' or '?'. `spelled(sentence)` is the form that the recogniser learns to
write: the same without commas.
"""
import glob
import re

# Commas stay in the spoken text, where they make a pause, and leave the written one.
CLEAN = re.compile(r"^[A-Z][A-Za-z', ]*[.?]$")


def spelled(sentence):
    return sentence.replace(",", "")


def plain_key(sentence):
    """What two sentences share when they are the same but for case and punctuation."""
    return re.sub(r"[^a-z']+", " ", sentence.lower()).strip()


def clean(sentence):
    """The cleaned sentence, or None if it cannot be spoken as it is written."""
    sentence = sentence.strip().replace("\u2019", "'").replace("`", "'")
    if re.search(r"[0-9@#/\\<>_=|{}\[\]*~^+%$&()]", sentence):
        return None
    end = "?" if sentence.endswith("?") else "."
    sentence = re.sub(r"[^A-Za-z', ]+", " ", sentence.replace("-", " ").replace(";", ",").replace(":", ","))
    sentence = re.sub(r"(^|\s)'+|'+(?=\s|,|$)", " ", sentence)
    sentence = re.sub(r"\s*(,\s*)+", ", ", re.sub(r"\s+", " ", sentence)).strip(" ,")
    words = sentence.replace(",", "").split()
    if not 3 <= len(words) <= 24 or any(len(word) > 14 for word in words):
        return None
    if any(len(word) == 1 and word not in "aAI" for word in words):
        return None
    if any(re.search(r"[a-z'][A-Z]|[A-Z]{2}", word) for word in words):  # acronyms and shouting
        return None
    if sum(word[0].isupper() for word in words) > 1 + len(words) // 3:     # titles
        return None
    sentence = re.sub(r"\bi\b(?='|\b)", "I", sentence)
    return sentence[0].upper() + sentence[1:] + end


def wordnet_sentences(random, definitions=.25):
    """Example sentences, and a share of the definitions."""
    found = set()
    for path in sorted(glob.glob("/usr/share/wordnet/data.*")):
        for line in open(path, errors="ignore"):
            if "|" not in line:
                continue
            gloss = line.split("|", 1)[1]
            candidates = re.findall(r'"([^"]+)"', gloss)
            definition = gloss.split(";")[0].strip()
            if 5 <= len(definition.split()) <= 14 and random.random() < definitions:
                candidates.append(definition)
            found.update(filter(None, map(clean, candidates)))
    return sorted(found)


LEFT_OUT = {"drugs", "ethnic", "men-women", "knghtbrd", "politics", "definitions", "ascii-art", "zippy"}  # crude, or hardly sentences


def fortune_sentences():
    found = set()
    for path in sorted(glob.glob("/usr/share/games/fortunes/*")):
        if path.endswith((".dat", ".u8")) or path.rsplit("/", 1)[1] in LEFT_OUT:
            continue
        for quote in open(path, errors="ignore").read().split("\n%\n"):
            quote = re.sub(r"\s+", " ", quote.split("--")[0])
            found.update(filter(None, map(clean, re.split(r"(?<=[.?!])\s", quote))))
    return sorted(found)
