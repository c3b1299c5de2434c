"""Many recordings, in one process."""

from __future__ import annotations

import os
import pathlib
import shutil
import signal
from typing import Any, Callable

import numpy as np
import pytest
from PIL import Image

from enhance_depth import CudaError, Engine
from enhance_depth.commands import main
from enhance_depth.datasets import pool
from enhance_depth.datasets.recordings import Recording, find_recordings, frames_of
from enhance_depth.datasets.refinement import Outcome, Settings
from enhance_depth.support.errors import UserError

from conftest import MakeEngine

SIZE = (6, 8)


def write_image(path: pathlib.Path, seed: int) -> np.ndarray:
    path.parent.mkdir(parents=True, exist_ok=True)
    random = np.random.default_rng(seed)
    is_color = path.parent.name != "depth"
    pixels = random.integers(0, 256, (*SIZE, 3), np.uint8) if is_color else random.integers(1, 9000, SIZE, np.uint16)
    Image.fromarray(pixels).save(path)
    return pixels


@pytest.fixture
def root(tmp_path: pathlib.Path) -> pathlib.Path:
    """Recordings of each layout: paired by name, by order, by stamp."""
    root = tmp_path / "recordings"
    for name in ("a", "b", "d"):
        write_image(root / "named" / "rgb" / f"{name}.png", ord(name))
    for name in ("b", "c", "d"):
        write_image(root / "named" / "depth" / f"{name}.png", ord(name))
    for order, name in enumerate(("2", "10")):
        write_image(root / "deep" / "ordered" / "color" / f"c{name}.png", order)
        write_image(root / "deep" / "ordered" / "depth" / f"d{name}.png", order)
    for number in range(3):
        write_image(root / "tum" / "rgb" / f"{number}.png", number)
        write_image(root / "tum" / "depth" / f"{number}.png", number)
    (root / "tum" / "rgb.txt").write_text("# colour\n1.5 rgb/0.png\n2.501 rgb/1.png\n9 rgb/2.png\n")
    (root / "tum" / "depth.txt").write_text("# depth\n1.49 depth/1.png\n2.5 depth/0.png\n3.0 depth/2.png\n")
    (root / "deep" / "ordered" / "depth" / "._d2.png").write_text("of another system")
    for kind in ("color", "depth"):
        write_image(root / "tum" / "part" / kind / "0.png", 0)
    write_image(root / ".hidden" / "color" / "0.png", 0)
    write_image(root / ".hidden" / "depth" / "0.png", 0)
    return root


def run(*arguments: object) -> int:
    return main(["dataset", *map(str, arguments), "--workers", "0"])


def test_recordings_are_found_and_their_images_paired(root: pathlib.Path) -> None:
    pairs = {
        recording.name: [(frame.color.name, frame.depth.name) for frame in frames_of(recording, 0.02)]
        for recording in find_recordings(root)
    }
    assert pairs == {
        "deep/ordered": [("c2.png", "d2.png"), ("c10.png", "d10.png")],
        "named": [("b.png", "b.png"), ("d.png", "d.png")],
        "tum": [("0.png", "1.png"), ("1.png", "0.png")],
    }


def test_each_recording_gets_its_results(make_engine: MakeEngine, root: pathlib.Path, tmp_path: pathlib.Path) -> None:
    out = tmp_path / "out"
    assert run(root, out, "--engine", make_engine(), "--confidence", "--max-difference", 0.005) == 0
    files = {path.relative_to(out).as_posix() for path in out.rglob("*") if path.is_file()}
    frames = {"deep/ordered": ["d2", "d10"], "named": ["b", "d"], "tum": ["0"]}
    expected = {f"{name}/depth/{frame}.png" for name in frames for frame in frames[name]}
    expected |= {f"{name}/confidence/{frame}.tiff" for name in frames for frame in frames[name]}
    assert files == expected | {f"{name}/run.json" for name in frames} | {"tum/rgb.txt", "tum/depth.txt"}
    assert (out / "tum" / "depth.txt").read_text() == "2.5 depth/0.png\n"
    assert (out / "tum" / "rgb.txt").read_text() == f"2.501 {root}/tum/rgb/1.png\n"
    color = np.asarray(Image.open(root / "tum" / "rgb" / "1.png")).astype(np.int64)
    depth = np.asarray(Image.open(root / "tum" / "depth" / "0.png"))
    refined = np.asarray(Image.open(out / "tum" / "depth" / "0.png"))
    np.testing.assert_array_equal(refined, np.minimum(color @ np.array([1, 2, 4]) + depth, 65535))


def test_what_is_done_is_not_done_again_and_the_rest_is_made_up_for(
    make_engine: MakeEngine, root: pathlib.Path, tmp_path: pathlib.Path, capsys: pytest.CaptureFixture[str]
) -> None:
    out, engine = tmp_path / "out", make_engine()
    good = (root / "named" / "rgb" / "d.png").read_bytes()
    write_image(root / "named" / "rgb" / "d.png", 0)
    (root / "named" / "rgb" / "d.png").write_bytes(good[:60].ljust(len(good), b"\0"))
    assert run(root, out, "--engine", engine) == 1
    said = capsys.readouterr()
    assert "named: " in said.err and "d.png is damaged" in said.err
    assert "Refined 2 of 3 recordings" in said.out and "failed        1 recordings" in said.out
    assert not (out / "named").exists()
    kept = {path: path.stat() for path in out.rglob("*.png")}
    assert len(kept) == 5

    # Other images are not the same recording; the very same ones are.
    (root / "named" / "rgb" / "d.png").write_bytes(good)
    assert run(root, out, "--engine", engine) == 1
    assert "was made with another images; name another output" in capsys.readouterr().err
    shutil.rmtree(out / ".named.partial")
    assert run(root, out, "--engine", engine) == 0
    assert "done before   2 recordings, 4 frames" in capsys.readouterr().out
    for path, before in kept.items():
        if ".named.partial" not in path.parts:
            assert (path.stat().st_ino, path.stat().st_mtime_ns) == (before.st_ino, before.st_mtime_ns)

    engine.write_text(engine.read_text() + "# another\n")
    assert run(root, out, "--engine", engine) == 1
    assert capsys.readouterr().err.count("was made with another engine") == 3


def test_a_recording_goes_on_where_it_ended(
    make_engine: MakeEngine, root: pathlib.Path, tmp_path: pathlib.Path, capsys: pytest.CaptureFixture[str]
) -> None:
    out, engine = tmp_path / "out", make_engine()
    assert run(root, out, "--engine", engine) == 0
    (out / "named").rename(out / ".named.partial")
    (out / ".named.partial" / "depth" / "d.png").unlink()
    left = (out / ".named.partial" / "depth" / "b.png").stat()
    assert run(root, out, "--engine", engine) == 0
    assert "done before   2 recordings, 5 frames" in (said := capsys.readouterr().out) and "frames        1, " in said
    assert sorted(os.listdir(out / "named" / "depth")) == ["b.png", "d.png"]
    assert (out / "named" / "depth" / "b.png").stat().st_mtime_ns == left.st_mtime_ns
    assert not list(out.rglob(".*"))


@pytest.mark.parametrize(
    ("arguments", "sentence"),
    [
        (["{root}", "{root}/out"], "the results would be among the recordings"),
        (["{root}/none", "{out}"], "none is no folder"),
        (["{root}/tum/rgb", "{out}"], "holds no recordings"),
        (["{root}", "{out}", "--engine", "none"], "the engine none cannot be read: No such file"),
        (["{root}", "{out}", "--max-difference", "nan"], "--max-difference is nan"),
        (["{root}", "{out}", "--address", "auto"], "give one of them"),
    ],
)
def test_what_cannot_be_done_is_refused(
    make_engine: MakeEngine,
    root: pathlib.Path,
    tmp_path: pathlib.Path,
    capsys: pytest.CaptureFixture[str],
    arguments: list[str],
    sentence: str,
) -> None:
    given = [argument.format(root=root, out=tmp_path / "out") for argument in arguments]
    assert run("--engine", make_engine(), *given) == 2
    assert sentence in capsys.readouterr().err
    assert not (tmp_path / "out").exists()


def test_recordings_that_cannot_be_paired_or_used_fail_alone(
    make_engine: MakeEngine, root: pathlib.Path, tmp_path: pathlib.Path, capsys: pytest.CaptureFixture[str]
) -> None:
    out = tmp_path / "out"
    write_image(root / "deep" / "ordered" / "depth" / "d11.png", 5)
    (root / "tum" / "rgb.txt").write_text("now rgb/0.png\n")
    (out / "named").mkdir(parents=True)
    assert run(root, out, "--engine", make_engine()) == 1
    errors = capsys.readouterr().err
    assert "deep/ordered: " in errors and "has 2 colour and 3 depth images, no two of one name" in errors
    assert "enhance_depth: tum: " in errors and "rgb.txt:1 is no time stamp and file name: 'now rgb/0.png'" in errors
    assert "named is there and no result of an earlier run" in errors
    assert sorted(path.name for path in out.rglob(".*")) == [], "no locks of what failed"


def test_what_is_no_image_or_folder_does_not_stop_the_others(
    make_engine: MakeEngine, root: pathlib.Path, tmp_path: pathlib.Path, capsys: pytest.CaptureFixture[str]
) -> None:
    linked = tmp_path / "lists" / "tum"
    linked.parent.mkdir()
    (root / "tum").rename(linked)
    (root / "aside").symlink_to(linked.parent)
    (linked.parent / "around").symlink_to(root)
    (root / "tabs").mkdir()
    for name in ("rgb", "depth"):
        (root / "tabs" / f"{name}.txt").write_text(f"1.0,\t{linked}/{name}/0.png\n")
    os.mkfifo(root / "deep" / "ordered" / "depth" / "d10.png.png")
    (root / "deep" / "ordered" / "depth" / "d10.png").unlink()
    (root / "fifo").mkdir()
    (root / "fifo" / "depth.txt").write_text("")
    os.mkfifo(root / "fifo" / "rgb.txt")
    assert run(root, tmp_path / "out", "--engine", make_engine()) == 1
    said = capsys.readouterr()
    assert "d10.png.png is no regular file" in said.err and "rgb.txt is no regular file" in said.err
    note = "deep/ordered: note: no two images of one name: 2 colour and depth images are paired by order"
    assert f"enhance_depth: {note}" in said.err
    assert "Refined 3 of 5 recordings" in said.out
    assert (tmp_path / "out" / "aside" / "tum" / "depth" / "0.png").exists()
    assert (tmp_path / "out" / "tabs" / "depth" / "0.png").exists()


def test_an_engine_that_is_refused_fails_each_recording(
    make_engine: MakeEngine, root: pathlib.Path, tmp_path: pathlib.Path, capsys: pytest.CaptureFixture[str]
) -> None:
    assert run(root, tmp_path / "out", "--engine", make_engine("fail")) == 1
    assert capsys.readouterr().err.count("the engine cannot be used") == 3


class RayError(Exception):
    pass


class RayActorError(RayError):
    pass


class FakeRay:
    """A cluster: tasks called "bad" end their worker, "broken" ones fail, "waiting" ones never end."""

    class exceptions:
        RayError, RayActorError = RayError, RayActorError

    def wait(self, tasks: list[Any], timeout: "float | None" = None) -> tuple[list[Any], list[Any]]:
        done = [task for task in tasks if task[0] != "waiting"][:1]
        assert done or timeout, "nothing could ever come of these"
        return done, [task for task in tasks if task not in done]

    def get(self, task: "tuple[str, object]") -> Outcome:
        if task[0] == "bad":
            raise RayActorError("killed\nby someone")
        if task[0] == "broken":
            raise RayError("no such module")
        return Outcome(task[0])


class FakeWorker:
    def __init__(self, given: list[str], start: str = "good") -> None:
        class Method:
            def __init__(self, name: "Callable[[Any], str]") -> None:
                self.remote = lambda *arguments: (name(*arguments), object())

        def refine(recording: Recording) -> str:
            assert start == "good", "it does not run yet"
            given.append(recording.name)
            return recording.name

        self.ready, self.refine = Method(lambda: start), Method(refine)


def test_what_workers_cannot_do_is_reported_and_the_rest_is_done(tmp_path: pathlib.Path) -> None:
    given: list[str] = []
    names = ("one", "bad", "two", "broken", "three")
    workers = [FakeWorker(given), FakeWorker(given, "waiting"), FakeWorker(given, "broken")]
    outcomes = {
        outcome.name: outcome.failures
        for outcome in pool._share(FakeRay(), workers, [Recording(name, tmp_path, False) for name in names])
    }
    assert outcomes == {
        "one": [],
        "two": [],
        "three": [],
        "bad": ["its worker ended 3 times: killed"],
        "broken": ["unexpected failure: no such module"],
    }
    assert given.count("bad") == 3
    (only,) = pool._share(FakeRay(), [FakeWorker(given, "broken")], [Recording("one", tmp_path, False)])
    assert only.failures == ["no worker could be started: no such module"]


def test_a_cluster_that_does_not_start_is_an_error() -> None:
    class Ray:
        @staticmethod
        def init(**_: object) -> None:
            raise Exception("The node timed out\nand more")

    with pytest.raises(UserError, match="^Ray cannot be started here: The node timed out$"):
        pool._start(Ray, None, 2)


def test_an_engine_that_failed_is_loaded_again(
    make_engine: MakeEngine, root: pathlib.Path, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    process = Engine.process
    failing = [True]

    def fail_once(*arguments: Any, **options: Any) -> Any:
        if failing:
            failing.pop()
            raise CudaError(25, "an illegal memory access", "enhance_depth_process")
        return process(*arguments, **options)

    monkeypatch.setattr(Engine, "process", fail_once)
    worker = pool.Worker(Settings(tmp_path / "out", str(make_engine()), "digest"))
    recording = find_recordings(root)[1]
    assert worker.refine(recording).failures == [
        "the engine cannot be used: enhance_depth_process: an illegal memory access (code 25)"
    ]
    failed = worker._engine
    assert (worker.refine(recording).refined, worker._engine is failed) == (2, False)


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
@pytest.mark.parametrize("ignored", [False, True])
def test_a_signal_ends_a_run_unless_it_was_ignored_before(
    make_engine: MakeEngine,
    root: pathlib.Path,
    tmp_path: pathlib.Path,
    monkeypatch: pytest.MonkeyPatch,
    capsys: pytest.CaptureFixture[str],
    number: signal.Signals,
    ignored: bool,
) -> None:
    process = Engine.process

    def process_and_signal(*arguments: Any, **options: Any) -> Any:
        os.kill(os.getpid(), number)
        return process(*arguments, **options)

    monkeypatch.setattr(Engine, "process", process_and_signal)
    before = signal.signal(number, signal.SIG_IGN if ignored else lambda *_: None)
    try:
        assert run(root, tmp_path / "out", "--engine", make_engine()) == (0 if ignored else 1)
    finally:
        signal.signal(number, before)
    assert (f"ended by {number.name}" in capsys.readouterr().err) is not ignored


def test_a_second_run_waits_for_the_first(
    make_engine: MakeEngine, root: pathlib.Path, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    from enhance_depth.datasets import refinement

    monkeypatch.setattr(refinement, "_SECONDS_TO_WAIT_FOR_ANOTHER_RUN", 0)
    settings = Settings(tmp_path / "out", str(make_engine()), "digest")
    recording = find_recordings(root)[1]
    (tmp_path / "out").mkdir()
    with refinement._only_run(tmp_path / "out" / recording.name):
        outcome = refinement.refine_recording(recording, settings, lambda: pytest.fail("not alone"))
    assert outcome.failures == ["another run is at work on it"]
