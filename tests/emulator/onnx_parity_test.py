#!/usr/bin/env python3
"""The reference network's ONNX model, run by ONNX Runtime, against the emulated board, driven through the library.

Usage: onnx_parity_test.py BUILD_DIR   (a native build with the emulated board; see onnx_parity_test.sh)

Prints the agreement of each case, has `enhance-depth inspect` check the models, and exits with 1 if a case is out of
tolerance or a model is judged wrongly. Tolerance: depth within 1 unit on at least 99.99 % of the pixels and on no
pixel a depth against none, confidence within 0.001.
"""

import pathlib
import re
import runpy
import subprocess
import sys
import tempfile
import types

import numpy as np
import onnx
import onnxruntime
from PIL import Image

SOURCE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCE / "python"))
import enhance_depth  # noqa: E402

DEPTH_SHARE = 0.9999
CONFIDENCE_TOLERANCE = 1e-3


def cases():
    """Yields name, colour (H x W x 3) and depth (H x W)."""
    random = np.random.default_rng(1)

    def color(height, width):
        return random.integers(0, 256, (height, width, 3), dtype=np.uint8)

    def full_range(height, width, valid=1.0):
        depth = random.integers(0, 65536, (height, width), dtype=np.uint16)
        return np.where(random.random((height, width)) < valid, depth, np.uint16(0))

    sample_color = np.array(Image.open(SOURCE / "samples/color.png"))
    sample_depth = np.array(Image.open(SOURCE / "samples/depth.png")).astype(np.uint16)
    yield "sample", sample_color, sample_depth
    yield "sample, 101 x 77", sample_color[:101, 200:277], sample_depth[:101, 200:277]
    large = np.s_[:1079, :1919]
    yield "sample, 1079 x 1919", np.tile(sample_color, (3, 3, 1))[large], np.tile(sample_depth, (3, 3))[large]
    yield "sample in units of 0.05 mm", sample_color, np.minimum(sample_depth * 20.0, 65535).astype(np.uint16)
    for height, width in ((1, 1), (1, 9), (7, 1), (33, 17), (479, 639)):
        yield f"full range, {height} x {width}", color(height, width), full_range(height, width)
        yield f"full range with holes, {height} x {width}", color(height, width), full_range(height, width, 0.4)
    yield "single valid pixels", color(200, 150), full_range(200, 150, 0.003)
    yield "no valid pixel", color(120, 160), np.zeros((120, 160), np.uint16)
    yield "constant", color(90, 70), np.full((90, 70), 40001, np.uint16)
    steps = np.repeat(np.array([5, 65535, 700, 30000, 1], np.uint16), 60)
    yield "steps over the full range", color(100, 300), np.tile(steps, (100, 1))


def interleaved_description(text):
    """The engine description with a colour tensor of H x W x 3."""
    text = text.replace("shape = [1, 3, -1, -1]", "shape = [-1, -1, 3]")
    return re.sub(r"\[1, 3, (\d+), (\d+)\]", r"[\1, \2, 3]", text)


class Network:
    """The network in one colour layout, on both sides."""

    def __init__(self, maker, layout, build, folder):
        self.layout = layout
        description = (SOURCE / "models/reference.engine.toml").read_text(encoding="utf-8")
        if layout == "hwc":
            description = interleaved_description(description)
        path = folder / f"{layout}.engine.toml"
        path.write_text(description, encoding="utf-8")
        parameters = maker.read_parameters(path)
        self.session = self.open_session(maker.make_model(parameters, layout))
        self.without_confidence = self.open_session(maker.make_model(parameters, layout, with_confidence=False))
        self.engine = enhance_depth.Engine(path, rgb_layout="planar" if layout == "chw" else "interleaved",
                                           library=build / "src/libenhance_depth.so.0")

    @staticmethod
    def open_session(model):
        return onnxruntime.InferenceSession(model.SerializeToString(), providers=["CPUExecutionProvider"])

    def run_onnx(self, color, depth):
        """The refined depth of the models with and without confidence, as a stack, and the confidence."""
        rgb = enhance_depth.to_planar(color)[None] if self.layout == "chw" else np.ascontiguousarray(color)
        inputs = {"rgb": rgb, "dep": depth.astype(np.float32)[None, None]}
        pred, confidence = self.session.run(["pred", "confidence_output"], inputs)
        (alone,) = self.without_confidence.run(None, inputs)
        # As the library converts what a network returns: clamped and truncated.
        refined = np.clip(np.stack([pred[0, 0], alone[0, 0]]), 0, 65535).astype(np.uint16)
        return refined, confidence[0, 0]

    def run_emulated(self, color, depth):
        self.engine.reset(depth.shape[1], depth.shape[0])
        return self.engine.process(color, depth, copy=True)


def compare(network, name, color, depth):
    """Prints the agreement of a case. Returns the share within 1 unit, how far confidence is off, and success."""
    expected = network.run_emulated(color, depth)
    refined, confidence = network.run_onnx(color, depth)
    difference = np.abs(refined.astype(np.int32) - expected.depth)
    share = np.mean(difference <= 1)
    off = float(np.max(np.abs(confidence - expected.confidence)))
    holes_agree = bool(np.all((refined == 0) == (expected.depth == 0)))
    good = share >= DEPTH_SHARE and off <= CONFIDENCE_TOLERANCE and holes_agree
    print(f"{'ok  ' if good else 'FAIL'} {name} ({network.layout}): "
          f"depth equal on {100 * np.mean(difference == 0):.3f} %, within 1 on {100 * share:.3f} %, "
          f"at most {difference.max()} apart; confidence at most {off:.1e} apart"
          f"{'' if holes_agree else '; a depth against none'}")
    return share, off, good


def inspect(build, maker, folder):
    """Whether the tool accepts the models as they are, and refuses one with a wrong name."""
    parameters = maker.read_parameters(SOURCE / "models/reference.engine.toml")
    models = {f"{layout}{confidence}": (maker.make_model(parameters, layout, confidence), 0)
              for layout in ("chw", "hwc") for confidence in (True, False)}
    renamed = maker.make_model(parameters)
    renamed.graph.output[0].name = "depth"
    renamed.graph.node[-1].output[0] = "depth"
    models["renamed"] = (renamed, 1)
    good = True
    for name, (model, expected) in models.items():
        path = folder / f"{name}.onnx"
        onnx.save(model, path)
        tool = build / "tools/enhance-depth/enhance-depth"
        result = subprocess.run([tool, "inspect", path], capture_output=True, text=True, check=False)
        if result.returncode != expected:
            good = False
            print(f"FAIL enhance-depth inspect {name}.onnx: status {result.returncode}\n{result.stdout}{result.stderr}")
    print(f"{'ok  ' if good else 'FAIL'} enhance-depth inspect on {len(models)} models")
    return good


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    build = pathlib.Path(sys.argv[1]).resolve()
    maker = types.SimpleNamespace(**runpy.run_path(str(SOURCE / "models/make_reference_onnx.py")))
    with tempfile.TemporaryDirectory() as folder:
        networks = [Network(maker, layout, build, pathlib.Path(folder)) for layout in ("chw", "hwc")]
        results = [compare(network, *case) for case in cases() for network in networks]
        inspected = inspect(build, maker, pathlib.Path(folder))
    print(f"agreement in {len(results)} cases: depth within 1 unit on at least "
          f"{100 * min(share for share, _, _ in results):.3f} % of the pixels, confidence within "
          f"{max(off for _, off, _ in results):.1e}; {sum(not good for _, _, good in results)} out of tolerance")
    return 0 if inspected and all(good for _, _, good in results) else 1


if __name__ == "__main__":
    sys.exit(main())
