#!/usr/bin/env python3
"""Writes the reference network as an ONNX model, from which TensorRT's builder makes an engine.

It computes the filter defined in emulator/nvinfer/networks/guided_filter.h, in 32-bit floats, with the parameters of
reference.engine.toml. Names below are those of that header.

    models/make_reference_onnx.py reference.onnx

Needs Python 3.11 and the packages onnx and numpy.

Operators. TensorRT 10.3 has a layer for each of them (NvInfer.h): element-wise and unary ones, Where, Cast, Concat,
Split, Shape, ReduceSum and two-dimensional pooling. They meet its conditions: UINT8 is a network input only and is cast
at once; pooling has two dimensions and no dilation; the axes of ReduceSum and Unsqueeze and the sizes of Split are
constants. Before you add another operator, look it up in the parser's support list, docs/operators.md of onnx-tensorrt,
release 10.3.

Precision. Sums over windows are AveragePool layers, along rows and then along columns, rather than convolutions:
TensorRT may run a convolution in TF32, whose 11 bits cannot hold a depth. For the same reason the engine must not be
built with --fp16. A variance is a small difference of large sums, for which 32-bit floats are not precise enough if
depths are large. So depths are split into d = 512 high + low, and the sums are shifted to the window's own multiple of
512 before they are squared; sums of high parts are integers, so that no precision is lost. Decisions (valid, fillable)
depend on exact integers only.
"""

import argparse
import pathlib
import sys
import tomllib

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

OPSET = 17
IR_VERSION = 8  # of the ONNX releases with opset 17
LEAST_FIT = 1e-4
HIGH_UNIT = 512.0  # the squares of 65536 / 512 can be summed over 17 x 17 pixels without rounding


class GraphBuilder:
    """Collects nodes. Every operation takes and returns names of tensors; numbers become constants."""

    def __init__(self):
        self.nodes = []
        self.initializers = {}

    def constant(self, value, dtype=np.float32):
        array = np.asarray(value, dtype=dtype)
        name = f"{array.dtype}_{array.tolist()}"
        self.initializers.setdefault(name, numpy_helper.from_array(array, name))
        return name

    def operation(self, operator, *inputs, outputs=1, name=None, **attributes):
        inputs = [value if isinstance(value, str) else self.constant(value) for value in inputs]
        number = len(self.nodes)
        names = [name or f"{operator.lower()}_{number}_{i}" for i in range(outputs)]
        self.nodes.append(helper.make_node(operator, inputs, names, name=f"{operator}_{number}", **attributes))
        return names[0] if outputs == 1 else names

    def add(self, a, b):
        return self.operation("Add", a, b)

    def subtract(self, a, b):
        return self.operation("Sub", a, b)

    def multiply(self, a, b):
        return self.operation("Mul", a, b)

    def divide(self, a, b):
        return self.operation("Div", a, b)

    def square(self, a):
        return self.operation("Mul", a, a)

    def at_least(self, a, minimum):
        return self.operation("Max", a, minimum)

    def to_float(self, a):
        return self.operation("Cast", a, to=TensorProto.FLOAT)

    def one_over_one_plus(self, a):
        return self.divide(1.0, self.add(1.0, a))

    def window_sums(self, planes, radius, integers=False):
        """The sums over the window around each pixel, zero outside the image; of integers they are exact."""
        side = 2 * radius + 1
        result = self.operation("Concat", *planes, axis=1) if len(planes) > 1 else planes[0]
        for kernel, pads in line_windows(radius):
            mean = self.operation("AveragePool", result, kernel_shape=kernel, pads=pads, count_include_pad=1)
            result = self.multiply(mean, float(side))
            if integers:
                result = self.operation("Round", result)
        if len(planes) == 1:
            return [result]
        sizes = self.constant([1] * len(planes), np.int64)
        return self.operation("Split", result, sizes, outputs=len(planes), axis=1)

    def window_maximum(self, plane, radius):
        """The largest values of the windows around each pixel."""
        for kernel, pads in line_windows(radius):
            plane = self.operation("MaxPool", plane, kernel_shape=kernel, pads=pads)
        return plane


def line_windows(radius):
    """Kernel and padding of a window's row, then of its column."""
    side = 2 * radius + 1
    return [([1, side], [0, radius, 0, radius]), ([side, 1], [radius, 0, radius, 0])]


def luminance(graph, layout):
    """From -0.5 for black to 0.5 for white, as 1 x 1 x H x W."""
    weights = np.array([0.299, 0.587, 0.114]) / 255.0
    rgb = graph.to_float("rgb")
    if layout == "chw":
        weighted = graph.multiply(rgb, weights.reshape(1, 3, 1, 1))
        light = graph.operation("ReduceSum", weighted, graph.constant([1], np.int64), keepdims=1)
    else:
        weighted = graph.multiply(rgb, weights.reshape(1, 1, 3))
        light = graph.operation("ReduceSum", weighted, graph.constant([2], np.int64), keepdims=0)
        light = graph.operation("Unsqueeze", light, graph.constant([0, 1], np.int64))
    return graph.subtract(light, 0.5)


class WindowFits:
    """The fit of the window around each pixel: a, b, fit, share (n / A), mean_depth and fillable of the definition."""

    def __init__(self, graph, parameters, guide, valid, depth):
        radius = parameters["radius"]
        mask = graph.to_float(valid)
        masked_guide = graph.multiply(mask, guide)
        high = graph.operation("Round", graph.divide(depth, HIGH_UNIT))
        low = graph.subtract(depth, graph.multiply(HIGH_UNIT, high))
        count, sum_h, sum_hh = graph.window_sums([mask, high, graph.square(high)], radius, integers=True)
        sum_i, sum_ii, sum_l, sum_ll, sum_hl, sum_ih, sum_il = graph.window_sums(
            [masked_guide, graph.square(masked_guide), low, graph.square(low), graph.multiply(high, low),
             graph.multiply(masked_guide, high), graph.multiply(masked_guide, low)], radius)

        # Move the sums to the window's own origin: x = d - 512 origin.
        divisor = graph.at_least(count, 1.0)
        origin = graph.operation("Round", graph.divide(sum_h, divisor))
        moved = graph.multiply(origin, count)
        moved_h = graph.subtract(sum_h, moved)
        moved_hh = graph.subtract(sum_hh, graph.multiply(origin, graph.add(sum_h, moved_h)))
        moved_hl = graph.subtract(sum_hl, graph.multiply(origin, sum_l))
        moved_ih = graph.subtract(sum_ih, graph.multiply(origin, sum_i))
        sum_x = graph.add(graph.multiply(HIGH_UNIT, moved_h), sum_l)
        mixed = graph.add(graph.multiply(HIGH_UNIT, moved_hh), graph.multiply(2.0, moved_hl))
        sum_xx = graph.add(graph.multiply(HIGH_UNIT, mixed), sum_ll)
        sum_ix = graph.add(graph.multiply(HIGH_UNIT, moved_ih), sum_il)

        mean_i = graph.divide(sum_i, divisor)
        mean_x = graph.divide(sum_x, divisor)
        var_i = graph.at_least(graph.subtract(graph.divide(sum_ii, divisor), graph.square(mean_i)), 0.0)
        var_d = graph.at_least(graph.subtract(graph.divide(sum_xx, divisor), graph.square(mean_x)), 0.0)
        cov = graph.subtract(graph.divide(sum_ix, divisor), graph.multiply(mean_i, mean_x))
        self.mean_depth = graph.add(graph.multiply(HIGH_UNIT, origin), mean_x)
        self.a = graph.divide(cov, graph.add(var_i, parameters["epsilon"]))
        self.b = graph.subtract(self.mean_depth, graph.multiply(self.a, mean_i))
        explained = graph.multiply(self.a, graph.subtract(graph.multiply(2.0, cov), graph.multiply(self.a, var_i)))
        residual = graph.at_least(graph.subtract(var_d, explained), 0.0)
        scale = graph.add(graph.square(graph.multiply(parameters["fit_tolerance"], self.mean_depth)), 1.0)
        self.fit = graph.one_over_one_plus(graph.divide(residual, scale))

        ones = graph.operation("ConstantOfShape", graph.operation("Shape", "dep"),
                               value=numpy_helper.from_array(np.ones(1, np.float32)))
        (area,) = graph.window_sums([ones], radius, integers=True)
        self.share = graph.divide(count, area)
        enough = graph.operation("GreaterOrEqual", graph.multiply(100.0, count),
                                 graph.multiply(float(parameters["fill_percent"]), area))
        self.fillable = graph.operation("And", enough, graph.operation("Greater", count, 0.5))


def window_weights(graph, parameters, fits):
    """The windows' weights for valid pixels, and for holes."""
    weight = graph.multiply(fits.share, graph.add(graph.square(graph.square(fits.fit)), LEAST_FIT))
    fillable_depth = graph.multiply(graph.to_float(fits.fillable), fits.mean_depth)
    farthest = graph.window_maximum(fillable_depth, 2 * parameters["radius"])
    nearer = graph.at_least(graph.subtract(farthest, fits.mean_depth), 0.0)
    differs = graph.divide(nearer, graph.multiply(parameters["surface_tolerance"], graph.at_least(farthest, 1.0)))
    return weight, graph.multiply(weight, graph.one_over_one_plus(graph.square(graph.square(differs))))


def weighted_means(graph, weight, values, radius):
    """The weighted means of each of `values` over the windows that contain a pixel."""
    total, *sums = graph.window_sums([weight] + [graph.multiply(weight, value) for value in values], radius)
    total = graph.at_least(total, 1e-30)
    return [graph.divide(value, total) for value in sums]


def build_graph(parameters, layout, with_confidence):
    graph = GraphBuilder()
    radius = parameters["radius"]
    guide = luminance(graph, layout)
    valid = graph.operation("Greater", "dep", 0.0)
    depth = graph.operation("Where", valid, "dep", 0.0)
    fits = WindowFits(graph, parameters, guide, valid, depth)
    weight, far_weight = window_weights(graph, parameters, fits)
    values = [fits.a, fits.b] + ([fits.fit] if with_confidence else [])
    a, b, *mean_fit = weighted_means(graph, weight, values, radius)
    far_a, far_b = weighted_means(graph, far_weight, [fits.a, fits.b], radius)
    filtered = graph.add(graph.multiply(a, guide), b)
    filled = graph.add(graph.multiply(far_a, guide), far_b)

    change = graph.subtract(filtered, depth)
    scale = graph.add(graph.square(graph.multiply(parameters["move_tolerance"], depth)), 1.0)
    move = graph.one_over_one_plus(graph.divide(graph.square(change), scale))
    at_valid = graph.add(graph.add(depth, graph.multiply(move, change)), 0.5)
    at_holes = graph.operation("Where", fits.fillable, graph.add(filled, 0.5), 0.0)
    graph.operation("Where", valid, at_valid, at_holes, name="pred")
    if with_confidence:
        trust = graph.operation("Where", valid, move, graph.to_float(fits.fillable))
        # Rounding may lift a mean of shares above 1.
        mean_fit = graph.operation("Min", mean_fit[0], 1.0)
        graph.operation("Mul", trust, graph.multiply(fits.share, mean_fit), name="confidence_output")
    return graph


def make_model(parameters, layout="chw", with_confidence=True):
    """The model; `parameters` as in the engine description, `layout` "chw" or "hwc" of the colour image."""
    graph = build_graph(parameters, layout, with_confidence)
    plane = [1, 1, "height", "width"]
    rgb_shape = [1, 3, "height", "width"] if layout == "chw" else ["height", "width", 3]
    outputs = ["pred"] + (["confidence_output"] if with_confidence else [])
    model = helper.make_model(
        helper.make_graph(
            graph.nodes,
            "guided_filter",
            [helper.make_tensor_value_info("rgb", TensorProto.UINT8, rgb_shape),
             helper.make_tensor_value_info("dep", TensorProto.FLOAT, plane)],
            [helper.make_tensor_value_info(name, TensorProto.FLOAT, plane) for name in outputs],
            list(graph.initializers.values())),
        opset_imports=[helper.make_opsetid("", OPSET)],
        ir_version=IR_VERSION,
        producer_name="enhance_depth")
    onnx.checker.check_model(model, full_check=True)
    return model


def read_parameters(path):
    with open(path, "rb") as file:
        description = tomllib.load(file)
    if description.get("network") != "guided-filter" or "parameters" not in description:
        raise ValueError(f"{path} does not describe the network guided-filter with its parameters")
    return description["parameters"]


def main():
    arguments = argparse.ArgumentParser(description="Writes the reference network as an ONNX model.")
    arguments.add_argument("output", type=pathlib.Path, help="the file to write, for example reference.onnx")
    arguments.add_argument("--layout", choices=["chw", "hwc"], default="chw",
                           help="the colour image's: chw is 1 x 3 x H x W (default), hwc is H x W x 3")
    arguments.add_argument("--no-confidence", action="store_true", help="leave out the output confidence_output")
    arguments.add_argument("--engine", type=pathlib.Path,
                           default=pathlib.Path(__file__).with_name("reference.engine.toml"),
                           help="the engine description with the parameters (default: reference.engine.toml)")
    options = arguments.parse_args()
    try:
        model = make_model(read_parameters(options.engine), options.layout, not options.no_confidence)
        onnx.save(model, options.output)
    except (OSError, ValueError, KeyError) as error:
        sys.exit(f"make_reference_onnx.py: {error}")
    operators = sorted({node.op_type for node in model.graph.node})
    print(f"{options.output}: {len(model.graph.node)} nodes, opset {OPSET}, operators {', '.join(operators)}")


if __name__ == "__main__":
    main()
