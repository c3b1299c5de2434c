"""Writes the trained network as an ONNX model that meets the engine contract."""

import inspect
import warnings

import onnx
import torch
import torch.nn.functional as functional
from torch import nn

from .network import MULTIPLE

OPSET = 17


class Engine(nn.Module):
    """The network for any size: pads inside to the size that it needs, crops again, and sets unsure pixels to 0."""

    LEAST_CONFIDENCE = 0.4  # of a pixel that gets depth: on average two of the five tolerances hold

    def __init__(self, network):
        super().__init__()
        self.network = network

    def forward(self, rgb, dep):
        height, width = dep.shape[2], dep.shape[3]
        extra = MULTIPLE - 1
        tall, wide = (height + extra) // MULTIPLE * MULTIPLE, (width + extra) // MULTIPLE * MULTIPLE
        rgb = functional.pad(rgb.to(torch.float32), (0, extra, 0, extra), mode="replicate")[:, :, :tall, :wide]
        dep = functional.pad(dep, (0, extra, 0, extra))[:, :, :tall, :wide]
        depth, confidence = self.network(rgb, dep)
        confidence = confidence * (torch.amax(dep, (2, 3), keepdim=True) > 0).to(torch.float32)
        pred = torch.where(confidence >= self.LEAST_CONFIDENCE, depth + 0.5, torch.zeros_like(depth))
        return pred[:, :, :height, :width], confidence[:, :, :height, :width]


def export(network, path):
    """Writes `network`, a Refiner on the processor, to `path`; height and width are the model's only free sizes."""
    size = {2: "height", 3: "width"}
    older = {"dynamo": False} if "dynamo" in inspect.signature(torch.onnx.export).parameters else {}
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")  # about the exporter's age and what it does not fold
        torch.onnx.export(
            Engine(network).eval(), (torch.zeros(1, 3, 96, 128, dtype=torch.uint8), torch.ones(1, 1, 96, 128)), str(path),
            input_names=["rgb", "dep"], output_names=["pred", "confidence_output"],
            dynamic_axes={name: size for name in ("rgb", "dep", "pred", "confidence_output")}, opset_version=OPSET, **older)
    model = onnx.load(path)
    for output in model.graph.output:  # the exporter cannot tell how many images come out
        for dimension in output.type.tensor_type.shape.dim[:2]:
            dimension.dim_value = 1
    onnx.checker.check_model(model, full_check=True)
    onnx.save(model, path)
