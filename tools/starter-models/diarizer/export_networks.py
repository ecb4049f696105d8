#!/usr/bin/env python3
"""Writes the two bundles: export_networks.py SEGMENTATION.pt EMBEDDING.pt OUTPUT_FOLDER

OUTPUT_FOLDER gets pyannote_segmentation.mlmodelc and wespeaker_v2.mlmodelc. Their contract is in docs/models.md.
"""
import os
import sys
import tempfile

import onnx
import torch
from torch import nn

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "common")]
from front import FRAMES, SAMPLES, MelPower, for_embedding, for_segmentation
from half_weights import halve_weights
from make_bundle import make_bundle
from networks import EmbeddingNetwork, SegmentationNetwork

OPSET, SLOTS, VALUES = 13, 3, 256
NORM = 10.  # about the norm of an embedding: the product takes it as full quality


class Segmentation(nn.Module):
    def __init__(self, network):
        super().__init__()
        self.power, self.network = MelPower(), network

    def forward(self, audio):
        """[1, 1, 160000] -> [1, 592, 7]"""
        return self.network(for_segmentation(self.power(audio[:, 0])))


class Embedding(nn.Module):
    """Slot 0 alone is computed; the caller fills and reads no other. The other slots of the output are zeros."""

    def __init__(self, network):
        super().__init__()
        self.power, self.network = MelPower(), network

    def forward(self, waveform, mask):
        """[3, 160000], [3, 592] -> [3, 256]"""
        chosen = mask[0:1, None, :]
        embedding = self.network(for_embedding(self.power(waveform[0:1]), chosen), chosen) * (NORM / VALUES ** .5)
        return torch.cat((embedding, torch.zeros(SLOTS - 1, VALUES)), 0)


def load_segmentation(path):
    network = SegmentationNetwork()
    network.load_state_dict(torch.load(path))
    return network.eval()


def load_embedding(path):
    weights = torch.load(path)
    del weights["prototypes"]  # the training voices
    network = EmbeddingNetwork()
    network.load_state_dict(weights)
    return network.eval()


def export(name, module, example, inputs, output, folder):
    with tempfile.TemporaryDirectory() as scratch, torch.no_grad():
        path = os.path.join(scratch, "model.onnx")
        torch.onnx.export(module.eval(), example, path, input_names=inputs, output_names=[output], opset_version=OPSET)
        model = onnx.load(path)
        model.producer_name, model.producer_version, model.doc_string = "varnel tools/starter-models", "", ""
        onnx.save(halve_weights(model), path)
        manifest = make_bundle(path, os.path.join(folder, name))
        print(name, manifest["files"]["model.onnx"]["size"], "bytes")


def main():
    segmentation, embedding, folder = sys.argv[1:4]
    os.makedirs(folder, exist_ok=True)
    export("pyannote_segmentation.mlmodelc", Segmentation(load_segmentation(segmentation)), torch.randn(1, 1, SAMPLES) * .1,
           ["audio"], "segments", folder)
    mask = torch.zeros(SLOTS, FRAMES)
    mask[0, :300] = 1
    export("wespeaker_v2.mlmodelc", Embedding(load_embedding(embedding)), (torch.randn(SLOTS, SAMPLES) * .1, mask), ["waveform", "mask"], "embedding", folder)


if __name__ == "__main__":
    main()
