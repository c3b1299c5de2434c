"""Frames through the library on the emulated board."""

from __future__ import annotations

import copy
import gc
import pathlib
import pickle
import re
import subprocess
import sys
import threading
from typing import Callable

import numpy as np
import pytest

import enhance_depth
from enhance_depth import Engine

from conftest import MakeEngine

WIDTH, HEIGHT = 31, 17


def make_frame(seed: int = 1) -> tuple[np.ndarray, np.ndarray]:
    random = np.random.default_rng(seed)
    rgb = random.integers(0, 256, (HEIGHT, WIDTH, 3), dtype=np.uint8)
    depth = random.integers(0, 60000, (HEIGHT, WIDTH), dtype=np.uint16)
    return rgb, depth


def rgb_sum(rgb: np.ndarray, depth: np.ndarray) -> np.ndarray:
    """What the network "rgb-sum" makes of a frame."""
    weighted = rgb.astype(np.int64) @ np.array([1, 2, 4])
    return np.minimum(weighted + depth, 65535).astype(np.uint16)


@pytest.mark.parametrize("planar_engine", [True, False])
@pytest.mark.parametrize("planar_image", [True, False])
def test_each_image_layout_reaches_each_engine_layout(
    make_engine: MakeEngine, planar_engine: bool, planar_image: bool
) -> None:
    rgb, depth = make_frame()
    layout = "planar" if planar_engine else "interleaved"
    with Engine(make_engine(planar=planar_engine), size=(WIDTH, HEIGHT), rgb_layout=layout) as engine:
        refined = engine.process(enhance_depth.to_planar(rgb) if planar_image else rgb, depth)
        np.testing.assert_array_equal(refined.depth, rgb_sum(rgb, depth))
        np.testing.assert_allclose(refined.confidence, rgb[:, :, 2] / 255.0, rtol=1e-6)


def test_arrays_need_not_be_contiguous(make_engine: MakeEngine) -> None:
    rgb, depth = make_frame()
    with Engine(make_engine(), size=(WIDTH, HEIGHT)) as engine:
        refined = engine.process(rgb[::-1, ::-1], depth[::-1, ::-1])
        np.testing.assert_array_equal(refined.depth, rgb_sum(rgb, depth)[::-1, ::-1])


def test_layout_helpers_are_inverse_and_contiguous() -> None:
    rgb, _ = make_frame()
    planar = enhance_depth.to_planar(rgb)
    assert planar.shape == (3, HEIGHT, WIDTH) and planar.flags.c_contiguous
    np.testing.assert_array_equal(planar[2], rgb[:, :, 2])
    interleaved = enhance_depth.to_interleaved(planar)
    assert interleaved.flags.c_contiguous
    np.testing.assert_array_equal(interleaved, rgb)


def test_an_engine_without_confidence_gives_none(make_engine: MakeEngine) -> None:
    rgb, depth = make_frame()
    with Engine(make_engine(confidence=False), size=(WIDTH, HEIGHT)) as engine:
        assert engine.process(rgb, depth).confidence is None
        assert engine.process(rgb, depth, copy=True).confidence is None


def test_views_are_read_only_and_show_the_next_frame_while_copies_do_not(make_engine: MakeEngine) -> None:
    first, second = make_frame(1), make_frame(2)
    with Engine(make_engine(), size=(WIDTH, HEIGHT)) as engine:
        view = engine.process(*first)
        kept = view.copy()
        asked = engine.process(*first, copy=True)
        with pytest.raises(ValueError):
            view.depth[0, 0] = 1
        engine.process(*second)
        np.testing.assert_array_equal(view.depth, rgb_sum(*second))
        np.testing.assert_array_equal(kept.depth, rgb_sum(*first))
        np.testing.assert_array_equal(asked.depth, rgb_sum(*first))
        kept.depth[0, 0] = 1
        assert kept.confidence is not None
        np.testing.assert_allclose(kept.confidence, first[0][:, :, 2] / 255.0, rtol=1e-6)


def test_views_outlive_the_engine_object(make_engine: MakeEngine, monkeypatch: pytest.MonkeyPatch) -> None:
    frame = make_frame()
    dll = enhance_depth.load_library().dll
    destroy = dll.enhance_depth_destroy
    destroyed: list[object] = []
    monkeypatch.setattr(dll, "enhance_depth_destroy", lambda handle: (destroy(handle), destroyed.append(handle)))
    engine = Engine(make_engine(), size=(WIDTH, HEIGHT))
    row = engine.process(*frame).depth[3]
    engine.close()
    del engine
    gc.collect()
    assert destroyed == []
    np.testing.assert_array_equal(row, rgb_sum(*frame)[3])
    del row
    assert len(destroyed) == 1


def test_close_in_another_thread_releases_the_engine_after_the_frame(
    make_engine: MakeEngine, monkeypatch: pytest.MonkeyPatch
) -> None:
    frame = make_frame()
    in_the_call, closed = threading.Event(), threading.Event()
    order: list[str] = []
    dll = enhance_depth.load_library().dll
    process, destroy = dll.enhance_depth_process, dll.enhance_depth_destroy

    def slow_process(*arguments: object) -> int:
        in_the_call.set()
        assert closed.wait(60)
        result: int = process(*arguments)
        order.append("processed")
        return result

    def recorded_destroy(pointer: object) -> None:
        order.append("destroyed")
        destroy(pointer)

    monkeypatch.setattr(dll, "enhance_depth_process", slow_process)
    monkeypatch.setattr(dll, "enhance_depth_destroy", recorded_destroy)
    engine = Engine(make_engine(), size=(WIDTH, HEIGHT))
    results: list[np.ndarray] = []
    thread = threading.Thread(target=lambda: results.append(engine.process(*frame, copy=True).depth))
    thread.start()
    assert in_the_call.wait(60)
    engine.close()
    gc.collect()
    closed.set()
    thread.join()
    assert order == ["processed", "destroyed"]
    np.testing.assert_array_equal(results[0], rgb_sum(*frame))


def test_an_engine_that_is_open_at_exit_is_not_released(make_engine: MakeEngine) -> None:
    script = """
import enhance_depth, sys
enhance_depth.load_library().dll.enhance_depth_destroy = lambda handle: print("released", flush=True)
enhance_depth.Engine(sys.argv[1]).close()
engine = enhance_depth.Engine(sys.argv[1])
"""
    command = [sys.executable, "-c", script, str(make_engine())]
    ended = subprocess.run(command, check=True, capture_output=True, text=True, timeout=60)
    assert ended.stdout.count("released") == 1


def test_reset_is_refused_while_a_view_is_in_use(make_engine: MakeEngine) -> None:
    with Engine(make_engine(), size=(WIDTH, HEIGHT)) as engine:
        row = engine.process(*make_frame()).depth[3]
        with pytest.raises(BufferError, match="copy"):
            engine.reset(640, 480)
        del row
        engine.reset(640, 480)
        assert engine.size == (640, 480)


@pytest.mark.parametrize("duplicate", [copy.copy, copy.deepcopy, pickle.dumps])
def test_an_engine_is_not_duplicated(make_engine: MakeEngine, duplicate: Callable[[Engine], object]) -> None:
    frame = make_frame()
    with Engine(make_engine(), size=(WIDTH, HEIGHT)) as engine:
        view = engine.process(*frame).depth
        with pytest.raises(TypeError, match="cannot be copied or pickled"):
            duplicate(engine)
        np.testing.assert_array_equal(view, rgb_sum(*frame))


def test_frames_leave_nothing_behind(make_engine: MakeEngine) -> None:
    with Engine(make_engine(), size=(WIDTH, HEIGHT)) as engine:
        kept = engine.process(*make_frame())
        for _ in range(10):
            engine.process(*make_frame())
        assert len(engine._borrowed) <= 2 * len(kept), "what was dropped is still in the list of what is lent"


def test_settings_and_times(make_engine: MakeEngine) -> None:
    with Engine(make_engine(), size=(WIDTH, HEIGHT)) as engine:
        assert engine.confidence_threshold == pytest.approx(0.95)
        engine.confidence_threshold = 0.25
        assert engine.confidence_threshold == 0.25
        assert engine.last_inference_time is None
        engine.process(*make_frame())
        assert engine.last_inference_time is not None and engine.last_inference_time >= 0


def test_engines_in_threads_are_independent(make_engine: MakeEngine) -> None:
    path = make_engine()
    wrong: list[int] = []

    def work(seed: int) -> None:
        frame = make_frame(seed)
        with Engine(path, size=(WIDTH, HEIGHT)) as engine:
            for _ in range(20):
                if not np.array_equal(engine.process(*frame).depth, rgb_sum(*frame)):
                    wrong.append(seed)

    threads = [threading.Thread(target=work, args=(seed,)) for seed in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert wrong == []


def test_the_package_has_the_version_of_the_header() -> None:
    header = pathlib.Path(__file__).parents[2] / "include" / "enhance_depth.h"
    numbers = re.findall(r"#define ENHANCE_DEPTH_VERSION_\w+ (\d+)", header.read_text())
    assert enhance_depth.__version__ == ".".join(numbers)
    assert enhance_depth.version().startswith(enhance_depth.__version__ + " ")
