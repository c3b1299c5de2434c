"""Finds the recordings in a folder, and the pairs of images of each."""

from __future__ import annotations

import dataclasses
import os
import pathlib
import re

from ..support.errors import UserError
from ..support.inputs import read_file
from ..support.pairing import pair

_COLOR_FOLDERS = ("color", "rgb")
_IMAGES = (".png", ".jpg", ".jpeg")
_BAGS = (".bag", ".mcap", ".db3")
_BLANKS = " \t\r,"
"""What separates the columns of a TUM recording's lists."""


@dataclasses.dataclass(frozen=True)
class Recording:
    """A folder of images, or a bag."""

    name: str
    """Its path below the folder of all recordings."""
    path: pathlib.Path
    is_bag: bool


@dataclasses.dataclass(frozen=True)
class Frame:
    """A pair of image files. The result gets the depth image's name."""

    color: pathlib.Path
    depth: pathlib.Path
    stamps: tuple[str, str] | None = None
    """The time stamps of colour and depth, as written in a TUM recording's lists."""
    paired_by_order: bool = False

    @property
    def name(self) -> str:
        return self.depth.stem


def find_recordings(root: pathlib.Path) -> list[Recording]:
    """All recordings below a folder, or the folder itself, in the order of their names.

    Links to folders are followed; a folder that is reached in several ways counts once, under its first name.
    """
    if not root.is_dir():
        raise UserError(f"{root} is no folder; name the one that holds the recordings")
    found = []
    seen: set[tuple[int, int]] = set()
    for place, folders, files in os.walk(root, onerror=_refuse, followlinks=True):
        path = pathlib.Path(place)
        status = path.stat()
        if (status.st_dev, status.st_ino) in seen:
            folders.clear()
            continue
        seen.add((status.st_dev, status.st_ino))
        folders.sort()
        name = path.relative_to(root).as_posix()
        is_bag = "metadata.yaml" in files
        if is_bag or _color_folder(path) or {"rgb.txt", "depth.txt"} <= set(files):
            found.append(Recording(name if name != "." else root.resolve().name, path, is_bag))
            folders.clear()
            continue
        folders[:] = [folder for folder in folders if not folder.startswith(".")]
        bags = [path / file for file in files if file.endswith(_BAGS) and not file.startswith(".")]
        found += [Recording(bag.relative_to(root).as_posix(), bag, True) for bag in bags]
    if not found:
        raise UserError(
            f"{root} holds no recordings: no folders with depth and color (or rgb), none with rgb.txt and depth.txt, no bags"
        )
    return sorted(found, key=lambda recording: recording.name)


def frames_of(recording: Recording, max_difference: float) -> list[Frame]:
    """The pairs of a folder: by the stamps of its lists, else by name, else by order."""
    if all(os.path.lexists(recording.path / name) for name in ("rgb.txt", "depth.txt")):
        frames = _listed(recording.path, max_difference)
    else:
        color_folder = _color_folder(recording.path)
        assert color_folder is not None, "that is what makes it a recording"
        frames = _named(_images(color_folder), _images(recording.path / "depth"), recording.path)
    if len({frame.name for frame in frames}) < len(frames):
        raise UserError(f"{recording.path} has several depth images of one name")
    if not frames:
        raise UserError(f"{recording.path} has no pair of colour and depth")
    return frames


def _refuse(error: OSError) -> None:
    raise UserError(f"{error.filename} cannot be read: {error.strerror}")


def _color_folder(path: pathlib.Path) -> pathlib.Path | None:
    if not (path / "depth").is_dir():
        return None
    return next((path / name for name in _COLOR_FOLDERS if (path / name).is_dir()), None)


def _images(folder: pathlib.Path) -> list[pathlib.Path]:
    def by_number(path: pathlib.Path) -> list[tuple[int, str]]:
        return [(int(part) if part.isdigit() else -1, part) for part in re.split(r"(\d+)", path.name)]

    return sorted(
        (path for path in folder.iterdir() if path.suffix.lower() in _IMAGES and path.name[0] != "."), key=by_number
    )


def _named(colors: list[pathlib.Path], depths: list[pathlib.Path], place: pathlib.Path) -> list[Frame]:
    of_name = {color.stem: color for color in colors}
    if any(depth.stem in of_name for depth in depths):
        if len(of_name) < len(colors):
            raise UserError(f"{place} has several colour images of one name; remove those that are not meant")
        return [Frame(of_name[depth.stem], depth) for depth in depths if depth.stem in of_name]
    if len(colors) != len(depths):
        raise UserError(
            f"{place} has {len(colors)} colour and {len(depths)} depth images, no two of one name: they cannot be paired"
        )
    return [Frame(color, depth, paired_by_order=True) for color, depth in zip(colors, depths)]


def _listed(place: pathlib.Path, max_difference: float) -> list[Frame]:
    colors, depths = _list(place / "rgb.txt"), _list(place / "depth.txt")
    pairs = pair(
        [round(float(stamp) * 1e9) for stamp, _ in depths],
        [round(float(stamp) * 1e9) for stamp, _ in colors],
        round(max_difference * 1e9),
    )
    frames = []
    for depth_index, color_index in sorted(pairs.items()):
        (color_stamp, color), (depth_stamp, depth) = colors[color_index], depths[depth_index]
        frames.append(Frame(place / color, place / depth, (color_stamp, depth_stamp)))
    return frames


def _list(path: pathlib.Path) -> list[tuple[str, str]]:
    entries = []
    # Names may contain any bytes, as elsewhere in the file system.
    for number, line in enumerate(read_file(path, str(path)).decode("utf-8", "surrogateescape").split("\n"), 1):
        line = line.strip(_BLANKS)
        if not line or line.startswith("#"):
            continue
        stamp, *name = re.split(f"[{_BLANKS}]+", line, maxsplit=1)
        if not re.fullmatch(r"\d{1,12}(\.\d*)?", stamp) or not name:
            raise UserError(f"{path}:{number} is no time stamp and file name: {line[:80]!r}")
        entries.append((stamp, name[0]))
    return entries
