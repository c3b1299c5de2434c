"""What holds for the network whatever its weights: sizes, units, missing depth, planes, half precision, the ONNX model."""

import json
import pathlib

import numpy as np
import pytest

torch = pytest.importorskip("torch")
onnx = pytest.importorskip("onnx")
onnxruntime = pytest.importorskip("onnxruntime")

import train
from training import half, holes, loss, network
from training.export import export


@pytest.fixture(name="refiner", scope="module")
def fixture_refiner():
    torch.manual_seed(3)
    return network.Refiner().eval()


@pytest.fixture(name="model", scope="module")
def fixture_model(refiner, tmp_path_factory):
    path = tmp_path_factory.mktemp("model") / "refiner.onnx"
    export(refiner, path)
    return onnx.load(path)


def run(model, rgb, dep, **options):
    settings = onnxruntime.SessionOptions()
    settings.intra_op_num_threads = 1
    settings.log_severity_level = 3
    for name, value in options.items():
        setattr(settings, name, value)
    session = onnxruntime.InferenceSession(model.SerializeToString(), settings, providers=["CPUExecutionProvider"])
    return [output[0, 0] for output in session.run(["pred", "confidence_output"], {"rgb": rgb, "dep": dep})]


def room(height, width, seed=0):
    """A wall that comes nearer to the right with a dark object before it, and a part without depth; random colours."""
    rng = np.random.default_rng(seed)
    rgb = rng.integers(150, 170, (1, 3, height, width), dtype=np.uint8)
    dep = np.broadcast_to(np.linspace(3000, 2000, width, dtype=np.float32), (1, 1, height, width)).copy()
    rgb[..., 20:40, 20:40], dep[..., 20:40, 20:40] = 40, 1000
    dep[..., 25:50, 35:50] = 0
    dep[rng.random(dep.shape) < 0.05] = 0
    return rgb, dep


def test_the_model_meets_the_contract_at_its_size(refiner, model):
    onnx.checker.check_model(model, full_check=True)
    tensors = {value.name: (value.type.tensor_type.elem_type, [d.dim_param or d.dim_value for d in value.type.tensor_type.shape.dim])
               for value in [*model.graph.input, *model.graph.output]}
    plane = [1, 1, "height", "width"]
    assert tensors == {"rgb": (onnx.TensorProto.UINT8, [1, 3, "height", "width"]), "dep": (onnx.TensorProto.FLOAT, plane),
                       "pred": (onnx.TensorProto.FLOAT, plane), "confidence_output": (onnx.TensorProto.FLOAT, plane)}
    assert sum(p.numel() for p in refiner.parameters()) <= 1_500_000
    assert model.ByteSize() <= 4_000_000


def test_the_model_that_comes_along_is_this_network_with_other_weights(model):
    shipped = onnx.load(pathlib.Path(train.__file__).with_name("refiner.onnx"))
    bookkeeping = {"Constant", "Identity", "Pad"}  # of which releases of PyTorch write more or fewer
    operators, expected = ([node.op_type for node in each.graph.node if node.op_type not in bookkeeping]
                           for each in (shipped, model))
    assert operators == expected
    rgb, dep = room(65, 97)
    (pred, _), (untrained, _) = run(shipped, rgb, dep), run(model, rgb, dep)
    assert (pred != untrained).mean() > 0.5
    hidden = (dep[0, 0] == 0) & (pred > 0)
    wall = np.broadcast_to(np.linspace(3000, 2000, 97), (65, 97))
    assert np.median(np.abs(pred / wall - 1)[hidden]) < 0.01


# Operators for which onnx-tensorrt 10.3 has a layer (its docs/operators.md), of those that the exporter writes.
OPERATORS = set("""Abs Add AveragePool Cast Clip Concat Constant ConstantOfShape Conv DepthToSpace Div Exp Gather Greater
    GreaterOrEqual Identity Log Max MaxPool Min Mul Neg Pad ReduceMax ReduceMean ReduceSum Relu Reshape Resize Shape Sigmoid
    Slice Softmax Split Sub Transpose Unsqueeze Where""".split())


def test_tensorrt_has_a_layer_for_every_node(model):
    assert {node.op_type for node in model.graph.node} <= OPERATORS
    assert [node.op_type for node in model.graph.node if "rgb" in node.input] == ["Cast"]  # UINT8 is an input's type only
    for node in model.graph.node:
        if node.op_type == "Resize":
            options = {attribute.name: attribute.s.decode() for attribute in node.attribute if attribute.s}
            assert (options["mode"], options["coordinate_transformation_mode"]) in {
                ("nearest", "asymmetric"), ("linear", "half_pixel")}
            assert len(node.input) == 3  # scales, which are constants, and no sizes


@pytest.mark.parametrize("height, width", [(64, 64), (65, 97), (96, 128), (127, 66)])
def test_every_size_gives_every_pixel(refiner, model, height, width):
    rgb, dep = room(height, width)
    pred, confidence = run(model, rgb, dep)
    assert pred.shape == confidence.shape == (height, width)
    assert np.isfinite(pred).all() and confidence.min() >= 0 and confidence.max() <= 1
    assert ((pred == 0) == (confidence < np.float32(0.4))).all()
    if height % network.MULTIPLE == width % network.MULTIPLE == 0:
        with torch.no_grad():
            depth, expected = refiner(torch.from_numpy(rgb), torch.from_numpy(dep))
        np.testing.assert_allclose(confidence, expected[0, 0], atol=1e-4)
        np.testing.assert_allclose(pred[pred > 0], depth[0, 0].numpy()[pred > 0] + 0.5, rtol=1e-4)


@pytest.mark.parametrize("factor", [0.02, 0.2, 15])
def test_the_unit_of_depth_does_not_matter(model, factor):
    rgb, dep = room(64, 96)
    (pred, confidence), (scaled, other) = run(model, rgb, dep), run(model, rgb, dep * np.float32(factor))
    np.testing.assert_allclose(other, confidence, atol=1e-3)
    both = (pred > 0) & (scaled > 0)
    assert both.mean() > 0.5
    np.testing.assert_allclose(scaled[both] - 0.5, (pred[both] - 0.5) * factor, rtol=2e-3)


def test_where_nothing_is_known_nothing_is_claimed(model):
    rgb, dep = room(64, 96)
    for extreme in (np.zeros_like(dep), np.full_like(dep, 65535), np.where(np.arange(96) == 7, dep, 0),
                    np.where(dep > 0, np.where(np.arange(96) % 2, 1, 65535), 0)):
        for fewer in (extreme, extreme * (np.arange(64) == 9)[:, None]):
            pred, confidence = run(model, rgb, fewer.astype(np.float32))
            assert np.isfinite(pred).all() and np.isfinite(confidence).all()
            if not fewer.any():
                assert not pred.any() and not confidence.any()


def test_half_precision_holds_it(model):
    """Rounded to 16 bits the untrained network's depth moves by what 16 bits resolve, whatever the unit."""
    off = onnxruntime.GraphOptimizationLevel.ORT_DISABLE_ALL
    rounded = half.rounded(model)
    assert sum(node.op_type == "Cast" for node in rounded.graph.node) > 500
    for factor, size in ((0.05, (64, 96)), (1, (288, 256)), (20, (64, 96))):  # the second has more pixels than 65504
        rgb, dep = room(*size)
        dep = np.minimum(dep * np.float32(factor), 65535)
        pred, confidence = run(model, rgb, dep)
        halved, other = run(rounded, rgb, dep, graph_optimization_level=off)
        both = (pred > 0) & (halved > 0)
        assert both.mean() > 0.5 and np.abs(other - confidence).mean() < 0.01
        error = np.abs(halved / pred - 1)[both]
        assert 1e-5 < error.mean() < 1e-3  # the lower bound: it was rounded at all


def test_planes_are_continued_exactly_whatever_the_weights():
    torch.manual_seed(0)
    level = network.Propagation(1)
    height, width = 24, 32
    y, x = torch.meshgrid(torch.arange(height), torch.arange(width), indexing="ij")
    plane = (0.01 * x - 0.02 * y).view(1, 1, height, width)
    slope = torch.tensor([0.01, -0.02]).view(1, 2, 1, 1).expand(1, 2, height, width) / 2**level.level
    share = (torch.rand(1, 1, height, width) < 0.5).float()
    value, _, _ = level(torch.randn(1, 9, height, width), torch.randn(1, level.GUIDES, height, width),
                        torch.rand(1, 3, height, width), plane, torch.full_like(plane, 0.1), plane, share,
                        torch.zeros_like(plane), slope)
    np.testing.assert_allclose(value.detach(), plane, atol=2e-4)
    finer = network.Refiner._finer(plane, slope, 0)[0, 0]
    # A plane's values lie half a fine pixel off the coarse centres.
    expected = 0.005 * (torch.arange(2 * width) - 0.5) - 0.01 * (torch.arange(2 * height) - 0.5)[:, None]
    np.testing.assert_allclose(finer, expected, atol=1e-5)


def test_sharpening_ends_the_ramp_between_two_surfaces_and_leaves_planes_and_measured_pixels():
    columns = torch.arange(40.0).expand(1, 1, 12, 40)
    ramp = 0.3 * torch.clamp((columns - 17) / 6, 0, 1)
    level, hidden = torch.zeros(1, 2, 12, 40), torch.zeros(1, 1, 12, 40)

    def hanging(value):
        return int(((value[0, 0, 6] > 0.06) & (value[0, 0, 6] < 0.24)).sum())

    result = ramp
    for _ in range(network.SHARPENINGS):
        result = network.sharpened(result, hidden, level)
    assert hanging(ramp) == 3 and hanging(result) <= 1
    assert (result - ramp).abs().max() < 0.15 and torch.equal(result[..., :15], ramp[..., :15])
    assert torch.equal(network.sharpened(ramp, hidden + 1, level), ramp)
    plane, slope = 0.03 * columns, level + torch.tensor([0.03, 0]).view(1, 2, 1, 1)
    assert torch.equal(network.sharpened(plane, hidden, slope), plane)
    assert not torch.equal(network.sharpened(plane, hidden, level), plane)


def test_confidence_falls_where_a_measured_pixel_is_contradicted_and_where_a_hidden_one_lies_on_an_edge():
    x = torch.zeros(1, 1, 8, 8)
    x[..., 4:] = 0.1
    value, measured = x.clone(), torch.ones_like(x)
    value[..., 1, 1] = -0.02
    expected = torch.zeros(8, 8)
    expected[1, 1] = 0.8  # and nothing at the edge, which was measured
    assert torch.allclose(network.doubt(value, x, measured)[0, 0], expected, atol=1e-6)
    doubt = network.doubt(x, 0 * x, 1 - measured)[0, 0]
    assert torch.allclose(doubt, 0.3 * torch.tensor([0, 0, 0, 1.0, 1, 0, 0, 0]).expand(8, 8), atol=1e-6)
    assert network.doubt(9 * x, 0 * x, measured).max() == 2 and network.doubt(9 * x, x, 1 - measured).max() <= 0.61


def test_depth_spreads_along_colour_before_any_training(refiner):
    """A hole over the border of two surfaces that differ in colour: each side gets its own depth."""
    color = torch.full((1, 3, 64, 64), 60, dtype=torch.uint8)
    color[..., 32:] = 200
    truth = torch.full((1, 1, 64, 64), 1000.0)
    truth[..., 32:] = 1500
    dep = truth.clone()
    dep[..., 24:40, 27:37] = 0
    depth, _ = refiner(color, dep)
    error = (depth / truth - 1).abs()[0, 0, 24:40, 27:37]
    assert error.mean() < 0.008  # 0.014 without colour


def test_holes_lie_where_their_kind_says():
    truth = torch.full((1, 1, 40, 60), 2.0)
    truth[..., 20:30] = 1.0
    columns = {"far": holes.far_side(truth, 3), "both": holes.both_sides(truth, 3), "right": holes.beside(truth, 5),
               "left": holes.beside(truth, -5)}
    expected = {"far": [*range(17, 20), *range(30, 33)], "both": [*range(17, 23), *range(27, 33)],
                "right": range(30, 35), "left": range(15, 20)}
    for name, mask in columns.items():
        assert np.flatnonzero(mask[0, 0].all(0)).tolist() == list(expected[name]) == \
            np.flatnonzero(mask[0, 0].any(0)).tolist(), name
    first, again = (holes.hide(torch.Generator().manual_seed(7), truth.repeat(8, 1, 1, 1)) for _ in range(2))
    assert torch.equal(first, again) and 0.02 < first.float().mean() < 0.7


def test_loss_is_least_at_the_truth_and_confidence_follows_the_error():
    target = torch.linspace(0, 0.3, 32).expand(1, 1, 32, 32).contiguous()
    mask = (torch.arange(32) % 2).float().expand(1, 1, 32, 32)
    slope = torch.full((1, 2, 16, 16), 0.0)
    slope[:, 0] = 0.3 / 31
    parts = {"values": [target, network.halved(target)], "slopes": [None, slope], "confidence": torch.full_like(target, 9.0),
             "mask": mask, "mean": torch.tensor(1000.0), "x": target * mask}
    truth = 1000 * torch.exp(target)
    least, terms = loss.loss(parts, truth)
    assert float(least) < 0.001, terms
    for name, change in (("values", [target + 0.01, network.halved(target)]),
                         ("values", [target, network.halved(target) + 0.01]),
                         ("slopes", [None, slope + 0.001]), ("confidence", -parts["confidence"])):
        assert float(loss.loss({**parts, name: change}, truth)[0]) > float(least) + 0.001, name
    assert loss.trustworthiness(torch.tensor([0.001, 0.03, 0.07, 1])).tolist() == pytest.approx([1, 0.6, 0.4, 0])


def test_training_from_nothing_writes_a_model_and_goes_on_after_an_interruption(tmp_path, monkeypatch, capsys):
    for name, value in {"SHARD": 4, "WIDTH": 64, "HEIGHT": 64, "CHECK_FRAMES": 2}.items():
        monkeypatch.setattr(train, name, value)
    command = ["--work", str(tmp_path), "--output", str(tmp_path / "refiner.onnx"), "--frames", "1", "--batch", "2",
               "--threads", "1", "--report-every", "2", "--check-every", "2"]

    def trained(steps):
        train.main([*command, "--steps", str(steps)])
        return [json.loads(line) for line in (tmp_path / "log.jsonl").read_text().splitlines()]

    log = trained(4)
    assert [line["step"] for line in log] == [2, 4] and all("hidden_%" in line["check"] for line in log)
    frames = {path: path.stat().st_mtime_ns for path in (tmp_path / "frames").iterdir()}
    assert [line["step"] for line in trained(6)] == [2, 4, 6]
    assert "going on from step 4" in capsys.readouterr().out
    assert frames == {path: path.stat().st_mtime_ns for path in (tmp_path / "frames").iterdir()}
    onnx.checker.check_model(onnx.load(tmp_path / "refiner.onnx"), full_check=True)
    with pytest.raises(SystemExit):
        train.parse([*command, "--seed", "9001"])
    assert "kept for checks" in capsys.readouterr().err
