#!/usr/bin/env python3
"""Random meeting-like sentences from meeting_grammar.txt: meeting_text.py COUNT SEED > sentences"""
import os
import random as random_module
import re
import sys
from collections import Counter

WORDNET = "/usr/share/wordnet/"
ONES = ("zero one two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen "
        "sixteen seventeen eighteen nineteen").split()
TENS = "- - twenty thirty forty fifty sixty seventy eighty ninety".split()
ORDINALS = ("first second third fourth fifth sixth seventh eighth ninth tenth eleventh twelfth thirteenth "
            "fourteenth fifteenth sixteenth seventeenth eighteenth nineteenth twentieth").split()


def number_words(n, joined=False):
    if n < 20:
        return ONES[n]
    if n < 100:
        return TENS[n // 10] + (" " + ONES[n % 10] if n % 10 else "")
    if n < 1000:
        rest = number_words(n % 100) if n % 100 else ""
        return ONES[n // 100] + " hundred" + (" and " if rest and joined else " " if rest else "") + rest
    if n < 1_000_000:
        return number_words(n // 1000) + " thousand" + (" " + number_words(n % 1000, joined) if n % 1000 else "")
    return number_words(n // 1_000_000) + " million"


class CommonWords:
    """Frequent nouns, verbs, adjectives and adverbs of WordNet (by its own counts of tagged text), with inflections."""

    def __init__(self):
        self.nouns = self._frequent("noun", 2500)
        self.verbs = self._frequent("verb", 1100)
        self.adjectives = self._frequent("adj", 1200)
        self.adverbs = [w for w in self._frequent("adv", 300) if w.endswith("ly")]
        exceptions = [line.split()[:2] for line in open(WORDNET + "verb.exc")]
        self.irregular_past = {base: form for form, base in reversed(exceptions)
                               if "_" not in form and not form.endswith(("ing", "s"))}
        self.irregular_plural = {base: form for form, base in
                                 (line.split()[:2] for line in open(WORDNET + "noun.exc")) if "_" not in form}

    @staticmethod
    def _frequent(part, count):
        words = []
        for line in open(f"{WORDNET}index.{part}"):
            if line.startswith(" "):
                continue
            fields = line.split()
            tagged = int(fields[5 + int(fields[3])])  # number of senses with counts in tagged text
            if tagged and re.fullmatch("[a-z]{3,11}", fields[0]):
                words.append((tagged, int(fields[2]), fields[0]))
        return [w for _, _, w in sorted(words, reverse=True)[:count]]

    @staticmethod
    def _doubled(verb):
        return verb + verb[-1] if re.fullmatch("[^aeiou]*[aeiou][^aeiouwxy]", verb) else verb

    def past(self, verb):
        if verb in self.irregular_past:
            return self.irregular_past[verb]
        if verb.endswith("e"):
            return verb + "d"
        if re.search("[^aeiou]y$", verb):
            return verb[:-1] + "ied"
        return self._doubled(verb) + "ed"

    def ing(self, verb):
        if verb.endswith("ie"):
            return verb[:-2] + "ying"
        if verb.endswith("e") and not verb.endswith(("ee", "oe", "ye")):
            return verb[:-1] + "ing"
        return self._doubled(verb) + "ing"

    def plural(self, noun):
        if noun in self.irregular_plural:
            return self.irregular_plural[noun]
        if re.search("(s|x|z|ch|sh)$", noun):
            return noun + "es"
        if re.search("[^aeiou]y$", noun):
            return noun[:-1] + "ies"
        return noun + "s"


class MeetingGrammar:
    def __init__(self, random, path=os.path.join(os.path.dirname(os.path.abspath(__file__)), "meeting_grammar.txt")):
        self.random, self.rules, self.common = random, {}, CommonWords()
        text = "\n".join(line for line in open(path).read().splitlines() if not line.startswith("#"))
        for name, body in re.findall(r"^(\w+) = (.*(?:\n[ \t].*)*)", text, re.M):
            self.rules[name] = []
            for choice in re.split(r"\s*\|\s*", re.sub(r"\s+", " ", body).strip()):
                weight, rest = re.fullmatch(r"(?:(\d+)\* )?(.*)", choice).groups()
                self.rules[name] += [rest] * int(weight or 1)
        self.computed = {
            "number": self.number, "small_number": lambda: ONES[random.randint(1, 12)], "clock": self.clock,
            "date": self.date, "digits": self.digits, "year": self.year,
            "common_noun": lambda: random.choice(self.common.nouns),
            "common_noun_plural": lambda: self.common.plural(random.choice(self.common.nouns)),
            "common_verb": lambda: random.choice(self.common.verbs),
            "common_past": lambda: self.common.past(random.choice(self.common.verbs)),
            "common_ing": lambda: self.common.ing(random.choice(self.common.verbs)),
            "common_adjective": lambda: random.choice(self.common.adjectives),
            "common_adverb": lambda: random.choice(self.common.adverbs),
        }

    def number(self):
        r, draw = self.random, self.random.random()
        if draw < .4:
            return number_words(r.randint(2, 20))
        if draw < .72:
            return number_words(r.randint(20, 99))
        if draw < .82:
            return number_words(r.randint(1, 9) * 100)
        if draw < .9:
            return number_words(r.randint(101, 999), r.random() < .5)
        if draw < .97:
            return number_words(r.randint(1, 90) * 1000)
        return number_words(r.randint(1, 20) * 1_000_000)

    def digits(self):
        return " ".join(ONES[self.random.randint(0, 9)] for _ in range(self.random.randint(3, 7)))

    def year(self):
        r = self.random
        if r.random() < .4:
            return "two thousand " + number_words(r.randint(1, 29))
        return r.choice(["nineteen", "twenty", "eighteen"]) + " " + number_words(r.randint(11, 99))

    def clock(self):
        r, hour = self.random, number_words(self.random.randint(1, 12))
        minutes = r.choice(["thirty", "fifteen", "forty five", "ten", "twenty", "fifty"])
        few = r.choice(["five", "ten", "twenty", "twenty five"])
        return r.choice([f"{hour} o'clock", f"half past {hour}", f"{hour} {minutes}", f"{hour} {minutes}", hour, f"a quarter past {hour}",
                         f"a quarter to {hour}", f"{few} past {hour}", f"{few} to {hour}", "noon", "midnight",
                         f"{hour} in the morning", f"{hour} in the afternoon"])

    def date(self):
        r = self.random
        day = r.choice(ORDINALS) if r.random() < .65 else r.choice(["twenty " + o for o in ORDINALS[:9]] + ["thirtieth", "thirty first"])
        month = self.expand("month")
        return r.choice([f"{month} {day}", f"the {day} of {month}", f"{self.expand('day')} the {day}", f"the {day}"])

    def expand(self, name, depth=0):
        if name in self.computed:
            return self.computed[name]()
        choices = self.rules[name]
        choice = self.random.choice(choices)
        if depth > 6:  # too deep: prefer a choice that ends here
            choice = min((self.random.choice(choices) for _ in range(6)), key=lambda c: c.count("<"))
        return re.sub(r"<(\w+)>", lambda m: self.expand(m[1], depth + 1), choice)

    def sentence(self):
        while True:
            text = self.expand("sentence").strip()
            text = re.sub(r"([.?])(?=.*[.?])", "", text)            # a sentence inside a sentence loses its mark
            text = re.sub(r"\b([Aa]) (?=[aeiou]|[AEIO])(?!(uni|use|one|euro))", r"\1n ", text)
            text = re.sub(r"\s+([,.?])", r"\1", re.sub(r"\s+", " ", text)).replace(",,", ",")
            text = re.sub(r",([.?])", r"\1", text)
            text = re.sub(r"(\w[,]? )(Yes|No|Sales|Costs|Revenue|Traffic|Complaints|Errors|Signups|Profits|Prices|Our|The|It|My|We|That's|That|Of|Let's|Let|Their|In|Only|What|Good|How|Not|Thank|Thanks|Just|See|Have|You're|Did|Do|Could|Are|Is|Does|Please|Nobody|If|When|As|Before|Once|Even|Because|So|According|Call|Ticket|Between|Demand|Response)\b",
                          lambda m: m[1] + m[2].lower(), text)
            text = text[0].upper() + text[1:]
            if text[-1] not in ".?":
                text += "."
            if len(text.split()) <= 22 and re.fullmatch(r"[A-Za-z', ]+[.?]", text):
                return text


def main():
    count, seed = int(sys.argv[1]), int(sys.argv[2])
    grammar, seen = MeetingGrammar(random_module.Random(seed)), Counter()
    while len(seen) < count:
        sentence = grammar.sentence()
        seen[sentence] += 1
        if seen[sentence] == 1:
            print(sentence)


if __name__ == "__main__":
    main()
