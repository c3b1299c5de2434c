"""An ONNX model as a board would run it in half precision: weights and all values between nodes have 16 bits.

    PYTHONPATH=models python3 -m training.half models/refiner.onnx rounded.onnx

The result still computes each node in 32 bits, as TensorRT's half-precision layers do for sums, and rounds the node's
outputs. As on the board, values beyond the range of 16-bit floats become infinite, and values too small become 0.
"""

import sys

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

KEPT = {"Constant", "ConstantOfShape", "Shape"}  # their floats are rounded where they are used


def rounded(model):
    """A copy of `model` with weights and every float tensor inside rounded; inputs are, too, outputs stay 32-bit."""
    model = onnx.shape_inference.infer_shapes(model)
    graph = model.graph
    floats = {value.name for value in [*graph.value_info, *graph.input, *graph.output]
              if value.type.tensor_type.elem_type == TensorProto.FLOAT}
    for initializer in graph.initializer:
        array = numpy_helper.to_array(initializer)
        if array.dtype == np.float32:
            with np.errstate(over="ignore"):
                initializer.CopyFrom(numpy_helper.from_array(array.astype(np.float16).astype(np.float32), initializer.name))
    renamed = {value.name: f"{value.name}_rounded" for value in graph.input if value.name in floats}
    nodes = [node for name in list(renamed) for node in _rounding(name, renamed[name])]
    for node in graph.node:
        node = onnx.NodeProto.FromString(node.SerializeToString())
        node.input[:] = [renamed.get(name, name) for name in node.input]
        nodes.append(node)
        for name in node.output:
            if name in floats and node.op_type not in KEPT:
                renamed[name] = f"{name}_rounded"
                nodes += _rounding(name, renamed[name])
    copy = onnx.ModelProto.FromString(model.SerializeToString())
    del copy.graph.node[:]
    del copy.graph.value_info[:]
    copy.graph.node.extend(nodes)
    return copy


def _rounding(source, target):
    middle = f"{target}_half"
    return [helper.make_node("Cast", [source], [middle], to=TensorProto.FLOAT16),
            helper.make_node("Cast", [middle], [target], to=TensorProto.FLOAT)]


if __name__ == "__main__":
    onnx.save(rounded(onnx.load(sys.argv[1])), sys.argv[2])
