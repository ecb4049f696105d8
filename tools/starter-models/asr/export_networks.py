#!/usr/bin/env python3
"""Writes the four networks of the recogniser and its vocabulary.

export_networks.py ACOUSTIC.pt LANGUAGE.pt PIECES.model OUTPUT_FOLDER

OUTPUT_FOLDER gets {Preprocessor,Encoder,Decoder,JointDecision}.mlmodelc and
parakeet_vocab.json. The contract of the networks is in docs/models.md.

The network behind them is a CTC model with a language model, dressed as a
token-and-duration transducer: the encoder marks the frames at which a piece
begins and how far the next one is, the joint network chooses the piece.
"""
import json
import math
import os
import sys
import tempfile

import numpy as np
import onnx
import sentencepiece
import torch
from torch import nn

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "common")]
import features
from half_weights import halve_weights
from language_model import WIDTH, LanguageModel
from make_bundle import make_bundle
from network import MEL_BANDS, AcousticNetwork

SAMPLES, MEL_FRAMES, FRAMES = 240000, 1500, 188
ENCODER_CHANNELS, DECODER_CHANNELS = 1024, 640
BLANK = 8192
PUNCTUATION_IDS = {".": 7883, "?": 7952}
UNUSED_IDS = {"7948": "!"}  # in the table because readers of the table know it; never emitted
OPSET = 13
LONGEST_JUMP = 4            # frames, the largest duration bin
CANDIDATES = 8              # pieces that the language model may choose among

# Decoding constants, tuned on sentences outside all test lists.
END_FREE = 3                # frames at a window's end at which no piece may begin
LATENESS = 2                # frames that a piece is recognised after it began
LANGUAGE_WEIGHT = .3
BLANK_HANDICAP = 1.5        # what an emission may lose to the blank, after the language model, and still stand
EMISSION_THRESHOLD = .5     # an emission needs the blank to be less likely than this


class Preprocessor(nn.Module):
    """The twin of features.normalised_log_mel."""

    def __init__(self):
        super().__init__()
        angle = np.arange(features.FFT_SIZE // 2 + 1)[:, None] * np.arange(features.WINDOW_LENGTH)[None] * 2 * math.pi / features.FFT_SIZE
        waves = np.concatenate([np.cos(angle), -np.sin(angle)]) * features.WINDOW[None]
        self.register_buffer("waves", torch.tensor(waves[:, None, :], dtype=torch.float32))
        self.register_buffer("mel", torch.tensor(features.MEL))
        self.register_buffer("frame", torch.arange(MEL_FRAMES, dtype=torch.float32)[None])

    def forward(self, audio_signal, audio_length):
        length = audio_length.to(torch.float32).clamp(0., float(SAMPLES))
        audio = audio_signal.clamp(-100., 100.)
        position = (audio * 0. + 1.).cumsum(1)  # from the input, so that it is computed and not stored
        audio = audio * (position <= length[:, None]).to(torch.float32)
        audio = torch.cat((audio, torch.zeros(1, features.WINDOW_LENGTH - features.HOP)), 1)
        spectrum = nn.functional.conv1d(audio[:, None], self.waves, stride=features.HOP)
        bins = features.FFT_SIZE // 2 + 1
        power = torch.matmul(self.mel, spectrum[:, :bins] ** 2 + spectrum[:, bins:] ** 2)   # [1, 64, 1500]
        frames = torch.floor(length / features.HOP).clamp(min=1.)
        valid = (self.frame < frames[:, None]).to(torch.float32)                            # [1, 1500]
        frame_power = power.mean(1) * valid
        loudest = frame_power.max(1, keepdim=True)[0]
        active = (frame_power >= features.ACTIVE_RANGE * loudest).to(torch.float32) * valid
        count = active.sum(1, keepdim=True).clamp(min=1.)
        mean_power = (frame_power * active).sum(1, keepdim=True) / count
        gain = features.REFERENCE_POWER / mean_power.clamp(min=features.MINIMUM_POWER)
        log = torch.log(power * gain[:, None] + features.LOG_FLOOR)
        active, count = active[:, None], count[:, None]
        mean = (log * active).sum(2, keepdim=True) / count
        deviation = torch.sqrt((((log - mean) * active) ** 2).sum(2, keepdim=True) / count)
        audible = (mean_power >= features.MINIMUM_POWER).to(torch.float32)[:, None]
        mel = ((log - mean) / (deviation + .1)).clamp(-features.LIMIT, features.LIMIT) * valid[:, None] * audible
        return mel, frames.to(torch.int32)


class Encoder(nn.Module):
    """Frame layout: pieces' log-probabilities [0, V), the blank's [V], V + 1: a piece begins here, V + 2: frames to the next such frame."""

    def __init__(self, network, punctuation):
        super().__init__()
        self.network, self.pieces = network, network.blank
        self.register_buffer("punctuation", punctuation)

    def forward(self, mel, mel_length):
        logits, _, lengths = self.network(mel, mel_length.to(torch.int64))
        scores = logits.log_softmax(-1)                                                     # [1, 188, V + 1]
        blank = scores[:, :, self.pieces]
        never = torch.zeros(self.pieces)
        never[0] = -1e4                                                                     # the unknown piece
        best_score, best = (scores[:, :, :self.pieces] + never).max(2)
        speaking = (blank < math.log(EMISSION_THRESHOLD)).to(torch.int64)
        marked = best * speaking - (1 - speaking)                                           # -1 where silent
        before = torch.cat((torch.full((1, 1), -1, dtype=torch.int64), marked[:, :-1]), 1)
        inside = torch.arange(FRAMES)[None] < lengths[:, None]
        begins = ((marked >= 0) & (marked != before) & inside).to(torch.float32)

        is_mark = self.punctuation[best]
        source, begins = self._settle_times(begins, is_mark, lengths)
        ahead = lambda x, n: torch.cat((x[:, n:], torch.zeros_like(x[:, :n])), 1)
        distance = 1 + (1 - ahead(begins, 1)) * (1 + (1 - ahead(begins, 2)) * (1 + (1 - ahead(begins, 3))))
        distance = torch.where(is_mark[:, source] * begins > .5, torch.ones_like(distance), distance)  # a mark has no length
        scores = (scores + torch.cat((never, torch.zeros(1))))[:, source]
        frame = torch.cat((scores, begins[:, :, None], distance[:, :, None],
                           torch.zeros(1, FRAMES, ENCODER_CHANNELS - self.pieces - 3)), 2)
        return frame, lengths.to(torch.int32)


    @staticmethod
    def _settle_times(begins, is_mark, lengths):
        """Moves the beginnings of pieces to where they belong, their order kept.

        CTC recognises a piece some frames after it began, and the mark that ends a sentence only in the pause after it, at
        times when somebody else already speaks: a mark goes right behind the piece before it. The last END_FREE frames
        stay free, since the decoder drops a token whose duration reaches the window's end, and asks about the last
        frames again when it finishes a recording. -> (which frame to show at each frame [188], new beginnings)
        """
        frames = torch.arange(FRAMES)[None]
        earlier = (frames < frames.t()).to(torch.float32) * begins                          # [188, 188]: begins before this frame
        last = (earlier * (frames + 1.)).max(1)[0][None] - 1.                               # -1: none
        is_attached = is_mark * (last >= 0).to(torch.float32)
        wanted = is_attached * (last + 1.) + (1. - is_attached) * frames - LATENESS
        counted = begins.cumsum(1)
        left = counted[:, -1:] - counted + 1                                                # this one and those after it
        latest = lengths[:, None].to(torch.float32) - END_FREE - left
        target = torch.maximum(torch.minimum(wanted, latest), counted - 1)
        target = torch.where(begins > .5, target.to(torch.int64), torch.full_like(frames, FRAMES))
        moved = torch.full((1, FRAMES + 1), -1, dtype=torch.int64).scatter(1, target, frames)[:, :FRAMES]
        return torch.where(moved >= 0, moved, frames)[0], (moved >= 0).to(torch.float32)


class Decoder(nn.Module):
    """The language model, one step. Its state is the first row of h; c passes through.

    The blank starts anew whatever the state was. An id that is no piece (0
    among them) leaves the state alone. Output: [0, WIDTH) the state, [WIDTH]
    the logarithm of the sum over its piece scores, the rest 0.
    """

    def __init__(self, language, piece_of_id):
        super().__init__()
        self.language = language
        self.register_buffer("piece_of_id", piece_of_id)

    def forward(self, targets, target_length, h_in, c_in):
        token = targets.to(torch.int64).reshape(1).clamp(0, BLANK)
        piece = self.piece_of_id[token]                                                     # -1: none
        known = (piece >= 0).to(torch.float32)[:, None]
        fresh = (token == BLANK).to(torch.float32)[:, None]
        before = h_in[0, :, :WIDTH] * (1 - fresh)
        gru = self.language.gru
        given = nn.functional.linear(self.language.embedding(piece.clamp(min=0)), gru.weight_ih_l0, gru.bias_ih_l0)
        kept = nn.functional.linear(before, gru.weight_hh_l0, gru.bias_hh_l0)
        reset = torch.sigmoid(given[:, :WIDTH] + kept[:, :WIDTH])
        update = torch.sigmoid(given[:, WIDTH:2 * WIDTH] + kept[:, WIDTH:2 * WIDTH])
        new = torch.tanh(given[:, 2 * WIDTH:] + reset * kept[:, 2 * WIDTH:])
        state = known * (new + update * (before - new)) + (1 - known) * before
        total = torch.logsumexp(self.language.output(state), 1, keepdim=True)
        unused = target_length.to(torch.float32).reshape(1, 1) * 0.
        decoder = torch.cat((state, total, torch.zeros(1, DECODER_CHANNELS - WIDTH - 1) + unused), 1)[:, :, None]
        h_out = torch.stack((torch.cat((state, h_in[0, :, WIDTH:] * (1 - fresh)), 1), h_in[1]))
        return decoder, h_out, c_in * 1.


class JointDecision(nn.Module):
    def __init__(self, language, ids, punctuation):
        super().__init__()
        self.pieces = len(ids)
        self.register_buffer("weight", language.output.weight.detach().clone())
        self.register_buffer("bias", language.output.bias.detach().clone())
        self.register_buffer("ids", ids)
        self.register_buffer("punctuation", punctuation)

    def forward(self, encoder_step, decoder_step):
        frame, step = encoder_step[:, :, 0], decoder_step[:, :, 0]
        heard, candidate = frame[:, :self.pieces].topk(CANDIDATES, dim=1)
        candidate = candidate[0]
        expected = torch.matmul(self.weight[candidate], step[0, :WIDTH]) + self.bias[candidate] - step[0, WIDTH]
        # The language model has no say where a mark ends a sentence: it would end all of them alike.
        first_is_mark = self.punctuation[candidate[:1]]
        score = heard[0] + LANGUAGE_WEIGHT * expected * (1 - first_is_mark)
        chosen = score.argmax(0, keepdim=True)
        blank = frame[:, self.pieces]
        stands = (score[chosen] + BLANK_HANDICAP >= blank).to(torch.float32)
        emit = (frame[:, self.pieces + 1] > .5) & ((stands + first_is_mark) > .5)
        token = torch.where(emit, self.ids[candidate[chosen]], torch.full_like(candidate[chosen], BLANK))
        probability = torch.where(emit, heard[0][chosen], blank).exp()
        duration = torch.round(frame[:, self.pieces + 2]).clamp(1., float(LONGEST_JUMP))
        shape = (1, 1, 1)
        return token.to(torch.int32).reshape(shape), probability.reshape(shape), duration.to(torch.int32).reshape(shape)


def piece_tables(pieces):
    """-> (id of each piece, piece of each id or -1, 1.0 for each punctuation piece, vocabulary for the file)"""
    count = pieces.get_piece_size()
    ids, piece_of_id = torch.zeros(count, dtype=torch.int64), torch.full((BLANK + 1,), -1, dtype=torch.int64)
    punctuation, vocabulary = torch.zeros(count), {}
    for piece in range(count):
        text = pieces.id_to_piece(piece)
        number = PUNCTUATION_IDS.get(text, piece)
        ids[piece] = number
        if piece == pieces.unk_id():
            vocabulary[str(number)] = ""
            continue
        piece_of_id[number] = piece
        punctuation[piece] = float(text in PUNCTUATION_IDS)
        vocabulary[str(number)] = text
    piece_of_id[BLANK] = count  # the language model's start symbol
    vocabulary.update(UNUSED_IDS)
    return ids, piece_of_id, punctuation, dict(sorted(vocabulary.items(), key=lambda item: int(item[0])))


def main():
    acoustic_file, language_file, pieces_file, folder = sys.argv[1:5]
    pieces = sentencepiece.SentencePieceProcessor(model_file=pieces_file)
    ids, piece_of_id, punctuation, vocabulary = piece_tables(pieces)
    network, language = AcousticNetwork(len(ids)), LanguageModel(len(ids))
    network.load_state_dict(torch.load(acoustic_file))
    language.load_state_dict(torch.load(language_file))
    network.eval(), language.eval()
    int32 = lambda *values: torch.tensor(values, dtype=torch.int32)
    state = torch.zeros(2, 1, DECODER_CHANNELS)
    parts = [
        ("Preprocessor", Preprocessor(), (torch.randn(1, SAMPLES) * .1, int32(100000)),
         ["audio_signal", "audio_length"], ["mel", "mel_length"], False),
        ("Encoder", Encoder(network, punctuation), (torch.randn(1, MEL_BANDS, MEL_FRAMES), int32(1200)),
         ["mel", "mel_length"], ["encoder", "encoder_length"], True),
        ("Decoder", Decoder(language, piece_of_id), (int32(BLANK).reshape(1, 1), int32(1), state, state),
         ["targets", "target_length", "h_in", "c_in"], ["decoder", "h_out", "c_out"], True),
        ("JointDecision", JointDecision(language, ids, punctuation), (torch.randn(1, ENCODER_CHANNELS, 1), torch.randn(1, DECODER_CHANNELS, 1)),
         ["encoder_step", "decoder_step"], ["token_id", "token_prob", "duration"], True),
    ]
    os.makedirs(folder, exist_ok=True)
    for name, module, example, inputs, outputs, halve in parts:
        with tempfile.TemporaryDirectory() as scratch, torch.no_grad():
            path = os.path.join(scratch, "model.onnx")
            torch.onnx.export(module.eval(), example, path, input_names=inputs, output_names=outputs, opset_version=OPSET)
            model = onnx.load(path)
            model.producer_name, model.producer_version, model.doc_string = "varnel tools/starter-models", "", ""
            onnx.save(halve_weights(model) if halve else model, path)
            manifest = make_bundle(path, os.path.join(folder, name + ".mlmodelc"))
            print(name, manifest["files"]["model.onnx"]["size"], "bytes")
    with open(os.path.join(folder, "parakeet_vocab.json"), "w") as f:
        json.dump(vocabulary, f, ensure_ascii=False, indent=0)
        f.write("\n")


if __name__ == "__main__":
    main()
