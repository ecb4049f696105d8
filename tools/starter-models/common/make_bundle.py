#!/usr/bin/env python3
"""Puts an ONNX file into a bundle folder: make_bundle.py MODEL.onnx FOLDER/Name.mlmodelc [PRODUCER]

The bundle holds model.onnx and coremldata.bin, a small JSON manifest with the
digest of each file, which the product checks when it loads the bundle.
"""
import hashlib
import json
import os
import shutil
import sys

import onnx

DEFAULT_PRODUCER = "varnel tools/starter-models"


def make_bundle(source, bundle, producer=DEFAULT_PRODUCER):
    os.makedirs(bundle, exist_ok=True)
    target = os.path.join(bundle, "model.onnx")
    shutil.copyfile(source, target)
    content = open(target, "rb").read()
    opset = next(o.version for o in onnx.load_model_from_string(content).opset_import if o.domain in ("", "ai.onnx"))
    manifest = {"format": "varnel-onnx-bundle", "formatVersion": 1, "producer": producer, "opset": opset,
                "files": {"model.onnx": {"sha256": hashlib.sha256(content).hexdigest(), "size": len(content)}}}
    with open(os.path.join(bundle, "coremldata.bin"), "w") as f:
        json.dump(manifest, f, indent=2)
        f.write("\n")
    return manifest


if __name__ == "__main__":
    print(json.dumps(make_bundle(*sys.argv[1:4])))
