"""Bags of every kind, refined and read back."""

from __future__ import annotations

import io
import math
import os
import pathlib
import re
import signal
import struct
import subprocess
import sys
from typing import Any, Callable

import numpy as np
import pytest
from mcap.reader import make_reader
from PIL import Image
from rosbags.highlevel import AnyReader
from rosbags.typesys import Stores, get_typestore

import enhance_depth
from enhance_depth.bags import messages, refinement
from enhance_depth.bags.registration import Camera, Registration
from enhance_depth.bags.storage import Bag
from enhance_depth.commands import main
from enhance_depth.support.errors import UserError
from enhance_depth.support.pairing import pair

from bag_maker import COLOR, DEPTH, FRAME, START, STEP, BagMaker, Form

PROJECT = pathlib.Path(__file__).parents[3]
REFERENCE = PROJECT / "models" / "reference.engine.toml"
SIZE = (80, 60)
KINDS = {"ros1": "in.bag", "sqlite3": "in", "mcap": "in"}
Frames = "list[tuple[np.ndarray, np.ndarray]]"


@pytest.fixture(scope="module")
def frames() -> Frames:
    """Two frames that differ, of the project's own sample."""
    color = np.asarray(Image.open(PROJECT / "samples" / "color.png").convert("RGB"))
    depth = np.asarray(Image.open(PROJECT / "samples" / "depth.png")).astype(np.uint16)
    width, height = SIZE
    places = [(200, 250), (100, 40)]
    return [(color[y : y + height, x : x + width], depth[y : y + height, x : x + width]) for y, x in places]


def run(*arguments: object) -> int:
    return main([str(argument) for argument in arguments])


def write_bag(
    path: pathlib.Path, kind: str, frames: Frames, form: Form = Form(), compression: str = "", **of: Any
) -> None:
    """Colour and depth 1 ms apart, and what else a robot records."""
    with BagMaker(path, kind, compression) as bag:
        for index, (color, depth) in enumerate(frames):
            stamp = START + index * STEP
            bag.color(stamp, color, form, **{"frame": of.get("color_frame", FRAME)})
            bag.text("/chatter", stamp + 1, f"message {index}")
            bag.info("/camera/depth/camera_info", stamp + 2, SIZE, [50, 0, 40, 0, 50, 30, 0, 0, 1])
            bag.depth(stamp + 1_000_000, depth, form)


def read_bag(path: pathlib.Path) -> dict[str, list[tuple[int, bytes, Any]]]:
    with AnyReader([path]) as reader:
        found: dict[str, list[tuple[int, bytes, Any]]] = {}
        for connection, time, raw in reader.messages():
            found.setdefault(connection.topic, []).append((time, raw, reader.deserialize(raw, connection.msgtype)))
        return found


def tool_on_files(
    folder: pathlib.Path, color: np.ndarray, depth: np.ndarray, kind: str
) -> tuple[np.ndarray, np.ndarray]:
    """What the command-line tool makes of the frame in image files."""
    names = [folder / name for name in (f"color.{kind}", "depth.png", "refined.png", "confidence.tiff")]
    Image.fromarray(color).save(names[0])
    Image.fromarray(depth).save(names[1])
    command = [os.environ["ENHANCE_DEPTH_TOOL"], "refine", "--engine", REFERENCE]
    for option, name in zip(("--color", "--depth", "--output", "--confidence"), names):
        command += [option, name]
    subprocess.run(command, check=True, capture_output=True, timeout=60)
    return np.asarray(Image.open(names[2])).astype(np.uint16), np.asarray(Image.open(names[3]))


@pytest.mark.parametrize(
    ("kind", "compression", "form"),
    [
        ("ros1", "", Form("rgb8", "16UC1")),
        ("ros1", "BZ2", Form("bgr8", "mono16", big_endian=True, padding=6)),
        ("ros1", "LZ4", Form("png", "16UC1 compressedDepth")),
        ("sqlite3", "", Form("rgba8", "16UC1", padding=16)),
        ("sqlite3", "MESSAGE", Form("bgra8", "32FC1", big_endian=True, padding=12)),
        ("mcap", "", Form("bgra8", "16UC1", big_endian=True, padding=2)),
        ("mcap", "STORAGE", Form("jpeg", "16UC1 compressed")),
        ("mcap", "FILE", Form("mono8", "32FC1")),
    ],
)
def test_the_depth_is_what_the_tool_makes_of_the_same_images(
    tmp_path: pathlib.Path, frames: Frames, kind: str, compression: str, form: Form
) -> None:
    source, target = tmp_path / KINDS[kind], tmp_path / KINDS[kind].replace("in", "out")
    write_bag(source, kind, frames, form, compression)
    assert run("bag", source, target, "--engine", REFERENCE) == 0
    before, after = read_bag(source), read_bag(target)
    with Bag(source) as one, Bag(target) as other:
        assert other.compression == one.compression == compression
        chatter = [bag.connections_of("/chatter")[0] for bag in (one, other)]
        assert (chatter[0].ext, chatter[0].msgdef, chatter[0].digest) == (
            chatter[1].ext,
            chatter[1].msgdef,
            chatter[1].digest,
        )
    for topic, content in before.items():
        assert [entry[:2] for entry in after[topic]] == [entry[:2] for entry in content], topic
    transport = DEPTH + (f"/{form.depth.partition(' ')[2]}" if " " in form.depth else "")
    new = {transport.replace(DEPTH, f"{DEPTH}/refined"), f"{DEPTH}/confidence", f"{DEPTH}/camera_info"}
    assert after.keys() - before.keys() == new
    assert [entry[:2] for entry in after[f"{DEPTH}/camera_info"]] == [
        entry[:2] for entry in before["/camera/depth/camera_info"]
    ]
    for index, (color, depth) in enumerate(frames):
        shown = np.repeat(color[:, :, 1:2], 3, axis=2) if form.color == "mono8" else color
        expected = tool_on_files(tmp_path, shown, depth, "jpg" if form.color == "jpeg" else "png")
        time, _, original = before[transport][index]
        refined_time, _, refined = after[transport.replace(DEPTH, f"{DEPTH}/refined")][index]
        confidence_time, _, confidence = after[f"{DEPTH}/confidence"][index]
        assert time == refined_time == confidence_time
        for message in (refined, confidence):
            assert (message.header.stamp, message.header.frame_id) == (original.header.stamp, FRAME)
        if " " in form.depth:
            assert refined.format == original.format
        else:
            assert (refined.encoding, refined.is_bigendian) == (original.encoding, original.is_bigendian)
            assert (refined.width, refined.height) == SIZE
        np.testing.assert_array_equal(messages.decode_depth(refined, "refined")[0], expected[0])
        assert (confidence.encoding, confidence.step) == ("32FC1", 4 * SIZE[0])
        np.testing.assert_array_equal(confidence.data.view("<f4").reshape(SIZE[::-1]), expected[1])


def test_the_result_opens_in_other_programs(tmp_path: pathlib.Path, frames: Frames) -> None:
    write_bag(tmp_path / "in", "mcap", frames)
    single = tmp_path / "out.mcap"
    assert run("bag", tmp_path / "in" / "in.mcap", single, "--engine", REFERENCE) == 0
    with single.open("rb") as stream:
        reader = make_reader(stream, validate_crcs=True)
        seen = [(schema.name, channel.topic, message.data) for schema, channel, message in reader.iter_messages()]
        assert len(seen) == 7 * len(frames)
        assert {name for name, topic, _ in seen if topic.startswith(f"{DEPTH}/")} == {
            messages.IMAGE,
            messages.CAMERA_INFO,
        }
        schemas = reader.get_summary().schemas.values()
        assert all(
            schema.encoding == "ros2msg" and b"uint32 height" in schema.data
            for schema in schemas
            if "Im" in schema.name
        )
    command = [sys.executable, "-m", "rosbags.convert", "--src", single, "--dst", tmp_path / "converted.bag"]
    subprocess.run(command, check=True, capture_output=True, timeout=60)
    assert len(read_bag(tmp_path / "converted.bag")[f"{DEPTH}/refined"]) == len(frames)


def sum_of(color: np.ndarray, depth: np.ndarray) -> np.ndarray:
    """What the network "rgb-sum" makes of a frame."""
    return np.minimum(color.astype(np.int64) @ np.array([1, 2, 4]) + depth, 65535).astype(np.uint16)


@pytest.mark.parametrize("room", [1 << 20, 100])
def test_pairs_are_found_by_stamp_wherever_they_are_in_the_bag(
    tmp_path: pathlib.Path, make_engine: Callable[..., pathlib.Path], monkeypatch: pytest.MonkeyPatch, room: int
) -> None:
    monkeypatch.setattr(refinement, "_BYTES_THAT_WAIT", room)
    random = np.random.default_rng(1)
    stamps = [START + index * STEP for index in range(6)]
    colors = [random.integers(0, 256, (4, 6, 3), np.uint8) for _ in stamps]
    depths = [random.integers(1, 9000, (4, 6), np.uint16) for _ in stamps]
    form = Form()
    with BagMaker(tmp_path / "in", "sqlite3") as bag:
        # Recorded in another order than taken, two of each at one time; the last of each is alone.
        for order, index in enumerate([2, 0, 1, 4, 3]):
            bag.color(stamps[index] + 3_000_000, colors[index], form, time=START + order // 2 + 1)
        for order, index in enumerate([1, 3, 0, 2, 5]):
            bag.depth(stamps[index], depths[index], form, time=START + order // 2 + 2)
    assert run("bag", tmp_path / "in", tmp_path / "out", "--engine", make_engine()) == 0
    after = read_bag(tmp_path / "out")
    results = {
        message.header.stamp.sec * 10**9 + message.header.stamp.nanosec: message
        for _, _, message in after[f"{DEPTH}/refined"]
    }
    assert sorted(results) == stamps[:4]
    for stamp, color, depth in zip(stamps[:4], colors, depths):
        np.testing.assert_array_equal(results[stamp].data.view("<u2").reshape(4, 6), sum_of(color, depth))


def test_each_image_has_the_nearest_partner_and_no_other() -> None:
    assert pair([10, 20, 30], [19, 12, 50], 15) == {1: 0, 0: 1}
    assert pair([10, 20], [15], 5) == {0: 0}
    assert pair([10, 20], [15], 4) == {}
    assert pair([20], [15], 5) == {0: 0}
    assert pair([0, 6, 9], [5, 8, 100], 10**18) == {1: 0, 2: 1, 0: 2}, "what is between them is taken first"


@pytest.mark.parametrize("little_endian", [True, False])
def test_stamps_are_read_in_either_order_of_bytes(little_endian: bool) -> None:
    store = get_typestore(Stores.LATEST)
    stamp = store.types["builtin_interfaces/msg/Time"](START // 10**9, 123)
    header = store.types["std_msgs/msg/Header"](stamp, FRAME)
    raw = bytes(store.serialize_cdr(header, header.__msgtype__, little_endian=little_endian))
    assert messages.stamp_of(raw, is_ros2=True) == START + 123


def test_images_without_stamps_are_paired_by_the_time_of_recording(
    tmp_path: pathlib.Path, frames: Frames, capsys: pytest.CaptureFixture[str]
) -> None:
    with BagMaker(tmp_path / "in", "mcap") as bag:
        for index, (color, depth) in enumerate(frames):
            bag.color(0, color, Form(), time=START + index * STEP)
            bag.depth(0, depth, Form(), time=START + index * STEP + 5)
    assert run("bag", tmp_path / "in", tmp_path / "out", "--engine", REFERENCE) == 0
    assert len(read_bag(tmp_path / "out")[f"{DEPTH}/refined"]) == 2
    assert "paired by the time of recording" in capsys.readouterr().err


def test_a_frame_that_cannot_be_read_is_named_and_left_out(
    tmp_path: pathlib.Path, frames: Frames, capsys: pytest.CaptureFixture[str]
) -> None:
    for name, good in (("some", 1), ("none", 0)):
        with BagMaker(tmp_path / f"{name}.bag", "ros1") as bag:
            for index, (color, depth) in enumerate(frames):
                stream = io.BytesIO()
                Image.fromarray(color).save(stream, "PNG")
                content = stream.getvalue() if index < good else stream.getvalue()[:300]
                header = bag.header(START + index * STEP)
                bag._compressed(f"{COLOR}/compressed", header, "rgb8; png compressed bgr8", content, 0)
                bag.depth(START + index * STEP, depth, Form())
    assert run("bag", tmp_path / "some.bag", tmp_path / "out.bag", "--engine", REFERENCE) == 1
    assert "enhance_depth: not refined: frame 1: an image of /camera/color/image_raw/compressed is damaged" in capsys.readouterr().err
    assert len(read_bag(tmp_path / "out.bag")[f"{DEPTH}/refined"]) == 1
    assert run("bag", tmp_path / "none.bag", tmp_path / "nothing.bag", "--engine", REFERENCE) == 1
    assert "none of 2 pairs could be refined: frame 0: " in capsys.readouterr().err
    assert not (tmp_path / "nothing.bag").exists()


Z, BOX = 2.0, 1.0


def scene(camera: tuple[int, int, float, float, float], offset: tuple[float, float]) -> np.ndarray:
    """Millimetres to a wall, and to a box of 0.4 m x 0.3 m before it, from a camera at `offset` that looks along z."""
    width, height, focal, cx, cy = camera
    v, u = np.mgrid[:height, :width]
    x, y = (u - cx) / focal * BOX + offset[0], (v - cy) / focal * BOX + offset[1]
    return np.where((abs(x) <= 0.2) & (abs(y) <= 0.15), BOX * 1000, Z * 1000).astype(np.uint16)


@pytest.mark.parametrize(("kind", "turned"), [("mcap", False), ("ros1", True)])
def test_depth_is_registered_by_calibration_and_transform(
    tmp_path: pathlib.Path, make_engine: Callable[..., pathlib.Path], kind: str, turned: bool
) -> None:
    source, target = KINDS[kind], KINDS[kind].replace("in", "out")
    depth_camera, color_camera = (64, 48, 50.0, 31.5, 23.5), (128, 96, 110.0, 63.5, 47.5)
    offset = (0.06, -0.02)  # of the colour camera, seen from the depth camera
    depth = scene(depth_camera, (0, 0))
    if turned:  # the depth camera hangs upside down
        depth = depth[::-1, ::-1]
    with BagMaker(tmp_path / source, kind) as bag:
        for name, frame, (width, height, focal, cx, cy) in (("depth", "d", depth_camera), ("color", "c", color_camera)):
            bag.info(
                f"/camera/{name}/camera_info", START, (width, height), [focal, 0, cx, 0, focal, cy, 0, 0, 1], frame
            )
        bag.transform("base", "/d", (0.5, 0, 0), (0, 0, 1, 0) if turned else (0, 0, 0, 1))
        bag.transform("base", "mount", (0.5 + offset[0], 0, 0), (0, 0, 0, 1))
        bag.transform("mount", "c", (0, offset[1], 0), (0, 0, 0, 1))
        bag.color(START, np.zeros((96, 128, 3), np.uint8), Form(), frame="c")
        bag.depth(START + 1, depth, Form(), frame="d")
    engine = make_engine()
    assert run("bag", tmp_path / source, tmp_path / target, "--engine", engine) == 2
    assert run("bag", tmp_path / source, tmp_path / target, "--engine", engine, "--register") == 0
    after = read_bag(tmp_path / target)
    (_, _, refined), (_, info, _) = after[f"{DEPTH}/refined"][0], after[f"{DEPTH}/camera_info"][0]
    assert (refined.header.frame_id, refined.width, refined.height) == ("c", 128, 96)
    assert info == after["/camera/color/camera_info"][0][1]
    registered = refined.data.view("<u2").reshape(96, 128)
    expected = scene(color_camera, offset)
    # Within a pixel of the depth camera of an edge either surface may be seen, behind the edge neither.
    sure = np.ones(expected.shape, bool)
    for shift in np.ndindex(11, 11):
        sure &= np.roll(expected, np.subtract(shift, 5), (0, 1)) == expected
    inside = (slice(6, -6), slice(6, -20))  # what the depth camera sees, too
    assert sure[inside].mean() > 0.8 and (expected[inside] == BOX * 1000).mean() > 0.1
    np.testing.assert_array_equal(registered[inside][sure[inside]], expected[inside][sure[inside]])


def test_the_nearest_of_several_surfaces_counts_and_nothing_behind_the_camera() -> None:
    depth_camera, color_camera = Camera(2, 1, 1.0, 1.0, 0.0, 0.0), Camera(1, 1, 0.001, 0.001, 0.0, 0.0)
    registration = Registration(depth_camera, color_camera, np.eye(4))
    for values, nearest in (([500, 900], 500), ([900, 500], 500), ([0, 900], 900)):
        assert registration.apply(np.array([values], np.uint16)).tolist() == [[nearest]]
    with pytest.raises(UserError, match="a depth image has 1 x 2 pixels, its CameraInfo 2 x 1"):
        registration.apply(np.array([[500], [900]], np.uint16))
    before_it = np.eye(4)
    before_it[2, 3] = -1.0
    registration = Registration(depth_camera, color_camera, before_it)
    assert registration.apply(np.array([[500, 900]], np.uint16)).tolist() == [[0]]


def test_a_distorted_image_is_straightened_and_a_straight_one_distorted() -> None:
    camera = Camera(640, 480, 500.0, 510.0, 320.0, 240.0, (-0.2, 0.05, 0.001, -0.002, 0.01))
    u, v = (grid.astype(float) for grid in np.meshgrid(np.arange(0, 640, 40), np.arange(0, 480, 40)))
    x, y = camera.unproject(u, v)
    np.testing.assert_allclose(camera.project(x, y), (u, v), atol=1e-6)
    # One point by hand: x = 0.5, y = 0, r2 = 0.25.
    radial = 1 - 0.2 * 0.25 + 0.05 * 0.0625 + 0.01 * 0.015625
    np.testing.assert_allclose(
        camera.project(np.array(0.5), np.array(0.0)),
        (500 * (0.5 * radial - 0.002 * 0.75) + 320, 510 * 0.001 * 0.25 + 240),
    )


Fill = Callable[[BagMaker, np.ndarray, np.ndarray], None]


def two_depths(bag: BagMaker, color: np.ndarray, depth: np.ndarray) -> None:
    for topic in ("/a/depth", "/b/depth"):
        bag.depth(START, depth, Form(), topic)
    bag.color(START, color, Form())


def pair_of(**of: Any) -> Fill:
    def fill(bag: BagMaker, color: np.ndarray, depth: np.ndarray) -> None:
        bag.color(START, color[: of.get("rows")], Form(), frame=of.get("frame", FRAME))
        bag.depth(START + of.get("later", 0), depth, Form())

    return fill


@pytest.mark.parametrize(
    ("fill", "arguments", "sentence"),
    [
        (two_depths, [], "2 pairs of topics can be meant; name them with --color and --depth"),
        (pair_of(frame="other"), [], "its frame is 'camera_color_optical_frame' and that of the colour 'other'"),
        (pair_of(rows=20), [], "its size is 80 x 60 and that of the colour 80 x 20"),
        (pair_of(frame="other"), ["--register"], "the bag has no CameraInfo on /camera/depth/camera_info"),
        (pair_of(later=30_000_000), [], "no image of /camera/color/image_raw is within 0.02 s"),
        (pair_of(), ["--color", DEPTH], "holds depth, not colour (encoding 16UC1); are they swapped?"),
        (pair_of(), ["--depth", "/none"], "the bag has no images on /none:\n  colour  /camera/color"),
        (pair_of(), ["--max-difference", "-1"], "--max-difference is -1;"),
    ],
)
def test_what_cannot_be_done_is_refused_with_a_sentence(
    tmp_path: pathlib.Path,
    frames: Frames,
    capsys: pytest.CaptureFixture[str],
    fill: Fill,
    arguments: list[str],
    sentence: str,
) -> None:
    with BagMaker(tmp_path / "in", "mcap") as bag:
        fill(bag, *frames[0])
    assert run("bag", tmp_path / "in", tmp_path / "out", "--engine", REFERENCE, *arguments) == 2
    error = capsys.readouterr().err
    assert sentence in error
    assert [path.name for path in tmp_path.iterdir()] == ["in"]


@pytest.mark.parametrize(
    ("name", "sentence"),
    [("out.mcap", "is a ROS 2 bag in SQLite, and so will be the output"), ("in", "exists already")],
)
def test_an_output_of_another_kind_or_that_exists_is_refused(
    tmp_path: pathlib.Path, frames: Frames, capsys: pytest.CaptureFixture[str], name: str, sentence: str
) -> None:
    write_bag(tmp_path / "in", "sqlite3", frames)
    assert run("bag", tmp_path / "in", tmp_path / name, "--engine", REFERENCE) == 2
    assert sentence in capsys.readouterr().err


def test_topics_are_listed_and_chosen(
    tmp_path: pathlib.Path, frames: Frames, capsys: pytest.CaptureFixture[str]
) -> None:
    color, depth = frames[0]
    with BagMaker(tmp_path / "in.bag", "ros1") as bag:
        bag.color(START, color, Form(), frame=f"/{FRAME}")
        bag.color(START, color, Form("jpeg"))
        bag.depth(START, depth, Form())
        bag.depth(START, depth, Form("", "16UC1 compressedDepth"))
        bag.depth(START, depth[:20, :20], Form(), "/camera/depth/raw")
        bag.depth(START, depth, Form("", "mono16"), "/camera/infra1")
    assert run("bag", tmp_path / "in.bag", "--list") == 0
    rows = [line.split()[:3] for line in capsys.readouterr().out.splitlines()]
    assert rows == [
        ["colour", COLOR, "1"],
        ["colour", f"{COLOR}/compressed", "1"],
        ["depth", DEPTH, "1"],
        ["depth", f"{DEPTH}/compressedDepth", "1"],
        ["depth", "/camera/depth/raw", "1"],
        ["depth", "/camera/infra1", "1"],
    ]
    assert run("bag", tmp_path / "in.bag", tmp_path / "out.bag", "--engine", REFERENCE) == 0
    assert f"colour   {COLOR} " in (out := capsys.readouterr().out) and f"depth    {DEPTH} " in out
    assert "unit     millimetres, as ROS has it for 16UC1" in out


def far_away(bag: BagMaker) -> None:
    bag.transform("d", "c", (100, 0, 0), (0, 0, 0, 1))


def not_a_number(bag: BagMaker) -> None:
    bag.transform("d", "c", (math.nan, 0, 0), (0, 0, 0, 1))


@pytest.mark.parametrize(
    ("transform", "size", "focal", "status", "sentence"),
    [
        (far_away, (80, 60), 60.0, 0, "no depth of frame 0 falls into the colour image: check CameraInfo and"),
        (not_a_number, (80, 60), 60.0, 2, "the transform from 'd' to 'c' is not made of numbers"),
        (far_away, (2**32 - 1, 2**32 - 1), 60.0, 2, "is of images of 4294967295 x 4294967295 pixels, and"),
        (far_away, (80, 60), math.inf, 2, "of a camera that was not calibrated"),
        (far_away, (80, 60), 1e300, 2, "times as fine as the depth, more than 8"),
    ],
)
def test_a_calibration_that_cannot_be_right_is_doubted(
    tmp_path: pathlib.Path,
    frames: Frames,
    capsys: pytest.CaptureFixture[str],
    transform: Callable[[BagMaker], None],
    size: tuple[int, int],
    focal: float,
    status: int,
    sentence: str,
) -> None:
    color, depth = frames[0]
    with BagMaker(tmp_path / "in.bag", "ros1") as bag:
        transform(bag)
        bag.info("/camera/color/camera_info", START, size, [focal, 0, 40, 0, focal, 30, 0, 0, 1], "c")
        bag.info("/camera/depth/camera_info", START, (80, 60), [60.0, 0, 40, 0, 60.0, 30, 0, 0, 1], "d")
        bag.color(START, color, Form(), frame="c")
        bag.depth(START, depth, Form(), frame="d")
    command = ["bag", tmp_path / "in.bag", tmp_path / "out.bag", "--engine", REFERENCE, "--register"]
    assert run(*command) == status
    assert sentence in capsys.readouterr().err


@pytest.mark.parametrize(
    ("factor", "sentence"), [(1, ""), (30, "which no RGB-D camera delivers"), (0, "no depth at all")]
)
def test_an_unlikely_unit_is_doubted(
    tmp_path: pathlib.Path, frames: Frames, capsys: pytest.CaptureFixture[str], factor: int, sentence: str
) -> None:
    color, depth = frames[0]
    with BagMaker(tmp_path / "in.bag", "ros1") as bag:
        for index in range(2):
            bag.color(START + index * STEP, color, Form())
            bag.depth(START + index * STEP, np.minimum(depth.astype(int) * factor, 65535).astype(np.uint16), Form())
    assert run("bag", tmp_path / "in.bag", tmp_path / "out.bag", "--engine", REFERENCE) == 0
    error = capsys.readouterr().err
    assert error.count("enhance_depth: note: ") == (1 if sentence else 0) and sentence in error


def test_damaged_messages_fail_alone(
    tmp_path: pathlib.Path, frames: Frames, capsys: pytest.CaptureFixture[str]
) -> None:
    color, depth = frames[0]
    form = "16UC1; compressedDepth png"
    damaged = [b"\0" * 5, b"\0" * 12, b"\0" * 12 + b"\x89PNG\r\n\x1a\n"] * 4
    with BagMaker(tmp_path / "in.bag", "ros1") as bag:
        for index, content in enumerate([*damaged, None]):
            bag.color(START + index * STEP, color, Form())
            if content is None:
                bag.depth(START + index * STEP, depth, Form("rgb8", "16UC1 compressedDepth"))
            else:
                bag._compressed(f"{DEPTH}/compressedDepth", bag.header(START + index * STEP), form, content, 0)
    assert run("bag", tmp_path / "in.bag", tmp_path / "out.bag", "--engine", REFERENCE) == 1
    error = capsys.readouterr().err
    assert error.count("not refined: frame ") == 10 and "not refined: 2 more" in error
    assert len(read_bag(tmp_path / "out.bag")[f"{DEPTH}/refined/compressedDepth"]) == 1


def test_a_bag_in_a_dataset_is_done_once_with_one_engine(
    tmp_path: pathlib.Path, frames: Frames, capsys: pytest.CaptureFixture[str], make_engine: Callable[..., pathlib.Path]
) -> None:
    root, out = tmp_path / "in", tmp_path / "out"
    root.mkdir()
    with BagMaker(root / "a.bag", "ros1") as bag:
        for index, rows in enumerate((None, 20)):  # the second frame is of another size and fails
            bag.color(START + index * STEP, frames[0][0], Form())
            bag.depth(START + index * STEP, frames[0][1][:rows], Form())
    command = ["dataset", root, out, "--workers", "0", "--engine"]
    for again in range(2):
        assert run(*command, REFERENCE) == 1
        said = capsys.readouterr()
        assert "a.bag: frame 1: " in said.err, "a failure is not forgotten"
        assert re.search(rf"frames +{1 - again},", said.out)
    assert sorted(os.listdir(out)) == ["a.bag", "a.bag.run.json"]
    assert run(*command, make_engine()) == 1
    assert "a.bag was made with another engine" in capsys.readouterr().err


@pytest.mark.parametrize(("kind", "number"), list(zip(KINDS, (signal.SIGINT, signal.SIGTERM, signal.SIGHUP))))
def test_nothing_is_left_of_a_run_that_ends_early(
    tmp_path: pathlib.Path,
    frames: Frames,
    monkeypatch: pytest.MonkeyPatch,
    capsys: pytest.CaptureFixture[str],
    kind: str,
    number: signal.Signals,
) -> None:
    source, target = tmp_path / KINDS[kind], tmp_path / KINDS[kind].replace("in", "out")
    write_bag(source, kind, frames)
    monkeypatch.setattr(enhance_depth.Engine, "process", lambda *_, **__: os.kill(os.getpid(), number))
    before = signal.signal(number, signal.SIG_DFL)  # a job in the background may be started with it ignored
    try:
        assert run("bag", source, target, "--engine", REFERENCE) == 1
    finally:
        signal.signal(number, before)
    assert f"ended by {number.name}" in capsys.readouterr().err
    assert [path.name for path in tmp_path.iterdir()] == [source.name]


@pytest.mark.parametrize("kind", list(KINDS))
def test_a_damaged_bag_is_refused_and_leaves_nothing(tmp_path: pathlib.Path, frames: Frames, kind: str) -> None:
    write_bag(tmp_path / KINDS[kind], kind, frames * 20)
    file = next(path for path in [tmp_path / "in.bag", *(tmp_path / "in").glob("in.*")] if path.exists())
    content = bytearray(file.read_bytes())
    content[len(content) // 2 : len(content) // 2 + 4000] = bytes(4000)
    for damaged in (bytes(content), bytes(content[: len(content) // 2]), b""):
        file.write_bytes(damaged)
        status = run("bag", tmp_path / KINDS[kind], tmp_path / KINDS[kind].replace("in", "out"), "--engine", REFERENCE)
        assert status in (1, 2) or len(damaged) == len(content)  # damage within an image need not be noticed
    assert not list(tmp_path.glob("*.part")) and not list(tmp_path.glob(".*"))


def test_quantised_inverse_depth_goes_and_comes_back() -> None:
    types = get_typestore(Stores.LATEST).types
    depth = np.array([[0, 500, 1000], [2000, 4000, 9000]], np.uint16)
    # The sender's formula: level = A / metres + B with A = 100 * 101 and B = 1 - A / 10 m.
    quantisation = struct.pack("<i2f", 0, 10100.0, 1 - 10100.0 / 10)
    form = messages.DepthForm("32FC1", format="32FC1; compressedDepth", quantisation=quantisation)
    message, message_type = messages.encode_depth(types, None, depth, form)
    assert message_type == messages.COMPRESSED
    levels = np.asarray(Image.open(io.BytesIO(bytes(message.data)[12:])))
    np.testing.assert_array_equal(levels, [[0, 19191, 9091], [4041, 1516, 113]])
    again, form_again = messages.decode_depth(message, "topic")
    assert form_again == form
    np.testing.assert_allclose(again, depth, rtol=0.01)
