"""Output that is either complete or absent."""

from __future__ import annotations

import contextlib
import errno
import os
import pathlib
import shutil
import tempfile
from typing import Iterator

from .errors import UserError

_NO_LINKS = (errno.EPERM, errno.ENOTSUP, errno.ENOSYS)
"""The errors of file systems without hard links, such as those of memory cards."""


@contextlib.contextmanager
def whole_or_absent(target: pathlib.Path) -> Iterator[pathlib.Path]:
    """Yields a path with the target's name in a new folder beside it; at the end moves what was written there into place.
    
    The folder has a unique name, so that no other run or existing file is in the way, and is always removed. The target,
    a file or a folder, must not exist, neither at the start nor at the end.
    """
    refuse_existing(target)
    try:
        folder = pathlib.Path(tempfile.mkdtemp(prefix=f".{target.name[:100]}.", suffix=".part", dir=target.parent))
    except OSError as error:
        raise UserError(f"cannot write {target}: {error.strerror}; check its folder {target.parent}") from error
    try:
        part = folder / target.name
        yield part
        _flush(part)
        _move(part, target)
    finally:
        shutil.rmtree(folder, ignore_errors=True)


@contextlib.contextmanager
def replacing(target: pathlib.Path) -> Iterator[pathlib.Path]:
    """Like whole_or_absent(), for a file that may replace an earlier one of the same name."""
    if target.exists() and not target.is_file():
        raise UserError(f"{target} is no file that could be replaced; name another output")
    try:
        number, name = tempfile.mkstemp(prefix=f".{target.name[:100]}.", suffix=".part", dir=target.parent)
    except OSError as error:
        raise UserError(f"cannot write {target}: {error.strerror}; check its folder {target.parent}") from error
    os.close(number)
    part = pathlib.Path(name)
    try:
        yield part
        _flush(part)
        part.chmod(0o666 & ~_umask())
        part.replace(target)
    finally:
        part.unlink(missing_ok=True)


def refuse_existing(target: pathlib.Path) -> None:
    if target.exists() or target.is_symlink():
        raise UserError(f"{target} exists already; name another output, or remove it")


def _flush(path: pathlib.Path) -> None:
    for file in [path] if path.is_file() else [entry for entry in path.rglob("*") if entry.is_file()]:
        with file.open("rb") as opened:
            os.fsync(opened.fileno())


def _move(part: pathlib.Path, target: pathlib.Path) -> None:
    try:
        if part.is_dir():
            part.rename(target)
            return
        try:
            os.link(part, target)  # renaming would replace a file that appeared meanwhile
        except OSError as error:
            if error.errno not in _NO_LINKS:
                raise
            refuse_existing(target)
            part.rename(target)
    except OSError as error:
        raise UserError(f"{target} cannot be put in its place: {error.strerror}", status=1) from error


def _umask() -> int:
    current = os.umask(0)
    os.umask(current)
    return current
