"""Refines one recording. Finished results survive whatever ends the run, and are not made again.

A recording is built in a hidden folder beside its final place, OUT/.NAME.partial, and moved there once its last frame
is done. Every file in it is complete. run.json says what the results are made from; a run with anything else is refused.
"""

from __future__ import annotations

import contextlib
import dataclasses
import fcntl
import glob
import hashlib
import json
import os
import pathlib
import shutil
import time
from typing import Any, Callable, Iterator

from .._engine import Engine, Layout
from .._errors import Error, LibraryNotFoundError
from ..support import images
from ..support.errors import UserError, needed
from ..support.inputs import read_file, require_regular
from ..support.output import replacing
from .recordings import Frame, Recording, frames_of

_MANIFEST = "run.json"
_SECONDS_TO_WAIT_FOR_ANOTHER_RUN = 10


@dataclasses.dataclass(frozen=True)
class Settings:
    """The settings that all recordings share."""

    output: pathlib.Path
    engine: str
    engine_digest: str
    rgb_layout: Layout = "planar"
    library: str | None = None
    confidence: bool = False
    register: bool = False
    max_difference: float = 0.02


@dataclasses.dataclass
class Outcome:
    """The outcome for a recording."""

    name: str
    refined: int = 0
    kept: int = 0
    """Frames that an earlier run had refined."""
    failures: list[str] = dataclasses.field(default_factory=list)
    notes: list[str] = dataclasses.field(default_factory=list)
    """What the user should know although nothing failed."""


def refine_recording(recording: Recording, settings: Settings, load_engine: Callable[[], Engine]) -> Outcome:
    """Refines one recording. Its failures are part of the outcome."""
    outcome = Outcome(recording.name)
    try:
        target = settings.output / recording.name
        target.parent.mkdir(parents=True, exist_ok=True)
        with _only_run(target):
            if recording.is_bag:
                _refine_bag(recording, target, settings, load_engine, outcome)
            else:
                _refine_folder(recording, target, settings, load_engine, outcome)
    except UserError as error:
        outcome.failures.append(str(error))
    except OSError as error:
        outcome.failures.append(f"{error.filename or recording.path}: {error.strerror or error}")
    except (Error, LibraryNotFoundError):  # concern the engine
        raise
    except Exception as error:  # must not end the run for the other recordings
        outcome.failures.append(f"unexpected failure: {type(error).__name__}: {error}")
    return outcome


def digest_of(path: str) -> str:
    """The checksum of an engine file's content."""
    require_regular(path, f"the engine {path}")
    digest = hashlib.sha256()
    try:
        with open(path, "rb") as stream:
            for block in iter(lambda: stream.read(1 << 20), b""):
                digest.update(block)
        return digest.hexdigest()
    except OSError as error:
        raise UserError(f"the engine {path} cannot be read: {error.strerror}") from error


def _refine_folder(
    recording: Recording, target: pathlib.Path, settings: Settings, load_engine: Callable[[], Engine], outcome: Outcome
) -> None:
    frames = frames_of(recording, settings.max_difference)
    if frames[0].paired_by_order:
        outcome.notes.append(f"no two images of one name: {len(frames)} colour and depth images are paired by order")
    images_read = [path for frame in frames for path in (frame.color, frame.depth)]
    manifest = {**_manifest(images_read, settings), "confidence": settings.confidence, "frames": len(frames)}
    if target.exists():
        _check_manifest(target / _MANIFEST, target, manifest)
        outcome.kept = len(frames)
        return
    work = target.with_name(f".{target.name}.partial")
    if work.exists() and (work / _MANIFEST).exists():
        _check_manifest(work / _MANIFEST, work, manifest)
    for folder in ("depth", "confidence") if settings.confidence else ("depth",):
        (work / folder).mkdir(parents=True, exist_ok=True)
    _write(work / _MANIFEST, json.dumps(manifest, indent=1) + "\n")
    for frame in frames:
        depth = work / "depth" / f"{frame.name}.png"
        confidence = work / "confidence" / f"{frame.name}.tiff" if settings.confidence else None
        if depth.exists():  # written after the confidence
            outcome.kept += 1
            continue
        try:
            _refine_frame(frame, depth, confidence, load_engine())
            outcome.refined += 1
        except UserError as error:
            outcome.failures.append(str(error))
    if outcome.failures:
        return
    stamps = [frame.stamps for frame in frames if frame.stamps]
    if stamps:
        lines = [f"{stamp} depth/{frame.name}.png\n" for frame, (_, stamp) in zip(frames, stamps)]
        _write(work / "depth.txt", "".join(lines))
        lines = [f"{stamp} {frame.color.resolve()}\n" for frame, (stamp, _) in zip(frames, stamps)]
        _write(work / "rgb.txt", "".join(lines))
    work.rename(target)


def _refine_frame(frame: Frame, depth_path: pathlib.Path, confidence_path: pathlib.Path | None, engine: Engine) -> None:
    color = images.read_color(frame.color, str(frame.color))
    depth = images.read_depth(frame.depth, str(frame.depth))
    if color.shape[:2] != depth.shape:
        raise UserError(
            f"{frame.color} has {color.shape[1]} x {color.shape[0]} pixels and {frame.depth} "
            f"{depth.shape[1]} x {depth.shape[0]}; register the depth to the colour images before"
        )
    size = (depth.shape[1], depth.shape[0])
    if engine.size != size:
        engine.reset(*size)
    refined = engine.process(color, depth, copy=True)
    if confidence_path is not None:
        if refined.confidence is None:
            raise UserError("the engine delivers no confidence; leave out --confidence")
        images.write_confidence(confidence_path, refined.confidence)
    images.write_depth(depth_path, refined.depth)


def _refine_bag(
    recording: Recording, target: pathlib.Path, settings: Settings, load_engine: Callable[[], Engine], outcome: Outcome
) -> None:
    about = target.with_name(f"{target.name}.{_MANIFEST}")  # a bag holds nothing but messages
    files = sorted(recording.path.iterdir()) if recording.path.is_dir() else [recording.path]
    manifest = {
        **_manifest(files, settings),
        "register": settings.register,
        "max_difference": settings.max_difference,
    }
    if target.exists():  # a bag exists completely or not at all
        earlier = _check_manifest(about, target, manifest)
        outcome.kept = int(earlier.get("refined", 0))
        outcome.failures += map(str, earlier.get("failures", []))
        return
    try:
        from ..bags import refinement as bags
    except ImportError as error:
        raise needed("rosbags", "ros") from error
    for left in target.parent.glob(f".{glob.escape(target.name)}.*.part"):  # of a worker that was killed
        shutil.rmtree(left)
    asked = bags.Options(register=settings.register, max_difference=round(settings.max_difference * 1e9))

    def describe(summary: bags.Summary) -> None:
        outcome_of_it = {"refined": summary.refined, "failures": summary.failures}
        _write(about, json.dumps({**manifest, **outcome_of_it}, indent=1) + "\n")

    summary = bags.refine_bag(recording.path, target, load_engine, asked, finished=describe)
    outcome.refined = summary.refined
    outcome.failures += summary.failures
    outcome.notes += summary.notes


def _manifest(files: list[pathlib.Path], settings: Settings) -> dict[str, object]:
    inputs = hashlib.sha256()
    for path in files:
        status = path.stat()
        inputs.update(f"{path.name} {status.st_size} {status.st_mtime_ns}\n".encode("utf-8", "surrogateescape"))
    return {"engine": settings.engine_digest, "rgb_layout": settings.rgb_layout, "images": inputs.hexdigest()}


def _check_manifest(path: pathlib.Path, result: pathlib.Path, manifest: dict[str, object]) -> dict[str, Any]:
    """What is written at `path` about an earlier `result`, which must have been made in the same way."""
    try:
        earlier: Any = json.loads(read_file(path, str(path)))
    except (UserError, ValueError, RecursionError) as error:
        raise UserError(
            f"{result} is there and no result of an earlier run; remove it, or name another output"
        ) from error
    different = [key for key in manifest if not isinstance(earlier, dict) or earlier.get(key) != manifest[key]]
    if different:
        raise UserError(
            f"{result} was made with another {', '.join(different)}; name another output, or remove it to begin again"
        )
    return dict(earlier)


def _write(path: pathlib.Path, text: str) -> None:
    with replacing(path) as part:
        part.write_text(text, "utf-8", "surrogateescape")


@contextlib.contextmanager
def _only_run(target: pathlib.Path) -> Iterator[None]:
    """Only one worker at a time refines a recording, whatever run it belongs to. The lock ends with the process."""
    path = target.with_name(f".{target.name}.lock")
    patience = time.monotonic() + _SECONDS_TO_WAIT_FOR_ANOTHER_RUN
    while True:
        with path.open("a") as file:
            try:
                fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
                held = path.exists() and os.path.samestat(os.fstat(file.fileno()), path.stat())
            except BlockingIOError:
                held = False
            if held:  # and not one that its holder removed between opening and locking
                try:
                    yield
                finally:
                    path.unlink()
                return
        if time.monotonic() > patience:
            raise UserError("another run is at work on it")
        time.sleep(0.1)
