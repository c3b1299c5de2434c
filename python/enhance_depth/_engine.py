"""The engine: numpy arrays in, numpy views out."""

from __future__ import annotations

import ctypes
import operator
import os
import weakref
from types import TracebackType
from typing import TYPE_CHECKING, Any, Literal, NamedTuple, Optional

import numpy as np

from ._library import Input, Library, Output, PathLike, load_library

if TYPE_CHECKING:
    import numpy.typing as npt

    DepthImage = npt.NDArray[np.uint16]
    ColorImage = npt.NDArray[np.uint8]
    ConfidenceMap = npt.NDArray[np.float32]

Layout = Literal["planar", "interleaved"]

_SIZE_AFTER_CREATE = (640, 480)
_LARGEST_INT32 = 2**31 - 1


class RefinedFrame(NamedTuple):
    """The result of one frame."""

    depth: "DepthImage"
    """(H, W), refined depth in the unit of the input."""
    confidence: "Optional[ConfidenceMap]"
    """(H, W), or None if the engine has no confidence output."""

    def copy(self) -> "RefinedFrame":
        """A copy with independent arrays, which no later call changes."""
        return RefinedFrame(self.depth.copy(), None if self.confidence is None else self.confidence.copy())


def to_planar(rgb: "ColorImage") -> "ColorImage":
    """Converts (H, W, 3), as image readers deliver it, to (3, H, W), contiguous."""
    return np.ascontiguousarray(np.moveaxis(rgb, -1, 0))


def to_interleaved(rgb: "ColorImage") -> "ColorImage":
    """Converts (3, H, W) to (H, W, 3), contiguous."""
    return np.ascontiguousarray(np.moveaxis(rgb, 0, -1))


class _Handle:
    """Owns a C handle, which is released when the last reference goes.

    Every borrowed image refers to it, so that its memory outlives the last of them. C functions take the object itself,
    by way of `_as_parameter_`, so that it lasts as long as each call even if another thread closes the engine.
    """

    def __init__(self, library: Library, engine_path: bytes) -> None:
        self._as_parameter_ = ctypes.c_void_p(library.call("enhance_depth_create", engine_path))
        self.release = weakref.finalize(self, library.dll.enhance_depth_destroy, self._as_parameter_)
        # When the interpreter exits, a daemon thread may still be in a call; remaining engines end with the process.
        self.release.atexit = False


class _BorrowedMemory:
    """An image inside the library as numpy's array interface describes it, read-only."""

    def __init__(self, handle: _Handle, address: int, typestr: str, shape: tuple[int, int]) -> None:
        self._handle = handle
        self.__array_interface__ = {"data": (address, True), "typestr": typestr, "shape": shape, "version": 3}


class Engine:
    """A loaded TensorRT engine, configured for one image size at a time.
    
    One thread at a time may use an engine; different engines are independent. Other Python threads keep running
    while a frame is processed.

    Args:
        path: the serialized engine.
        size: (width, height) of the frames to come; the library's own default is 640 x 480.
        rgb_layout: the engine's colour layout: "planar" if its "rgb" tensor has four dimensions,
            "interleaved" if it has three.
        library: the shared library's file; see load_library().

    Raises:
        TypeError, ValueError: an argument is invalid for any engine.
        Error: the engine cannot be loaded or does not admit the size.
        LibraryNotFoundError: the shared library cannot be loaded.
    """

    def __init__(
        self,
        path: PathLike,
        *,
        size: tuple[int, int] = _SIZE_AFTER_CREATE,
        rgb_layout: Layout = "planar",
        library: PathLike | None = None,
    ) -> None:
        if rgb_layout not in ("planar", "interleaved"):
            raise ValueError(f'rgb_layout is {rgb_layout!r}; it must be "planar" or "interleaved"')
        width, height = size
        size = _check_size(width, height)
        engine_path = os.fsencode(path)
        if b"\0" in engine_path:
            raise ValueError(f"the engine path {path!r} holds a NUL character")
        self._library = load_library(library)
        self._rgb_layout: Layout = rgb_layout
        self._borrowed: list[weakref.ref[_BorrowedMemory]] = []
        handle = _Handle(self._library, engine_path)
        # None once closed: a null handle, which the library reports as an error of its own.
        self._handle: _Handle | None = handle
        self._size: tuple[int, int] | None = _SIZE_AFTER_CREATE
        if size != _SIZE_AFTER_CREATE:
            try:
                self.reset(*size)
            except BaseException:
                self.close()
                handle.release()  # the traceback, which refers to the handle, may be kept for long
                raise

    def __enter__(self) -> "Engine":
        return self

    def __exit__(
        self, kind: type[BaseException] | None, value: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __reduce_ex__(self, protocol: Any) -> Any:
        # copy, deepcopy and pickle all come here. A copy would share the handle, but not know of the images borrowed
        # from the original.
        raise TypeError("an Engine cannot be copied or pickled, as it owns memory of the device; load another Engine")

    def close(self) -> None:
        """Releases the engine as soon as the last borrowed image is gone and no other thread is in a call on it.

        May be called again.
        """
        self._handle = None
        self._size = None

    @property
    def size(self) -> tuple[int, int] | None:
        """(width, height) of the frames that process() takes.

        None if it accepts no frames: after a reset that the library refused, until one succeeds, and once closed.
        """
        return self._size

    def reset(self, width: int, height: int) -> None:
        """Configures another image size.

        Raises:
            TypeError, ValueError: a side is not an integer from 1 to 2147483647; nothing has changed.
            BufferError: an image of the old size is still in use; drop it or keep a copy. Nothing has changed.
            Error: the engine does not admit the size, or the board lacks a resource; `size` is then None
            and process() fails until a reset succeeds.
        """
        size = _check_size(width, height)
        if any(reference() is not None for reference in self._borrowed):
            raise BufferError("an image borrowed from this engine is in use; drop it, or keep a copy, before reset()")
        self._size = None
        self._library.call("enhance_depth_reset", self._handle, *size)
        self._size = size

    def process(self, rgb: "ColorImage", depth: "DepthImage", *, copy: bool = False) -> RefinedFrame:
        """Refines one frame and waits for the result.

        Args:
            rgb: uint8, (H, W, 3) or (3, H, W); converted to the engine's layout if necessary.
            depth: uint16, (H, W), 0 where the camera saw nothing.
            copy: True for independent arrays. False, the default, for read-only views of the engine's memory,
            which the next process() overwrites.

        Raises:
            TypeError: an argument is not an array, or has another element type.
            ValueError: the arrays' shapes do not match.
            Error: anything else, such as a size that the engine is not configured for.
        """
        height, width = _check_depth(depth)
        colors = self._in_engine_layout(rgb, height, width)
        depth = np.ascontiguousarray(depth)
        frame = Input(colors.ctypes.data, colors.nbytes, depth.ctypes.data, depth.nbytes, height, width)
        output = Output()
        handle = self._handle
        self._library.call("enhance_depth_process", handle, ctypes.byref(frame), ctypes.byref(output))
        assert handle is not None, "the library refuses a null handle"
        self._borrowed = [reference for reference in self._borrowed if reference() is not None]
        refined = RefinedFrame(
            self._borrow(handle, output.pred, "=u2", (height, width)),
            self._borrow(handle, output.conf, "=f4", (height, width)) if output.conf else None,
        )
        return refined.copy() if copy else refined

    @property
    def confidence_threshold(self) -> float:
        """The stored confidence threshold. No output depends on it."""
        threshold = ctypes.c_float()
        self._library.call("enhance_depth_get_confidence_threshold", self._handle, ctypes.byref(threshold))
        return threshold.value

    @confidence_threshold.setter
    def confidence_threshold(self, threshold: float) -> None:
        try:
            value = ctypes.c_float(threshold)
        except TypeError:
            raise TypeError(f"confidence_threshold is {threshold!r}; it must be a number") from None
        self._library.call("enhance_depth_set_confidence_threshold", self._handle, value)

    @property
    def last_inference_time(self) -> float | None:
        """Milliseconds that the network ran on the device in the last frame; None before the first frame."""
        milliseconds: float = self._library.dll.enhance_GetLastInferenceTime(self._handle)
        return milliseconds if milliseconds >= 0 else None

    def _in_engine_layout(self, rgb: "ColorImage", height: int, width: int) -> "ColorImage":
        _check_array("rgb", rgb, np.dtype(np.uint8))
        if rgb.shape == (height, width, 3):
            return np.ascontiguousarray(rgb) if self._rgb_layout == "interleaved" else to_planar(rgb)
        if rgb.shape == (3, height, width):
            return np.ascontiguousarray(rgb) if self._rgb_layout == "planar" else to_interleaved(rgb)
        raise ValueError(
            f"rgb has the shape {rgb.shape}; "
            f"for this depth image it must be {(height, width, 3)} or {(3, height, width)}"
        )

    def _borrow(self, handle: _Handle, address: int, typestr: str, shape: tuple[int, int]) -> Any:
        memory = _BorrowedMemory(handle, address, np.dtype(typestr).str, shape)
        self._borrowed.append(weakref.ref(memory))
        return np.asarray(memory)


def _check_size(width: int, height: int) -> tuple[int, int]:
    # ctypes would keep the low 32 bits of a larger number.
    def check(name: str, value: int) -> int:
        try:
            side = operator.index(value)
        except TypeError:
            raise TypeError(f"{name} is {value!r}; it must be an integer") from None
        if not 1 <= side <= _LARGEST_INT32:
            raise ValueError(f"{name} is {side}; it must be from 1 to {_LARGEST_INT32}")
        return side

    return check("width", width), check("height", height)


def _check_array(name: str, array: object, dtype: "np.dtype[Any]") -> None:
    if not isinstance(array, np.ndarray):
        raise TypeError(f"{name} is of the type {type(array).__name__}; it must be a numpy array of {dtype}")
    if array.dtype != dtype:
        raise TypeError(f"{name} holds {array.dtype}; it must hold {dtype}")


def _check_depth(depth: "DepthImage") -> tuple[int, int]:
    _check_array("depth", depth, np.dtype(np.uint16))
    if depth.ndim != 2 or depth.size == 0:
        raise ValueError(f"depth has the shape {depth.shape}; it must be (height, width)")
    if depth.size * 3 > _LARGEST_INT32:
        raise ValueError(f"depth has the shape {depth.shape}; an image must stay below 2 GiB")
    return depth.shape[0], depth.shape[1]
