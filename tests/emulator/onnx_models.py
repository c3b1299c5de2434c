"""Networks of the kinds that users bring, with random weights, as ONNX models that meet the engine contract.

`make_models()` returns them by name. As a program, writes one: onnx_models.py NAME OUTPUT.onnx. They are built with the
operations of models/make_reference_onnx.py.
"""

import pathlib
import runpy
import sys

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
REFERENCE = runpy.run_path(str(SOURCE / "models/make_reference_onnx.py"))
PLANE = [1, 1, "height", "width"]


class Graph(REFERENCE["GraphBuilder"]):
    """Layers with random weights. Features are 1 x C x H x W."""

    def __init__(self, seed=0, weight_type=np.float32):
        super().__init__()
        self.random = np.random.default_rng(seed)
        self.weight_type = weight_type

    def weights(self, *shape):
        """Random, of a size that keeps the features' scale."""
        fan_in = np.prod(shape[1:])
        name = f"weights_{len(self.initializers)}"
        array = self.random.normal(0, np.sqrt(2 / fan_in), shape).astype(self.weight_type)
        self.initializers[name] = numpy_helper.from_array(array, name)
        return name if self.weight_type == np.float32 else self.to_float(name)

    def integers(self, *values):
        return self.constant(values, np.int64)

    def features(self, layout="chw"):
        """Colour around 0, depth in thousands of units, and where there is depth: 5 channels."""
        color = self.to_float("rgb")
        if layout == "hwc":
            color = self.operation("Transpose", color, perm=[2, 0, 1])
            color = self.operation("Unsqueeze", color, self.integers(0))
        color = self.subtract(self.multiply(color, 1 / 255), 0.5)
        valid = self.to_float(self.operation("Greater", "dep", 0.0))
        return self.operation("Concat", color, self.multiply("dep", 0.001), valid, axis=1)

    def convolution(self, x, from_channels, to_channels, stride=1):
        weights = self.weights(to_channels, from_channels, 3, 3)
        return self.operation("Conv", x, weights, kernel_shape=[3, 3], strides=[stride, stride], pads=[1, 1, 1, 1])

    def layer(self, x, from_channels, to_channels, stride=1):
        return self.operation("Relu", self.convolution(x, from_channels, to_channels, stride))

    def transposed(self, x, from_channels, to_channels):
        weights = self.weights(from_channels, to_channels, 2, 2)
        return self.operation("Relu", self.operation("ConvTranspose", x, weights, kernel_shape=[2, 2], strides=[2, 2]))

    def size(self, x):
        """Height and width, as two 64-bit integers."""
        return self.operation("Slice", self.operation("Shape", x), self.integers(2), self.integers(4))

    def resized(self, x, like):
        """Bilinear, to the height and width of `like`."""
        channels = self.operation("Slice", self.operation("Shape", x), self.integers(0), self.integers(2))
        shape = self.operation("Concat", channels, self.size(like), axis=0)
        return self.operation("Resize", x, "", "", shape, mode="linear", coordinate_transformation_mode="half_pixel")

    def joined(self, x, skip):
        return self.operation("Concat", self.resized(x, skip), skip, axis=1)

    def outputs(self, x, channels, confidence=True):
        """The depth changed by up to 100 units, and a confidence."""
        change = self.operation("Tanh", self.convolution(x, channels, 1))
        self.operation("Add", "dep", self.multiply(change, 100.0), name="pred")
        if confidence:
            self.operation("Sigmoid", self.convolution(x, channels, 1), name="confidence_output")

    def model(self, layout="chw", size=("height", "width"), metadata=None):
        plane = [1, 1, *size]
        rgb = [1, 3, *size] if layout == "chw" else [*size, 3]
        outputs = [name for name in ("pred", "confidence_output") if any(name in node.output for node in self.nodes)]
        graph = helper.make_graph(
            self.nodes, "network",
            [helper.make_tensor_value_info("rgb", TensorProto.UINT8, rgb),
             helper.make_tensor_value_info("dep", TensorProto.FLOAT, plane)],
            [helper.make_tensor_value_info(name, TensorProto.FLOAT, plane) for name in outputs],
            list(self.initializers.values()))
        model = helper.make_model(graph, opset_imports=[helper.make_opsetid("", REFERENCE["OPSET"])],
                                  ir_version=REFERENCE["IR_VERSION"])
        helper.set_model_props(model, metadata or {})
        onnx.checker.check_model(model, full_check=True)
        return model


def u_net(layout="chw", confidence=True, size=("height", "width"), weight_type=np.float32, channels=8, metadata=None):
    """Two levels: strided convolutions down; transposed convolutions, and bilinear resizing for odd sizes, up."""
    graph = Graph(1, weight_type)
    fine = graph.layer(graph.features(layout), 5, channels)
    middle = graph.layer(fine, channels, 2 * channels, stride=2)
    coarse = graph.layer(middle, 2 * channels, 4 * channels, stride=2)
    up = graph.joined(graph.transposed(coarse, 4 * channels, 2 * channels), middle)
    up = graph.layer(up, 4 * channels, 2 * channels)
    up = graph.joined(graph.transposed(up, 2 * channels, channels), fine)
    graph.outputs(graph.layer(up, 2 * channels, channels), channels, confidence)
    return graph.model(layout, size, metadata)


def normalised():
    """Instance normalisation, whose statistics depend on the size."""
    graph = Graph(2)
    x, channels = graph.features(), 5
    for _ in range(3):
        scale, bias = graph.constant(np.linspace(0.5, 1.5, 8)), graph.constant(np.linspace(-0.2, 0.2, 8))
        x = graph.operation("InstanceNormalization", graph.convolution(x, channels, 8), scale, bias, epsilon=1e-5)
        x, channels = graph.operation("Relu", x), 8
    graph.outputs(x, 8)
    return graph.model()


def attentive():
    """Attention between the pixels of a sixteenth of the size."""
    graph = Graph(3)
    fine = graph.layer(graph.features(), 5, 8)
    coarse = graph.operation("AveragePool", fine, kernel_shape=[16, 16], strides=[16, 16], ceil_mode=1)
    flat = graph.operation("Reshape", coarse, graph.integers(1, 8, -1))  # 1 x C x N
    query, key, value = (graph.operation("MatMul", graph.weights(8, 8), flat) for _ in range(3))
    scores = graph.operation("MatMul", graph.operation("Transpose", query, perm=[0, 2, 1]), key)
    shares = graph.operation("Softmax", graph.multiply(scores, 8 ** -0.5), axis=2)
    mixed = graph.operation("MatMul", value, graph.operation("Transpose", shares, perm=[0, 2, 1]))
    mixed = graph.operation("Reshape", mixed, graph.operation("Shape", coarse))
    graph.outputs(graph.layer(graph.joined(mixed, fine), 16, 8), 8)
    return graph.model()


def padded():
    """Pads to a multiple of 16 and crops again, by 64-bit arithmetic in the graph."""
    graph = Graph(4)
    x = graph.features()
    size = graph.size(x)
    missing = graph.operation("Mod", graph.subtract(graph.integers(0, 0), size), graph.integers(16, 16))
    pads = graph.operation("Concat", graph.integers(0, 0, 0, 0, 0, 0), missing, axis=0)
    x = graph.operation("Pad", x, pads, mode="edge")
    skip = graph.layer(x, 5, 8)
    down = graph.layer(graph.layer(skip, 8, 8, stride=2), 8, 8, stride=2)
    up = graph.transposed(graph.transposed(down, 8, 8), 8, 8)
    x = graph.layer(graph.operation("Concat", up, skip, axis=1), 16, 8)
    x = graph.operation("Slice", x, graph.integers(0, 0), size, graph.integers(2, 3))
    graph.outputs(x, 8)
    return graph.model()


def make_models():
    return {
        "u-net": u_net(),
        "instance normalisation": normalised(),
        "attention": attentive(),
        "interleaved colour": u_net(layout="hwc"),
        "no confidence": u_net(confidence=False),
        "fixed size": u_net(size=(480, 640)),
        "half-precision weights": u_net(weight_type=np.float16),
        "shape arithmetic": padded(),
    }


if __name__ == "__main__":
    if len(sys.argv) != 3 or sys.argv[1] not in make_models():
        sys.exit(f"{__doc__}\nThe names are: {', '.join(make_models())}")
    onnx.save(make_models()[sys.argv[1]], sys.argv[2])
