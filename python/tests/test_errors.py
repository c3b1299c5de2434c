"""Failures: which exception, with which fields."""

from __future__ import annotations

import pathlib
import pickle
import re

import numpy as np
import pytest

import enhance_depth
from enhance_depth import Engine, ErrorCode
from enhance_depth._errors import make_error

from conftest import MakeEngine

RGB = np.zeros((480, 640, 3), np.uint8)
DEPTH = np.zeros((480, 640), np.uint16)


def test_a_missing_engine_file_says_which_and_why() -> None:
    with pytest.raises(enhance_depth.ArgumentError) as caught:
        Engine("no/such.engine")
    error = caught.value
    assert isinstance(error, ValueError)
    assert error.code is ErrorCode.INVALID_ARGUMENT
    assert error.function == "enhance_depth_create"
    assert error.arguments == "no/such.engine"
    assert error.exception_type == 2
    assert error.line > 0
    assert "No such file" in error.message and "no/such.engine" in str(error)


def test_a_text_that_was_cut_within_a_character_is_told_as_far_as_it_goes() -> None:
    with pytest.raises(enhance_depth.ArgumentError) as caught:
        Engine("é" * 200)
    assert caught.value.arguments.startswith("é" * 100)


def test_a_file_that_is_no_engine_is_refused_by_tensorrt(tmp_path: pathlib.Path) -> None:
    path = tmp_path / "noise.engine"
    path.write_bytes(bytes(range(256)))
    with pytest.raises(enhance_depth.TensorRTError) as caught:
        Engine(path)
    assert caught.value.code is ErrorCode.ENGINE_DESERIALIZE_FAILED


def test_a_fault_while_the_network_runs_is_a_cuda_error(make_engine: MakeEngine) -> None:
    with pytest.raises((enhance_depth.CudaError, enhance_depth.TensorRTError)):
        Engine(make_engine("fail"))


def test_a_frame_of_another_size_leaves_the_engine_usable(make_engine: MakeEngine) -> None:
    with Engine(make_engine()) as engine:
        with pytest.raises(enhance_depth.ArgumentError) as caught:
            engine.process(RGB[:100], DEPTH[:100])
        assert caught.value.code is ErrorCode.RESOLUTION_MISMATCH
        assert caught.value.arguments == "height/width"
        engine.process(RGB, DEPTH)


def test_a_refused_reset_leaves_the_engine_waiting_for_another(make_engine: MakeEngine) -> None:
    with Engine(make_engine()) as engine:
        with pytest.raises(enhance_depth.TensorRTError) as caught:
            engine.reset(4000, 3000)
        assert caught.value.code is ErrorCode.NO_COMPATIBLE_PROFILE
        assert caught.value.arguments == "allocate"
        with pytest.raises(enhance_depth.StateError):
            engine.process(np.zeros((3000, 4000, 3), np.uint8), np.zeros((3000, 4000), np.uint16))
        assert engine.size is None
        engine.reset(640, 480)
        assert engine.size == (640, 480)
        engine.process(RGB, DEPTH)


def test_an_engine_that_does_not_admit_the_first_size_is_released_at_once(
    make_engine: MakeEngine, monkeypatch: pytest.MonkeyPatch
) -> None:
    dll = enhance_depth.load_library().dll
    destroy = dll.enhance_depth_destroy
    destroyed: list[object] = []
    monkeypatch.setattr(dll, "enhance_depth_destroy", lambda handle: (destroy(handle), destroyed.append(handle)))
    with pytest.raises(enhance_depth.TensorRTError) as caught:
        Engine(make_engine(), size=(4000, 3000))
    assert len(destroyed) == 1, f"the traceback of {caught.value!r} keeps it"


@pytest.mark.parametrize(
    ("width", "height", "exception", "text"),
    [
        (2**32 + 64, 2**32 + 48, ValueError, "width is 4294967360; it must be from 1 to 2147483647"),
        (64, 2**31, ValueError, "height is 2147483648"),
        (0, 48, ValueError, "width is 0"),
        ("64", 48, TypeError, "width is '64'; it must be an integer"),
        (64, 48.0, TypeError, "height is 48.0"),
    ],
)
def test_a_size_that_is_none_changes_nothing(
    make_engine: MakeEngine, width: object, height: object, exception: type[Exception], text: str
) -> None:
    with pytest.raises(exception, match=text):
        Engine(make_engine(), size=(width, height))  # type: ignore[arg-type]
    with Engine(make_engine()) as engine:
        with pytest.raises(exception, match=text):
            engine.reset(width, height)  # type: ignore[arg-type]
        assert engine.size == (640, 480)
        engine.process(RGB, DEPTH)


def test_a_path_with_a_nul_is_not_cut(make_engine: MakeEngine) -> None:
    with pytest.raises(ValueError, match="NUL"):
        Engine(f"{make_engine()}\0.backup")


def test_a_threshold_that_is_no_number_is_refused(make_engine: MakeEngine) -> None:
    with Engine(make_engine()) as engine:
        with pytest.raises(TypeError, match="confidence_threshold is 'high'"):
            engine.confidence_threshold = "high"  # type: ignore[assignment]


def test_a_closed_engine_says_so(make_engine: MakeEngine) -> None:
    engine = Engine(make_engine())
    engine.close()
    engine.close()
    with pytest.raises(enhance_depth.StateError) as caught:
        engine.process(RGB, DEPTH)
    assert caught.value.code is ErrorCode.NULL_HANDLE
    assert engine.last_inference_time is None and engine.size is None


@pytest.mark.parametrize(
    ("rgb", "depth", "exception", "text"),
    [
        (RGB.tolist(), DEPTH, TypeError, "rgb is of the type list; it must be a numpy array of uint8"),
        (RGB, DEPTH.tolist(), TypeError, "depth is of the type list"),
        (RGB.astype(np.float32), DEPTH, TypeError, "rgb holds float32"),
        (RGB, DEPTH.astype(np.int16), TypeError, "depth holds int16"),
        (RGB[:, :, :2], DEPTH, ValueError, r"rgb has the shape \(480, 640, 2\)"),
        (RGB[:100], DEPTH, ValueError, r"rgb has the shape \(100, 640, 3\)"),
        (RGB, DEPTH[0], ValueError, r"depth has the shape \(640,\)"),
        (RGB[:0], DEPTH[:0], ValueError, r"depth has the shape \(0, 640\)"),
        (
            np.broadcast_to(np.uint8(0), (30000, 30000, 3)),
            np.broadcast_to(np.uint16(0), (30000, 30000)),
            ValueError,
            "an image must stay below 2 GiB",
        ),
    ],
)
def test_arrays_that_do_not_fit_are_refused(
    make_engine: MakeEngine, rgb: np.ndarray, depth: np.ndarray, exception: type[Exception], text: str
) -> None:
    with Engine(make_engine()) as engine, pytest.raises(exception, match=text):
        engine.process(rgb, depth)


def test_an_unknown_layout_is_refused(make_engine: MakeEngine) -> None:
    with pytest.raises(ValueError, match="rgb_layout"):
        Engine(make_engine(), rgb_layout="bgr")  # type: ignore[arg-type]


def test_a_missing_library_says_what_to_do(monkeypatch: pytest.MonkeyPatch) -> None:
    with pytest.raises(enhance_depth.LibraryNotFoundError, match="ENHANCE_DEPTH_LIBRARY"):
        enhance_depth.load_library("no/such/library.so")
    monkeypatch.setenv("ENHANCE_DEPTH_LIBRARY", "other/library.so")
    with pytest.raises(enhance_depth.LibraryNotFoundError, match="other/library.so .from ENHANCE_DEPTH_LIBRARY"):
        enhance_depth.load_library()
    with pytest.raises(enhance_depth.LibraryNotFoundError, match="is not the enhance_depth library"):
        enhance_depth.load_library("libc.so.6")


def test_every_record_is_given_back_once(monkeypatch: pytest.MonkeyPatch) -> None:
    dll = enhance_depth.load_library().dll
    delete = dll.enhance_delete_error
    deleted: list[object] = []
    monkeypatch.setattr(dll, "enhance_delete_error", lambda record: (delete(record), deleted.append(record)))
    with pytest.raises(enhance_depth.ArgumentError):
        Engine("no/such.engine")
    assert len(deleted) == 1 and deleted[0]


def test_without_a_record_the_failure_is_taken_from_where_it_is_kept(
    make_engine: MakeEngine, monkeypatch: pytest.MonkeyPatch
) -> None:
    dll = enhance_depth.load_library().dll
    asked: list[object] = []
    monkeypatch.setattr(dll, "enhance_depth_get_last_error", lambda handle: (asked.append(handle), b"no memory")[1])
    with Engine(make_engine()) as engine:
        monkeypatch.setattr(dll, "enhance_depth_reset", lambda *arguments: 0)
        with pytest.raises(enhance_depth.InternalError, match="enhance_depth_reset: no memory .code 34."):
            engine.reset(64, 48)
        assert asked == [engine._handle]
    monkeypatch.setattr(dll, "enhance_depth_create", lambda *arguments: 0)
    with pytest.raises(enhance_depth.InternalError, match="enhance_depth_create: no memory"):
        Engine(make_engine())
    assert asked[1:] == [None]


def test_a_code_that_a_newer_library_added_is_kept_as_a_number() -> None:
    error = make_error(99, "something new", "enhance_depth_process", exception_type=99)
    assert (type(error), error.code) == (enhance_depth.Error, 99) and not isinstance(error.code, ErrorCode)
    assert str(error) == "enhance_depth_process: something new (code 99)"


@pytest.mark.parametrize(
    ("kind", "exception"),
    [
        (2, enhance_depth.ArgumentError),
        (3, enhance_depth.StateError),
        (6, enhance_depth.InternalError),
        (7, enhance_depth.TensorRTError),
        (8, enhance_depth.CudaError),
    ],
)
def test_the_kind_of_a_failure_chooses_its_class(kind: int, exception: type[enhance_depth.Error]) -> None:
    assert type(make_error(21, "text", "function", exception_type=kind)) is exception


def test_the_codes_are_those_of_the_header() -> None:
    header = (pathlib.Path(__file__).parents[2] / "include" / "enhance_depth.h").read_text()
    codes = {name: int(code) for name, code in re.findall(r"ENHANCE_DEPTH_(?:ERROR_)?([A-Z_]+) = (\d+)", header)}
    assert codes == {code.name: code.value for code in ErrorCode}


def test_errors_can_be_sent_between_processes() -> None:
    error = enhance_depth.CudaError(21, "no memory", "enhance_depth_reset", "allocate", 1042, 8)
    again = pickle.loads(pickle.dumps(error))
    assert (type(again), vars(again)) == (type(error), vars(error))
