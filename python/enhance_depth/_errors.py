"""Exceptions: one class per kind of failure, each with the fields of the C error record."""

from __future__ import annotations

import enum


class ErrorCode(enum.IntEnum):
    """The code of a failure. The numbers are stable; reserved ones, which are never raised, are left out."""

    OK = 0
    INVALID_ARGUMENT = 1
    NULL_HANDLE = 2
    RUNTIME_CREATE_FAILED = 12
    ENGINE_DESERIALIZE_FAILED = 13
    CONTEXT_CREATE_FAILED = 14
    NOT_INITIALIZED = 15
    BUFFERS_NOT_CONFIGURED = 16
    NULL_INPUT_DATA = 17
    RESOLUTION_MISMATCH = 18
    STRIDE_MISMATCH = 19
    CUDA_RESOURCE_CREATE_FAILED = 20
    DEVICE_ALLOC_FAILED = 21
    MEMCPY_FAILED = 22
    MEMSET_FAILED = 23
    SYNC_FAILED = 24
    ENQUEUE_FAILED = 25
    NO_COMPATIBLE_PROFILE = 26
    SET_PROFILE_FAILED = 27
    SET_INPUT_SHAPE_FAILED = 28
    TENSOR_NOT_FOUND = 29
    TENSOR_MODE_MISMATCH = 30
    TENSOR_DTYPE_MISMATCH = 31
    INVALID_ENGINE_IO = 32
    BIND_TENSOR_ADDRESS_FAILED = 33
    STD_EXCEPTION = 34
    UNKNOWN_EXCEPTION = 35


class LibraryNotFoundError(ImportError):
    """The shared library could not be loaded; the message says what was tried and what to do."""


class Error(Exception):
    """A failed call.

    Attributes:
        code: an ErrorCode, or a plain int if the library is newer than this package.
        message: what went wrong, in the library's words.
        function: the C function that reported it, e.g. "enhance_depth_process".
        arguments: the offending arguments joined by "/", the stage of a reset that failed, or the engine path.
        line: where in the library it was reported.
        exception_type: the class of the failure as the library numbers it.
    """

    def __init__(
        self, code: int, message: str, function: str, arguments: str = "", line: int = 0, exception_type: int = 0
    ) -> None:
        super().__init__(code, message, function, arguments, line, exception_type)
        self.code: int = ErrorCode(code) if code in set(ErrorCode) else code
        self.message = message
        self.function = function
        self.arguments = arguments
        self.line = line
        self.exception_type = exception_type

    def __str__(self) -> str:
        where = f"{self.function}({self.arguments})" if self.arguments else self.function
        return f"{where}: {self.message} (code {int(self.code)})"


class ArgumentError(Error, ValueError):
    """An argument, or the layout of the engine, does not fit."""


class StateError(Error, RuntimeError):
    """The engine is not in a state for this call: closed, or its last reset failed."""


class InternalError(Error):
    """An exception inside the library, such as memory exhaustion."""


class TensorRTError(Error):
    """TensorRT refused something."""


class CudaError(Error):
    """The CUDA device failed or ran out of a resource."""


_CLASSES: dict[int, type[Error]] = {
    2: ArgumentError,
    3: StateError,
    6: InternalError,
    7: TensorRTError,
    8: CudaError,
}


def make_error(
    code: int, message: str, function: str, arguments: str = "", line: int = 0, exception_type: int = 0
) -> Error:
    """The exception for a record, of the class that belongs to its `exception_type`."""
    return _CLASSES.get(exception_type, Error)(code, message, function, arguments, line, exception_type)
