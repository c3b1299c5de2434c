"""Input files. Only regular files are opened: reading a FIFO or a device may never end."""

from __future__ import annotations

import os
import pathlib
import stat

from .errors import UserError

LARGEST_FILE = 1 << 30
"""Bytes. No image and no list of images needs more."""


def require_regular(path: str | os.PathLike[str], name: str) -> int:
    """The size of a regular file; `name` stands for it in errors."""
    try:
        status = os.stat(path)
    except OSError as error:
        raise UserError(f"{name} cannot be read: {error.strerror}") from error
    if not stat.S_ISREG(status.st_mode):
        raise UserError(f"{name} is no regular file; name the file itself")
    return status.st_size


def read_file(path: pathlib.Path, name: str) -> bytes:
    """The content of a regular file."""
    size = require_regular(path, name)
    if size > LARGEST_FILE:
        raise UserError(f"{name} is too large: {size} bytes, where {LARGEST_FILE} are enough for any image or list")
    try:
        return path.read_bytes()
    except OSError as error:
        raise UserError(f"{name} cannot be read: {error.strerror}") from error
