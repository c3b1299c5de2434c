"""Finding and declaring the C library."""

from __future__ import annotations

import ctypes
import functools
import os
import pathlib
from typing import Callable, Union

from ._errors import LibraryNotFoundError, make_error

PathLike = Union[str, "os.PathLike[str]"]

_SONAME = "libenhance_depth.so.0"
# A wheel contains the library and the emulated board, for machines that have neither.
_BUNDLED = pathlib.Path(__file__).parent / "lib" / _SONAME
_ENVIRONMENT = "ENHANCE_DEPTH_LIBRARY"
_TEXT_SIZE = 256


class ErrorRecord(ctypes.Structure):
    """enhance_error"""

    _fields_ = [
        ("status", ctypes.c_int32),
        ("error_code", ctypes.c_int32),
        ("message", ctypes.c_char * _TEXT_SIZE),
        ("function", ctypes.c_char * _TEXT_SIZE),
        ("args", ctypes.c_char * _TEXT_SIZE),
        ("line", ctypes.c_int32),
        ("exception_type", ctypes.c_int32),
    ]


class Input(ctypes.Structure):
    """enhance_depth_input"""

    _fields_ = [
        ("rgb", ctypes.c_void_p),
        ("rgb_stride", ctypes.c_int32),
        ("depth", ctypes.c_void_p),
        ("depth_stride", ctypes.c_int32),
        ("height", ctypes.c_int32),
        ("width", ctypes.c_int32),
    ]


class Output(ctypes.Structure):
    """enhance_depth_output"""

    _fields_ = [
        ("pred", ctypes.c_void_p),
        ("pred_stride", ctypes.c_int32),
        ("conf", ctypes.c_void_p),
        ("conf_stride", ctypes.c_int32),
    ]


_RECORD_PLACE = ctypes.POINTER(ctypes.POINTER(ErrorRecord))
_HANDLE = ctypes.c_void_p

# name: (result, arguments)
_FUNCTIONS = {
    "enhance_delete_error": (None, [ctypes.POINTER(ErrorRecord)]),
    "enhance_depth_get_last_error": (ctypes.c_char_p, [_HANDLE]),
    "enhance_depth_create": (_HANDLE, [ctypes.c_char_p, _RECORD_PLACE]),
    "enhance_depth_reset": (ctypes.c_int, [_HANDLE, ctypes.c_int, ctypes.c_int, _RECORD_PLACE]),
    "enhance_depth_destroy": (None, [_HANDLE]),
    "enhance_depth_process": (
        ctypes.c_int,
        [_HANDLE, ctypes.POINTER(Input), ctypes.POINTER(Output), _RECORD_PLACE],
    ),
    "enhance_depth_set_confidence_threshold": (ctypes.c_int, [_HANDLE, ctypes.c_float, _RECORD_PLACE]),
    "enhance_depth_get_confidence_threshold": (
        ctypes.c_int,
        [_HANDLE, ctypes.POINTER(ctypes.c_float), _RECORD_PLACE],
    ),
    "enhance_depth_get_version": (ctypes.c_char_p, []),
    "enhance_GetLastInferenceTime": (ctypes.c_float, [_HANDLE]),
}


class Library:
    """The loaded library with its functions declared.

    Attributes:
        name: the file that it was loaded from, or the name that the dynamic linker looked for.
    """

    def __init__(self, name: str) -> None:
        self.name = name
        # The bundled one sees the emulated board before the real libraries that something else may have loaded.
        self.dll = ctypes.CDLL(name, mode=os.RTLD_DEEPBIND | os.RTLD_NOW if name == str(_BUNDLED) else os.RTLD_NOW)
        for function, (result, arguments) in _FUNCTIONS.items():
            entry = getattr(self.dll, function)
            entry.restype = result
            entry.argtypes = arguments

    def call(self, name: str, *arguments: object) -> int:
        """Calls a function whose last parameter is the output parameter for an error record; raises Error if it fails.
        
        The library records the failure on the handle if that is the first argument, otherwise on the thread.
        """
        record = ctypes.POINTER(ErrorRecord)()
        function: Callable[..., int] = getattr(self.dll, name)
        result = function(*arguments, ctypes.byref(record))
        if result:
            return result
        if not record:  # there was no memory for a record
            handle = None if isinstance(arguments[0], bytes) else arguments[0]
            raise make_error(34, _text(self.dll.enhance_depth_get_last_error(handle)), name, exception_type=6)
        try:
            fields = record.contents
            raise make_error(
                fields.error_code,
                _text(fields.message),
                _text(fields.function),
                _text(fields.args),
                fields.line,
                fields.exception_type,
            )
        finally:
            self.dll.enhance_delete_error(record)


def _text(value: bytes) -> str:
    # A long text may have been cut within a character.
    return value.decode("utf-8", errors="replace")


@functools.lru_cache(maxsize=None)
def _load(name: str, origin: str) -> Library:
    try:
        return Library(name)
    except OSError as error:
        raise LibraryNotFoundError(
            f"cannot load {name} ({origin}): {error}. Install the library and the board's runtime libraries where "
            f"the dynamic linker finds them, or name the file in the environment variable {_ENVIRONMENT}."
        ) from error
    except AttributeError as error:
        raise LibraryNotFoundError(f"{name} ({origin}) is not the enhance_depth library: {error}") from error


@functools.lru_cache(maxsize=None)  # the dynamic linker finds by name what was loaded from the package
def _load_installed_or_bundled() -> Library:
    try:
        return _load(_SONAME, "from the dynamic linker's folders")
    except LibraryNotFoundError as error:
        # An installed library that cannot be loaded has to be repaired, not replaced by an emulation.
        if _BUNDLED.exists() and f"{_SONAME}: cannot open shared object file" in str(error):
            return _load(str(_BUNDLED), "from this package")
        raise


def load_library(path: PathLike | None = None) -> Library:
    """Loads the library once: from `path`, else from the file that ENHANCE_DEPTH_LIBRARY names, else the one that the
    dynamic linker finds, else the one that this package may contain, which runs on the emulated board.

    Raises:
        LibraryNotFoundError: it, or a library that it needs, cannot be loaded.
    """
    if path is not None:
        return _load(os.fspath(path), "given explicitly")
    named = os.environ.get(_ENVIRONMENT)
    if named:
        return _load(named, f"from {_ENVIRONMENT}")
    return _load_installed_or_bundled()


def version(library: PathLike | None = None) -> str:
    """The loaded library's version and build time."""
    return _text(load_library(library).dll.enhance_depth_get_version())
