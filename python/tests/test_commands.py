"""The command line without extras."""

from __future__ import annotations

import errno
import os
import pathlib
import struct
import zlib

import numpy as np
import pytest
from PIL import Image

from enhance_depth.commands import main
from enhance_depth.support.errors import UserError
from enhance_depth.support.output import replacing, whole_or_absent

from conftest import MakeEngine

RGB = np.random.default_rng(3).integers(0, 256, (12, 16, 3), np.uint8)
DEPTH = np.random.default_rng(4).integers(0, 9000, (12, 16), np.uint16)


@pytest.fixture
def files(tmp_path: pathlib.Path) -> dict[str, str]:
    """Images of each kind, by name."""
    kept = {
        "color.png": RGB,
        "gray.png": RGB[:, :, 0],
        "small.png": RGB[:4],
        "depth.png": DEPTH,
        "long.png": np.zeros((1, 8192), np.uint8),
        "wide.png": np.zeros((1, 8193), np.uint8),
    }
    for name, pixels in kept.items():
        Image.fromarray(pixels).save(tmp_path / name)
    (tmp_path / "cut.png").write_bytes((tmp_path / "color.png").read_bytes()[:200])
    (tmp_path / "text.png").write_text("no image")
    os.mkfifo(tmp_path / "fifo.png")
    (tmp_path / "folder.png").mkdir()
    content = (tmp_path / "depth.png").read_bytes()
    text = b"zTXt" + b"k\0\0" + zlib.compress(bytes(100 << 20), 9)  # it would need 100 MB
    chunk = struct.pack(">I", len(text) - 4) + text + struct.pack(">I", zlib.crc32(text))
    (tmp_path / "bomb.png").write_bytes(content[:33] + chunk + content[33:])
    others = ("cut.png", "text.png", "none.png", "out.png", "out.tiff", "fifo.png", "folder.png", "bomb.png")
    return {name: str(tmp_path / name) for name in (*kept, *others)}


def refine(engine: pathlib.Path, files: dict[str, str], color: str, depth: str, *more: str) -> int:
    options = ["--engine", str(engine), "--color", files[color], "--depth", files[depth], *more]
    return main(["refine", *options])


def test_a_frame_is_refined_from_files_to_files(make_engine: MakeEngine, files: dict[str, str]) -> None:
    out = ["--output", files["out.png"], "--confidence", files["out.tiff"]]
    for _ in range(2):  # the second time over the first result
        assert refine(make_engine(), files, "color.png", "depth.png", *out) == 0
    expected = np.minimum(RGB.astype(np.int64) @ np.array([1, 2, 4]) + DEPTH, 65535)
    image = Image.open(files["out.png"])
    np.testing.assert_array_equal(np.asarray(image), expected)
    assert pathlib.Path(files["out.png"]).read_bytes()[24:26] == bytes([16, 0]), "16 bits, one channel"
    np.testing.assert_allclose(np.asarray(Image.open(files["out.tiff"])), RGB[:, :, 2] / 255.0, rtol=1e-6)
    modes = [pathlib.Path(files[name]).stat().st_mode for name in ("out.png", "text.png")]
    assert modes[0] == modes[1], "others may read it as any other file"


@pytest.mark.parametrize(
    ("color", "depth", "output", "status", "sentence"),
    [
        ("none.png", "depth.png", "out.png", 2, "none.png cannot be read: No such file or directory"),
        ("text.png", "depth.png", "out.png", 2, "text.png cannot be read: it is neither a PNG nor a JPEG"),
        ("cut.png", "depth.png", "out.png", 2, "cut.png is damaged: "),
        (
            "depth.png",
            "color.png",
            "out.png",
            2,
            "depth.png has 16 bits a channel, not 8; are colour and depth swapped?",
        ),
        ("wide.png", "depth.png", "out.png", 2, "wide.png has 8193 x 1 pixels; at most 8192 a side are read"),
        ("long.png", "depth.png", "out.png", 2, "long.png has 8192 x 1 pixels and"),
        ("color.png", "gray.png", "out.png", 2, "gray.png is no PNG with one channel of 16 bits"),
        ("small.png", "depth.png", "out.png", 2, "small.png has 16 x 4 pixels and"),
        ("color.png", "depth.png", "depth.png", 2, "is the input"),
        ("fifo.png", "depth.png", "out.png", 2, "fifo.png is no regular file"),
        ("color.png", "bomb.png", "out.png", 2, "bomb.png is damaged: "),
        ("color.png", "depth.png", "out.tiff", 2, "out.tiff must end in .png"),
        ("color.png", "depth.png", "folder.png", 2, "folder.png is no file that could be replaced"),
    ],
)
def test_files_that_do_not_fit_are_refused(
    make_engine: MakeEngine,
    files: dict[str, str],
    capsys: pytest.CaptureFixture[str],
    color: str,
    depth: str,
    output: str,
    status: int,
    sentence: str,
) -> None:
    engine = make_engine()
    before = sorted(os.listdir(engine.parent))
    assert refine(engine, files, color, depth, "--output", files[output]) == status
    error = capsys.readouterr().err
    assert error.startswith("enhance_depth: ") and sentence in error
    assert sorted(os.listdir(engine.parent)) == before


def test_an_engine_that_is_refused_has_its_own_status(
    make_engine: MakeEngine, files: dict[str, str], capsys: pytest.CaptureFixture[str]
) -> None:
    assert refine(make_engine("fail"), files, "color.png", "depth.png", "--output", files["out.png"]) == 3
    assert "enhance_depth: the engine cannot be used: " in capsys.readouterr().err
    assert refine(pathlib.Path("a\x1b[2Jb"), files, "color.png", "depth.png", "--output", files["out.png"]) == 3
    assert "a\\x1b[2Jb" in capsys.readouterr().err
    out = ["--output", files["out.png"], "--confidence", files["out.tiff"]]
    assert refine(make_engine(confidence=False), files, "color.png", "depth.png", *out) == 2
    assert "delivers no confidence; leave out --confidence" in capsys.readouterr().err


def test_nothing_is_left_of_a_file_whose_writing_failed(tmp_path: pathlib.Path) -> None:
    with pytest.raises(ZeroDivisionError), replacing(tmp_path / "file") as part:
        part.write_text("half")
        1 / 0
    assert os.listdir(tmp_path) == []


@pytest.mark.parametrize("refusal", [None, errno.ENOTSUP])
def test_an_output_replaces_nothing_that_appeared_meanwhile(
    tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch, refusal: "int | None"
) -> None:
    if refusal:  # a file system without links

        def no_link(source: object, target: object) -> None:
            raise OSError(refusal, "no links")

        monkeypatch.setattr(os, "link", no_link)
    with whole_or_absent(tmp_path / "whole") as part:
        part.write_text("result")
    assert (tmp_path / "whole").read_text() == "result"
    with pytest.raises(UserError), whole_or_absent(tmp_path / "other") as part:
        part.write_text("result")
        (tmp_path / "other").write_text("of someone else")
    assert (tmp_path / "other").read_text() == "of someone else"
    (tmp_path / "link").symlink_to("nowhere")
    with pytest.raises(UserError), whole_or_absent(tmp_path / "link") as part:
        part.write_text("result")
    assert (tmp_path / "link").is_symlink()
    assert sorted(os.listdir(tmp_path)) == ["link", "other", "whole"]


def test_versions_are_told(capsys: pytest.CaptureFixture[str]) -> None:
    with pytest.raises(SystemExit, match="0"):
        main(["--version"])
    assert "library 0." in capsys.readouterr().out
