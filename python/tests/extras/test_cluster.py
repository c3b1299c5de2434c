"""Many recordings on a real Ray cluster of this machine."""

from __future__ import annotations

import os
import pathlib
import re
import signal
import subprocess
import sys
import time

import numpy as np
import pytest
from PIL import Image

PROJECT = pathlib.Path(__file__).parents[3]
RECORDINGS, FRAMES = 4, 10


@pytest.fixture
def root(tmp_path: pathlib.Path) -> pathlib.Path:
    color = np.asarray(Image.open(PROJECT / "samples" / "color.png").convert("RGB"))[:240, :320]
    depth = np.asarray(Image.open(PROJECT / "samples" / "depth.png")).astype(np.uint16)[:240, :320]
    for recording in range(RECORDINGS):
        for frame in range(FRAMES):
            for name, image in (("color", color), ("depth", depth)):
                path = tmp_path / "in" / f"r{recording}" / name / f"{frame}.png"
                path.parent.mkdir(parents=True, exist_ok=True)
                Image.fromarray(np.roll(image, 40 * recording + frame, 1)).save(path, compress_level=1)
    return tmp_path / "in"


def command(root: pathlib.Path, out: pathlib.Path, workers: int) -> list[str]:
    engine = PROJECT / "models" / "reference.engine.toml"
    return [sys.executable, "-m", "enhance_depth", "dataset", str(root), str(out), "--engine", str(engine)] + [
        "--workers",
        str(workers),
    ]


def worker_at_work(out: pathlib.Path) -> "tuple[int, pathlib.Path] | None":
    """A worker in the middle of a recording, by the lock that it has open, and what is there of the recording."""
    for lock in out.glob(".*.lock"):
        partial = lock.with_suffix(".partial")
        if not 1 <= len(list(partial.glob("depth/[0-9].png"))) < FRAMES // 2:
            continue
        for descriptor in pathlib.Path("/proc").glob("[0-9]*/fd/*"):
            try:
                if os.readlink(descriptor) == str(lock):
                    return int(descriptor.parts[2]), partial
            except OSError:
                continue
    return None


def content(folder: pathlib.Path) -> dict[str, bytes]:
    return {str(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def test_a_worker_that_is_killed_loses_nothing_and_nothing_is_done_twice(
    root: pathlib.Path, tmp_path: pathlib.Path
) -> None:
    alone, shared = tmp_path / "alone", tmp_path / "shared"
    subprocess.run(command(root, alone, 0), check=True, capture_output=True, timeout=300)

    with subprocess.Popen(command(root, shared, 2), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as run:
        deadline = time.monotonic() + 240
        while (found := worker_at_work(shared)) is None:
            assert run.poll() is None and time.monotonic() < deadline, "no worker was met at work"
            time.sleep(0.005)
        worker, partial = found
        os.kill(worker, signal.SIGKILL)
        done = {path.name: path.stat() for path in partial.glob("depth/[0-9].png")}
        output, errors = run.communicate(timeout=300)
    assert run.returncode == 0, errors

    assert content(shared) == content(alone)
    recording = shared / partial.name[1 : -len(".partial")]
    for name, before in done.items():
        after = (recording / "depth" / name).stat()
        assert (after.st_ino, after.st_mtime_ns) == (before.st_ino, before.st_mtime_ns), f"{name} was made twice"
    frames, kept = (int(re.search(pattern, output)[1]) for pattern in (r"frames +(\d+),", r"recordings, (\d+) frames"))
    assert len(done) <= kept < FRAMES and frames + kept == RECORDINGS * FRAMES
    assert f"Refined {RECORDINGS} of {RECORDINGS} recordings" in output


def test_a_cluster_that_is_not_there_is_named(root: pathlib.Path, tmp_path: pathlib.Path) -> None:
    arguments = [*command(root, tmp_path / "out", 1), "--address", "127.0.0.1:1"]
    ended = subprocess.run(arguments, capture_output=True, text=True, timeout=60)
    assert ended.returncode == 1
    assert "enhance_depth: the Ray cluster at 127.0.0.1:1 cannot be joined: " in ended.stderr
