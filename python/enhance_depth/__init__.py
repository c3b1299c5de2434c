"""Refine the depth image of an RGB-D camera with a TensorRT engine.

    import enhance_depth

    with enhance_depth.Engine("model.engine", size=(1280, 720)) as engine:
        refined = engine.process(rgb, depth)   # numpy arrays: (H, W, 3) uint8 and (H, W) uint16
        show(refined.depth)                    # a read-only view, valid until the next process()
        keep(refined.copy())                   # independent arrays

Depth is in whatever unit the caller uses, usually millimetres, and 0 means "no depth"; the refined depth is in the
same unit. Failures raise a subclass of `Error`, which carries everything that the library reports about them.
"""

from ._engine import Engine, RefinedFrame, to_interleaved, to_planar
from ._errors import (
    ArgumentError,
    CudaError,
    Error,
    ErrorCode,
    InternalError,
    LibraryNotFoundError,
    StateError,
    TensorRTError,
)
from ._library import load_library, version
from ._version import __version__

__all__ = [
    "ArgumentError",
    "CudaError",
    "Engine",
    "Error",
    "ErrorCode",
    "InternalError",
    "LibraryNotFoundError",
    "RefinedFrame",
    "StateError",
    "TensorRTError",
    "__version__",
    "load_library",
    "to_interleaved",
    "to_planar",
    "version",
]
