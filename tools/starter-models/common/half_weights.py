"""Stores the large weights of an ONNX model as float16, each followed by a Cast to float32.

The runtime folds the casts when it loads the model, so only the file is halved;
all arithmetic stays in float32.
"""
import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

SMALLEST = 1024  # elements; smaller tensors stay as they are


def halve_weights(model):
    casts = []
    for tensor in model.graph.initializer:
        if tensor.data_type != TensorProto.FLOAT or np.prod(tensor.dims) < SMALLEST:
            continue
        name, values = tensor.name, numpy_helper.to_array(tensor)
        if np.abs(values).max() > 6e4:
            continue
        tensor.CopyFrom(numpy_helper.from_array(values.astype(np.float16), name + "_half"))
        casts.append(helper.make_node("Cast", [name + "_half"], [name], to=TensorProto.FLOAT))
    for node in reversed(casts):
        model.graph.node.insert(0, node)
    onnx.checker.check_model(model)
    return model
