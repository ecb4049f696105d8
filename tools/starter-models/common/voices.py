"""The synthetic voices: which may be trained on, which are kept unheard for tests.

A voice is named "engine/name" in lists and reports, for example "flite/slt"
or "espeak/en-us+f2".
"""
from dataclasses import dataclass


@dataclass(frozen=True)
class Voice:
    engine: str  # "espeak", "flite" or "festival"
    name: str    # the engine's own name of the voice

    def __str__(self):
        return f"{self.engine}/{self.name}"


def parse_voice(text):
    engine, name = text.split("/", 1)
    return Voice(engine, name)


# Variants of the formant synthesizer that training may use.
HEARD_VARIANTS = """
Alex Alicia Andrea Andy Annie Denis Diogo Gene Hugo Jacky Lee Marco Mario
Michael Mike Nguyen Storm Tweaky adam anika announcer antonio aunty belinda
benjamin boris caleb david ed edward f1 f2 f3 f4 grandma grandpa gustave iven
iven2 iven3 john kaukovalta klatt klatt2 klatt3 klatt4 linda m1 m2 m3 m4 m5 m6
m7 marcelo max michel miguel norbert pablo paul pedro quincy rob robert sandro
shelby steph steph2 travis zac robosoft
""".split()
ESPEAK_DIALECTS = ["en-us"] * 5 + ["en-gb"] * 2 + ["en-gb-x-rp", "en-gb-scotland", "en-us-nyc"]

# Voices that no training may ever hear.
UNHEARD_VOICES = [Voice("flite", "rms"), Voice("festival", "ked_diphone")]
UNHEARD_VARIANTS = [Voice("espeak", "en-us+f5"), Voice("espeak", "en-us+m8"),
                    Voice("espeak", "en-gb+Henrique"), Voice("espeak", "en-us+victor")]

# The voices in which the test sentences of the "heard" sets are spoken.
HEARD_TEST_VOICES = [Voice("flite", "slt"), Voice("flite", "awb"), Voice("flite", "kal16"),
                     Voice("espeak", "en-us+f2"), Voice("espeak", "en-gb+m3"), Voice("espeak", "en-us")]

# Share of each natural or diphone voice in training; the rest is the formant synthesizer.
NATURAL_SHARES = [(Voice("flite", "slt"), .17), (Voice("flite", "awb"), .17),
                  (Voice("flite", "kal16"), .14), (Voice("flite", "kal"), .02),
                  (Voice("festival", "cmu_us_slt_arctic_hts"), .05),
                  (Voice("festival", "kal_diphone"), .05)]


def pick_training_voice(random):
    draw = random.random()
    for voice, share in NATURAL_SHARES:
        if draw < share:
            return voice
        draw -= share
    dialect = random.choice(ESPEAK_DIALECTS)
    variant = random.choice(HEARD_VARIANTS)
    return Voice("espeak", dialect if random.random() < .1 else f"{dialect}+{variant}")
