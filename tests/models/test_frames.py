"""The synthetic frames: geometry compared with formulas, and what each sensor does to a known scene."""

import pathlib
import re

import numpy as np
import pytest
from PIL import Image

from training import images, recording, render, sensor, shapes
from training.samples import FrameMaker, write_shard
from training.scene import Camera, Lamp, Material, Scene
from training.textures import TextureBank

UPRIGHT = np.eye(3)
AHEAD = np.float32([[0, 0, 1]])
CENTRE = np.zeros((1, 3), np.float32)


def tilted(angle):
    return shapes.rotation([0, 1, 0], angle)


# Shape, direction of the ray from the camera, depth where it meets the shape, its normal there.
HITS = {
    "box in front": (shapes.Box([0, 0, 3], UPRIGHT, [1, 1, 0.5]), [0, 0, 1], 2.5, [0, 0, -1]),
    "box at an angle": (shapes.Box([0, 0, 3], tilted(np.pi / 4), [1, 1, 1]), [0.1, 0, 1], (3 - 2**0.5) / 0.9,
                        [0.5**0.5, 0, -(0.5**0.5)]),
    "box missed": (shapes.Box([0, 0, 3], UPRIGHT, [1, 1, 0.5]), [0.5, 0, 1], np.inf, None),
    "box behind": (shapes.Box([0, 0, -3], UPRIGHT, [1, 1, 0.5]), [0, 0, 1], np.inf, None),
    "room from inside": (shapes.Room([0, 0, 1], UPRIGHT, [2, 2, 4]), [0, 0, 1], 5, [0, 0, -1]),
    "room's side": (shapes.Room([0, 0, 1], UPRIGHT, [2, 2, 4]), [1, 0, 1], 2, [-1, 0, 0]),
    "ball": (shapes.Ellipsoid([0, 0, 4], UPRIGHT, [1, 1, 1]), [0, 0, 1], 3, [0, 0, -1]),
    "ball's side": (shapes.Ellipsoid([0.6, 0, 4], UPRIGHT, [1, 1, 1]), [0, 0, 1], 3.2, [-0.6, 0, -0.8]),
    "turned ellipsoid": (shapes.Ellipsoid([0, 0, 4], tilted(np.pi / 2), [2, 1, 1]), [0, 0, 1], 2, [0, 0, -1]),
    "cylinder's side": (shapes.Cylinder([0.3, 0, 4], UPRIGHT, [0.5, 2, 0.5]), [0, 0, 1], 3.6, [-0.6, 0, -0.8]),
    "cylinder's cap": (shapes.Cylinder([0, 2, 4], UPRIGHT, [1, 0.5, 1]), [0, 0.4, 1], 3.75, [0, -1, 0]),
    "above the cylinder": (shapes.Cylinder([0, 2, 4], UPRIGHT, [1, 0.5, 1]), [0, 0.2, 1], np.inf, None),
    "slanted plate": (shapes.Plate([0, 0, 2], tilted(np.pi / 4), [1, 1, 0]), [0.2, 0, 1], 2 / 1.2, [-(0.5**0.5), 0, -(0.5**0.5)]),
    "beside the plate": (shapes.Plate([0, 0, 2], UPRIGHT, [0.3, 1, 0]), [0.2, 0, 1], np.inf, None),
    "hole of a plate": (shapes.Plate([0, 0, 2], UPRIGHT, [1, 1, 0], lambda u, v: u > 0.5), [0.2, 0, 1], np.inf, None),
}


@pytest.mark.parametrize("name", HITS)
def test_rays_meet_shapes_where_geometry_says(name):
    shape, direction, depth, normal = HITS[name]
    direction = np.float32([direction])
    t = shape.intersect(CENTRE, direction)
    np.testing.assert_allclose(t, [depth], rtol=1e-5)
    if normal is not None:
        np.testing.assert_allclose(shape.surface(direction * t[:, None], direction)[0], [normal], atol=1e-5)


CAMERA = Camera(160, 120, 150.0, 79.5, 59.5)
NEAR, FAR = 1.2, 2.4
LEFT, RIGHT = 50, 110  # columns of the near plate's borders


def matt(infrared=0.5, gloss=0.0):
    return Material(np.float32([0.5, 0.5, 0.5]), 0, 0.0, 100.0, gloss, 20.0, infrared)


@pytest.fixture(name="bank", scope="module")
def fixture_bank():
    return TextureBank(1, count=2, cuts=1)


def plate_before_wall(bank, infrared=0.5):
    """A near plate between the columns LEFT and RIGHT, a wall behind it; and their rendering."""
    left, right = ((column - CAMERA.cx) / CAMERA.focal * NEAR for column in (LEFT - 0.5, RIGHT - 0.5))
    plate = shapes.Plate([(left + right) / 2, 0, NEAR], UPRIGHT, [(right - left) / 2, 5, 0])
    room = shapes.Room([0, 0, FAR - 4], UPRIGHT, [6, 6, 4])
    scene = Scene([room, plate], [matt(infrared), matt()], [Lamp(np.float32([0, 0, 0]), 1.0, False)], 0.5)
    return scene, render.render(np.random.default_rng(0), scene, bank, CAMERA)


def test_rendered_depth_is_that_of_plate_and_wall(bank):
    _, rendering = plate_before_wall(bank)
    np.testing.assert_allclose(rendering.depth[:, LEFT:RIGHT], NEAR, rtol=1e-5)
    np.testing.assert_allclose(rendering.depth[:, :LEFT], FAR, rtol=1e-5)
    np.testing.assert_allclose(rendering.depth[:, RIGHT:], FAR, rtol=1e-5)


def test_a_lamp_throws_shadows(bank):
    scene, _ = plate_before_wall(bank)
    points = np.float32([[0, 0, FAR], [2, 0, FAR], [0, 0, 0.5]])
    normals = np.float32([[0, 0, -1], [0, 0, -1], [0, 0, 1]])
    assert list(render.visible_from(scene, points, normals, np.float32([0, 0, 0]))) == [False, True, True]
    beyond = np.float32([0, 0, NEAR - 0.2])  # the plate lies behind this lamp
    assert render.visible_from(scene, points[2:], normals[2:], beyond).all()


@pytest.mark.parametrize("baseline", [0.08, -0.08])
def test_the_parallax_shadow_lies_on_the_far_side_and_is_as_wide_as_the_baseline_says(bank, baseline):
    scene, rendering = plate_before_wall(bank)
    device = sensor.Sensor("structured", baseline, 0.3, 9.0, 0.0)
    lost = np.mean([sensor.measure(np.random.default_rng(seed), device, scene, rendering, CAMERA.focal) == 0
                    for seed in range(30)], axis=(0, 1))
    width = CAMERA.focal * abs(baseline) * (1 / NEAR - 1 / FAR)  # pixels
    inner = max(2, int(width) - 2)
    shadow = slice(LEFT - inner, LEFT - 1) if baseline > 0 else slice(RIGHT + 1, RIGHT + inner)
    other = slice(RIGHT + 6, RIGHT + 20) if baseline > 0 else slice(LEFT - 20, LEFT - 6)
    assert lost[shadow].min() > 0.75
    assert lost[other].mean() < 0.25
    assert lost[LEFT + 8:RIGHT - 8].mean() < 0.25


@pytest.mark.parametrize("kind", ["structured", "stereo", "tof"])
def test_measured_depth_is_true_but_for_noise_and_far_noise_is_greater(bank, kind):
    scene, rendering = plate_before_wall(bank)
    device = sensor.Sensor(kind, 0.06, 0.3, 9.0, 0.0)
    near, far = [], []
    for seed in range(30):
        depth = sensor.measure(np.random.default_rng(seed), device, scene, rendering, CAMERA.focal)
        for region, errors, true in ((depth[:, LEFT + 10:RIGHT - 10], near, NEAR), (depth[:, RIGHT + 10:], far, FAR)):
            errors.append(np.median(np.abs(region[region > 0] / true - 1)))
    assert 0.0003 < np.median(near) < 0.02
    assert np.median(far) > (1.4 if kind != "tof" else 1.05) * np.median(near)
    assert np.abs(np.median(near)) < 0.02


def test_dark_surfaces_and_those_out_of_range_have_no_depth(bank):
    def measured_share(infrared, device):
        scene, rendering = plate_before_wall(bank, infrared)
        depth = sensor.measure(np.random.default_rng(4), device, scene, rendering, CAMERA.focal)
        return (depth[:, RIGHT + 25:] > 0).mean()

    usual = sensor.Sensor("structured", 0.06, 0.3, 9.0, 0.01)
    assert measured_share(0.8, usual) > 0.6
    assert measured_share(0.005, usual) < 0.02
    assert measured_share(0.8, sensor.Sensor("structured", 0.06, 0.3, FAR - 0.4, 0.01)) < 0.02
    assert measured_share(0.8, sensor.Sensor("structured", 0.06, FAR + 0.4, 9.0, 0.01)) < 0.02


def test_time_of_flight_mixes_depths_at_edges_and_steps_come_from_disparity(bank):
    _, rendering = plate_before_wall(bank)
    mixed = sensor._flying(np.random.default_rng(0), rendering.depth, 0.5)
    between = (mixed > NEAR * 1.05) & (mixed < FAR * 0.95)
    assert between[:, [LEFT - 1, LEFT, RIGHT - 1, RIGHT]].mean() > 0.3
    assert not between[:, LEFT + 1:RIGHT - 1].any()

    class Coarse:
        """Chooses the least noise and steps of a quarter pixel."""

        uniform = staticmethod(lambda low, high: low)
        random = staticmethod(lambda size=None, dtype=None: 0.0 if size is None else np.zeros(size))
        choice = staticmethod(lambda values: values[-1])
        standard_normal = staticmethod(lambda shape, dtype: np.zeros(shape, dtype))

    ramp = np.linspace(1, 2, 50, dtype=np.float32)[None]
    device = sensor.Sensor("structured", 0.05, 0.3, 9.0, 0.0)
    stepped = sensor._disparity_noise(Coarse(), device, ramp, 100.0, np.float32(0))
    steps = 100.0 * 0.05 / stepped * 4
    np.testing.assert_allclose(steps, np.rint(steps), atol=1e-3)
    assert len(np.unique(stepped)) < 15


def test_noise_is_normal_whatever_its_spacing():
    for spacing in (1, 3, 20):
        noise = np.stack([images.smooth_noise(np.random.default_rng(seed), (60, 80), spacing) for seed in range(40)])
        assert noise.mean() == pytest.approx(0, abs=0.1)
        assert noise.std() == pytest.approx(1, rel=0.1)
        neighbours = (noise[:, :, 1:] * noise[:, :, :-1]).mean()
        assert neighbours == pytest.approx(0, abs=0.05) if spacing == 1 else neighbours > 0.6


def test_filters_keep_what_they_must():
    image = np.random.default_rng(0).random((20, 30)).astype(np.float32)
    np.testing.assert_allclose(images.blur(np.full((20, 30, 3), 0.25, np.float32), 2.0), 0.25, rtol=1e-5)
    assert images.blur(image, 2.0).std() < 0.5 * image.std()
    naive = [[image[max(0, y - 2):y + 3, max(0, x - 2):x + 3].max() for x in range(30)] for y in range(20)]
    np.testing.assert_array_equal(images.window_maximum(image, 2), naive)
    np.testing.assert_array_equal(images.window_minimum(-image, 2), -np.float32(naive))
    columns = np.broadcast_to(np.arange(30), (20, 30))
    np.testing.assert_array_equal(images.shifted(columns, np.full((20, 30), 2.0), np.zeros((20, 30)))[0, [0, 10, 29]],
                                  [2, 12, 29])


def test_a_seed_gives_the_same_frames_and_another_seed_others(tmp_path):
    first, second = FrameMaker(5, 96, 64), FrameMaker(5, 96, 64)
    for _ in range(2):
        one, two = first(), second()
        for name in ("color", "depth", "truth"):
            np.testing.assert_array_equal(getattr(one, name), getattr(two, name))
        assert one.color.shape == (64, 96, 3) and one.color.dtype == np.uint8
        assert one.depth.dtype == one.truth.dtype == np.uint16 and one.truth.min() > 300
        assert (one.depth == 0).any() and (one.depth > 0).mean() >= 0.25
    assert (FrameMaker(6, 96, 64)().truth != FrameMaker(5, 96, 64)().truth).mean() > 0.5
    write_shard(tmp_path / "shard.npz", FrameMaker(5, 96, 64), 2)
    shard = np.load(tmp_path / "shard.npz")
    np.testing.assert_array_equal(shard["truth"][1], two.truth)
    assert [path.name for path in tmp_path.iterdir()] == ["shard.npz"]


def test_a_recording_holds_the_frames(tmp_path):
    recording.main([str(tmp_path), "--seed", "9002000", "--frames", "2", "--size", "96", "64"])
    maker = FrameMaker(9002000, 96, 64, whole=True)
    for name in ("00000.png", "00001.png"):
        frame = maker()
        for folder, expected in (("rgb", frame.color), ("depth", frame.depth), ("truth", frame.truth)):
            np.testing.assert_array_equal(np.array(Image.open(tmp_path / folder / name)), expected)


def test_the_sample_is_the_frame_that_its_page_names():
    """Another release of NumPy or another processor may round a value the other way."""
    samples = pathlib.Path(__file__).resolve().parents[2] / "samples"
    seed = re.search(r"--seed (\d+)", (samples / "README.md").read_text(encoding="utf-8"))[1]
    frame = FrameMaker(int(seed), 640, 480, whole=True)()
    for name, expected in (("color", frame.color), ("depth", frame.depth), ("depth_true", frame.truth)):
        assert (np.array(Image.open(samples / f"{name}.png")) != expected).mean() < 0.001, name
