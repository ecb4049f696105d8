"""Who speaks in the diarizer's training and in its tests.

A *speaker* is a synthesizer voice (the base) in one fixed setting of pitch,
vocal tract and speaking rate. Settings of one base lie on a grid whose
neighbours differ by 7 % or more in pitch or formants, so that two speakers
can be told apart in principle. Small jitter from utterance to utterance
stands for the natural variation of one person.

Bases are kept apart: no base of HELD_OUT_* is ever heard in training, in any
setting. They hold every voice that the recogniser keeps unheard, and more.
"""
import os
import random as random_module
import sys
from dataclasses import dataclass

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "common"))
from voices import ESPEAK_DIALECTS, HEARD_VARIANTS, Voice

HELD_OUT_VARIANTS = """f5 m8 Henrique victor f3 m3 Alicia Jacky linda quincy pedro Denis Nguyen marcelo Gene2 zac""".split()
TWINS = ["michel", "Gene"]  # the formants of Henrique and Gene2: neither trained on nor counted as voices
HELD_OUT_NATURAL = [Voice("flite", "rms"), Voice("festival", "ked_diphone"), Voice("festival", "czech_machac"),
                    Voice("festival", "czech_dita"), Voice("festival", "hy_fi_mv_diphone"), Voice("festival", "pc_diphone")]
# The last six speak English text by the rules of other languages; for telling voices apart that does not matter.
TRAINING_NATURAL = [Voice("flite", "slt"), Voice("flite", "awb"), Voice("flite", "kal16"), Voice("flite", "kal"),
                    Voice("festival", "kal_diphone"), Voice("festival", "cmu_us_slt_arctic_hts"),
                    Voice("festival", "upc_ca_ona_hts"), Voice("festival", "czech_krb"), Voice("festival", "czech_ph"),
                    Voice("festival", "suo_fi_lj_diphone"), Voice("festival", "lp_diphone")]
# Speakers of the training list that only tune and compare: no weight learns from them.
DEVELOPMENT_BASES = ["lp_diphone", "f4", "m4", "Mario", "travis", "belinda", "Tweaky", "norbert"]
PITCHES = (.82, .91, 1.0, 1.1, 1.22)          # natural voices: of the voice's own, by resampling
TRACTS = (.85, .92, 1.0, 1.08, 1.16)          # natural voices: formants against pitch
HELD_OUT_TRACTS = (.87, 1.0, 1.14)
ESPEAK_PITCHES = (.15, .5, .85)               # of the synthesizer's range
ESPEAK_FORMANTS = (.88, 1.0, 1.12)
TRAINING_ESPEAK_SETTINGS, HELD_OUT_ESPEAK_SETTINGS, HELD_OUT_NATURAL_SETTINGS = 6, 3, 10


@dataclass(frozen=True)
class Speaker:
    base: Voice
    resampling: float   # pitch and formants together
    tract: float        # formants alone
    pitch: float        # pitch alone, 0 to 1, espeak-ng only; -1 elsewhere
    rate: float

    def __str__(self):
        return f"{self.base} x{self.resampling:.3f} t{self.tract:.3f} p{self.pitch:.2f} r{self.rate:.2f}"


def _natural(base, points, random):
    for resampling, tract in points:
        if (resampling, tract) != (1., 1.):  # the voice as it is stays as it is
            resampling, tract = resampling * random.uniform(.985, 1.015), tract * random.uniform(.985, 1.015)
        yield Speaker(base, resampling, tract, -1., random.uniform(.92, 1.12))


def _espeak(variant, count, random):
    points = random.sample([(p, f) for p in ESPEAK_PITCHES for f in ESPEAK_FORMANTS], count)
    for pitch, formants in points:
        voice = Voice("espeak", f"{random.choice(ESPEAK_DIALECTS)}+{variant}")
        yield Speaker(voice, formants * random.uniform(.985, 1.015), 1., pitch + random.uniform(-.04, .04), random.uniform(.92, 1.12))


def training_speakers():
    random, found = random_module.Random(41), []
    for base in TRAINING_NATURAL:
        found += _natural(base, [(p, t) for p in PITCHES for t in TRACTS], random)
    for variant in HEARD_VARIANTS:
        if variant not in HELD_OUT_VARIANTS + TWINS:
            found += _espeak(variant, TRAINING_ESPEAK_SETTINGS, random)
    return found


def held_out_speakers():
    random, found = random_module.Random(42), []
    grid = [(p, t) for p in PITCHES for t in HELD_OUT_TRACTS]
    for base in HELD_OUT_NATURAL:
        found += _natural(base, random.sample(grid, HELD_OUT_NATURAL_SETTINGS), random)
    for variant in HELD_OUT_VARIANTS:
        found += _espeak(variant, HELD_OUT_ESPEAK_SETTINGS, random)
    return found


def kind(speaker):
    """The base without its dialect: a festival or flite voice, or an espeak-ng variant."""
    return speaker.base.name.split("+")[-1]


def is_for_development(speaker):
    return kind(speaker) in DEVELOPMENT_BASES


if __name__ == "__main__":
    for role, speakers in (("training", training_speakers()), ("held out", held_out_speakers())):
        print(f"{role}: {len(speakers)} speakers of {len({kind(s) for s in speakers})} bases, "
              f"{sum(map(is_for_development, speakers))} of them for development")
        for speaker in speakers:
            print("  ", speaker)
