#!/usr/bin/env python3
"""Networks in ONNX Runtime against the same networks on the emulated board, driven through the library.

Usage: onnx_parity_test.py BUILD_DIR   (a native build with the emulated board and OpenVINO; see onnx_parity_test.sh)

The reference network runs three ways: its ONNX model in ONNX Runtime, the same model on the emulated board, and the
emulated board's own guided filter. The networks of onnx_models.py run in both of the first ways. Prints the agreement of
each case, has `enhance-depth inspect` check the models, and exits with 1 if a case is out of tolerance or a model is judged
wrongly. Tolerance: depth within 1 unit on all pixels and on no pixel a depth against none, confidence within 0.001.
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
import onnx_models  # noqa: E402

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


def open_session(model):
    return onnxruntime.InferenceSession(model.SerializeToString(), providers=["CPUExecutionProvider"])


def open_engine(build, path, layout):
    return enhance_depth.Engine(path, rgb_layout="planar" if layout == "chw" else "interleaved",
                                library=build / "src/libenhance_depth.so.0")


def run_onnx_runtime(session, layout, color, depth):
    """Refined depth and confidence, None where the model has none, as the library hands them out."""
    rgb = enhance_depth.to_planar(color)[None] if layout == "chw" else np.ascontiguousarray(color)
    pred, *confidence = session.run(None, {"rgb": rgb, "dep": depth.astype(np.float32)[None, None]})
    # As the library converts what a network returns: clamped and truncated.
    refined = np.clip(pred[0, 0], 0, 65535).astype(np.uint16)
    return refined, confidence[0][0, 0] if confidence else None


def run_board(engine, color, depth):
    if engine.size != depth.shape[::-1]:
        engine.reset(depth.shape[1], depth.shape[0])
    result = engine.process(color, depth, copy=True)
    return result.depth, result.confidence


class Agreement:
    """The differences of all results compared. Networks that leave holes have to leave the same holes."""

    def __init__(self, has_holes=True):
        self.has_holes = has_holes
        self.cases = 0
        self.failures = 0
        self.farthest = 0
        self.differing = 0.0
        self.confidence = 0.0

    def compare(self, name, expected, result):
        """Prints the agreement of one case."""
        (expected_depth, expected_confidence), (depth, confidence) = expected, result
        difference = np.abs(expected_depth.astype(np.int32) - depth)
        off = 0.0
        if expected_confidence is not None:
            off = float(np.max(np.abs(expected_confidence - confidence)))
        holes_agree = not self.has_holes or bool(np.all((expected_depth == 0) == (depth == 0)))
        good = (difference.max() <= 1 and off <= CONFIDENCE_TOLERANCE and holes_agree
                and (expected_confidence is None) == (confidence is None))
        print(f"{'ok  ' if good else 'FAIL'} {name}: depth equal on {100 * np.mean(difference == 0):.3f} %, at most "
              f"{difference.max()} apart; confidence at most {off:.1e} apart"
              f"{'' if holes_agree else '; a depth against none'}")
        self.cases += 1
        self.failures += not good
        self.farthest = max(self.farthest, int(difference.max()))
        self.differing = max(self.differing, float(np.mean(difference != 0)))
        self.confidence = max(self.confidence, off)

    def report(self, what):
        print(f"agreement, {what}, {self.cases} cases: depth at most {self.farthest} apart, on at most "
              f"{100 * self.differing:.3f} % of the pixels; confidence at most {self.confidence:.1e}; "
              f"{self.failures} out of tolerance")
        return self.failures == 0


def compare_reference(maker, build, folder):
    """The reference network three ways, in both layouts."""
    filters, openvino, bare = Agreement(), Agreement(), Agreement()
    for layout in ("chw", "hwc"):
        description = (SOURCE / "models/reference.engine.toml").read_text(encoding="utf-8")
        if layout == "hwc":
            description = interleaved_description(description)
        description_path, model_path = folder / f"{layout}.engine.toml", folder / f"{layout}.onnx"
        description_path.write_text(description, encoding="utf-8")
        parameters = maker.read_parameters(description_path)
        model = maker.make_model(parameters, layout)
        onnx.save(model, model_path)
        session = open_session(model)
        own = open_engine(build, description_path, layout)
        by_openvino = open_engine(build, model_path, layout)
        for name, color, depth in cases():
            expected = run_onnx_runtime(session, layout, color, depth)
            filtered = run_board(own, color, depth)
            filters.compare(f"guided filter, {name} ({layout})", expected, filtered)
            if name == "sample":
                without = open_session(maker.make_model(parameters, layout, with_confidence=False))
                alone, _ = run_onnx_runtime(without, layout, color, depth)
                bare.compare(f"without confidence, {name} ({layout})", expected, (alone, expected[1]))
            ran = run_board(by_openvino, color, depth)
            openvino.compare(f"OpenVINO, {name} ({layout})", expected, ran)
            openvino.compare(f"OpenVINO and guided filter, {name} ({layout})", filtered, ran)
    return all([filters.report("guided filter and ONNX Runtime"), openvino.report("OpenVINO and each of them"),
                bare.report("the model without confidence")])


def compare_networks(build, folder):
    """The networks of onnx_models.py in ONNX Runtime and on the emulated board."""
    agreement = Agreement(has_holes=False)
    sizes = {name: (color, depth) for name, color, depth in cases() if name in (
        "sample", "sample, 101 x 77", "full range with holes, 33 x 17", "full range, 479 x 639")}
    for name, model in onnx_models.make_models().items():
        layout = "hwc" if name == "interleaved colour" else "chw"
        onnx.save(model, folder / "network.onnx")
        session = open_session(model)
        engine = open_engine(build, folder / "network.onnx", layout)
        for size, (color, depth) in sizes.items():
            if name == "fixed size" and size != "sample":
                continue
            agreement.compare(f"{name}, {size}", run_onnx_runtime(session, layout, color, depth),
                              run_board(engine, color, depth))
    return agreement.report("OpenVINO and ONNX Runtime on other networks")


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
        folder = pathlib.Path(folder)
        results = [compare_reference(maker, build, folder), compare_networks(build, folder),
                   inspect(build, maker, folder)]
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
