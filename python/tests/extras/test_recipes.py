"""The commands of docs/recipes.md, in the order in which they stand there."""

from __future__ import annotations

import os
import pathlib
import re
import shutil
import subprocess
import sys

import numpy as np
from PIL import Image

from bag_maker import DEPTH, FRAME, START, STEP, BagMaker, Form

PROJECT = pathlib.Path(__file__).parents[3]
INFO = [60.0, 0, 40, 0, 60, 30, 0, 0, 1]


def prepare(folder: pathlib.Path) -> None:
    """What the recipes start from, small."""
    color = np.asarray(Image.open(PROJECT / "samples" / "color.png").convert("RGB"))[200:260, 250:330]
    depth = np.asarray(Image.open(PROJECT / "samples" / "depth.png")).astype(np.uint16)[200:260, 250:330]
    shutil.copy(PROJECT / "models" / "reference.engine.toml", folder / "model.engine")
    for name, kind in {
        "recording.bag": "ros1",
        "ros2_recording": "sqlite3",
        "mcap": "mcap",
        "unregistered": "mcap",
    }.items():
        frame = "depth" if name == "unregistered" else FRAME
        with BagMaker(folder / name, kind) as bag:
            bag.transform(FRAME, "depth", (0.01, 0, 0), (0, 0, 0, 1))
            bag.info("/camera/color/camera_info", START, (80, 60), INFO)
            bag.info("/camera/depth/camera_info", START, (80, 60), INFO, frame)
            for index in range(2):
                bag.color(START + index * STEP, color, Form())
                bag.depth(START + index * STEP, depth, Form(), DEPTH, frame=frame)
    (folder / "mcap" / "mcap.mcap").rename(folder / "recording.mcap")
    (folder / "unregistered" / "unregistered.mcap").rename(folder / "unregistered.mcap")
    for place in ("frames", "recordings/one", "recordings/two"):
        for name, image in (("color", color), ("depth", depth)):
            (folder / place / name).mkdir(parents=True)
            Image.fromarray(image).save(folder / place / name / "0.png")
            Image.fromarray(image).save(folder / f"{name}.png")
    shutil.copy(folder / "recording.bag", folder / "recordings" / "three.bag")


def test_every_recipe_does_what_it_says(tmp_path: pathlib.Path) -> None:
    prepare(tmp_path)
    text = (PROJECT / "docs" / "recipes.md").read_text()
    blocks = re.findall(r"^```sh\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
    programs = tmp_path / "bin"
    programs.mkdir()
    (programs / "python").write_text(f'#!/bin/sh\nexec {sys.executable} "$@"\n')
    (programs / "python").chmod(0o755)
    (programs / "enhance-depth").symlink_to(os.environ["ENHANCE_DEPTH_TOOL"])
    environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}"}
    for block in blocks:
        ended = subprocess.run(
            ["bash", "-e", "-c", block], cwd=tmp_path, env=environment, capture_output=True, text=True, timeout=300
        )
        assert ended.returncode == 0, f"{block}\n{ended.stderr}"
    made = {"refined.bag", "ros2_refined", "refined.mcap", "registered.mcap", "frames_refined", "refined.png"}
    made |= {"refined_too.png", "scaled.png", "results", "more_results"}
    assert all((tmp_path / name).exists() for name in made)
    assert sorted(os.listdir(tmp_path / "results")) == ["one", "three.bag", "three.bag.run.json", "two"]
    pixels = [np.asarray(Image.open(tmp_path / name)) for name in ("refined.png", "refined_too.png", "scaled.png")]
    np.testing.assert_array_equal(pixels[0], pixels[1])
    np.testing.assert_array_equal(pixels[0], pixels[2])
