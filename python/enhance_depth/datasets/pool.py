"""Distributes recordings among workers: this process alone, or the actors of a Ray cluster."""

from __future__ import annotations

import collections
import importlib
import os
import socket
import sys
from typing import Any, Iterator, Sequence

from .._engine import Engine
from .._errors import Error, LibraryNotFoundError
from ..support.errors import UserError, needed
from .recordings import Recording
from .refinement import Outcome, Settings, refine_recording

_ATTEMPTS = 3
"""How many workers may die while refining a recording before the recording is assumed to be the reason."""

_SECONDS_TO_START = 60


class Worker:
    """Refines one recording after another with one engine, which it loads when it first needs it."""

    def __init__(self, settings: Settings) -> None:
        self._settings = settings
        self._engine: Engine | None = None

    def ready(self) -> None:
        """Returns once the worker runs."""

    def refine(self, recording: Recording) -> Outcome:
        try:
            return refine_recording(recording, self._settings, self._load)
        except (Error, LibraryNotFoundError) as error:
            self._engine = None  # a device error may have broken it
            return Outcome(recording.name, failures=[f"the engine cannot be used: {error}"])

    def _load(self) -> Engine:
        if self._engine is None:
            settings = self._settings
            self._engine = Engine(settings.engine, rgb_layout=settings.rgb_layout, library=settings.library)
        return self._engine


def refine_here(recordings: Sequence[Recording], settings: Settings) -> Iterator[Outcome]:
    """In this process."""
    worker = Worker(settings)
    yield from map(worker.refine, recordings)


def refine_on_ray(
    recordings: Sequence[Recording], settings: Settings, workers: int | None, address: str | None
) -> Iterator[Outcome]:
    """On the cluster at `address`, or on a temporary one on this machine.
    
    By default there is one worker per GPU, which it has to itself, or one if there is no GPU. If a worker dies, alone
    or with its machine, another one continues its recording from what is already there.
    """
    try:
        ray: Any = importlib.import_module("ray")
    except ImportError as error:
        raise needed("ray", "ray") from error
    _start(ray, address, workers)
    try:
        gpus = int(ray.cluster_resources().get("GPU", 0))
        count = min(workers or gpus or 1, len(recordings))
        # With more workers than GPUs they share them.
        share = min(1.0, gpus / count) if gpus else 0.0
        actor = ray.remote(num_cpus=1, num_gpus=share, max_restarts=-1)(Worker)
        yield from _share(ray, [actor.remote(settings) for _ in range(count)], recordings)
    finally:
        ray.shutdown()


def _start(ray: Any, address: str | None, workers: int | None) -> None:
    host, _, port = (address or "").rpartition(":")
    if host and port.isdigit() and "/" not in host:  # Ray itself would retry for minutes if nothing listens
        try:
            socket.create_connection((host, int(port)), timeout=10).close()
        except OSError as error:
            raise UserError(f"the Ray cluster at {address} cannot be joined: {error.strerror or error}", 1) from error
    # No usage statistics are sent anywhere unless the user asks for that.
    os.environ.setdefault("RAY_USAGE_STATS_ENABLED", "0")
    try:
        if address:
            ray.init(address=address, logging_level="ERROR", log_to_driver=False)
        else:
            ray.init(num_cpus=workers, include_dashboard=False, logging_level="ERROR", log_to_driver=False)
    except Exception as error:  # Ray raises a plain one when a busy machine is slow to start it
        where = f"the Ray cluster at {address} cannot be joined" if address else "Ray cannot be started here"
        raise UserError(f"{where}: {_first_line(error)}", status=1) from error


def _share(ray: Any, workers: list[Any], recordings: Sequence[Recording]) -> Iterator[Outcome]:
    waiting = collections.deque((recording, 1) for recording in recordings)
    idle: list[Any] = []
    running: dict[Any, tuple[Any, Recording, int]] = {}
    # A worker for which the cluster has no room starts when there is some; until then it is given nothing to do.
    starting = {worker.ready.remote(): worker for worker in workers}
    while waiting or running:
        while waiting and idle:
            recording, attempt = waiting.popleft()
            worker = idle.pop()
            running[worker.refine.remote(recording)] = (worker, recording, attempt)
        done = _first_done(ray, [*starting, *running], idle or running)
        if done in starting:
            worker = starting.pop(done)
            try:
                ray.get(done)
                idle.append(worker)
            except ray.exceptions.RayError as error:
                if not (starting or running or idle):
                    reason = f"no worker could be started: {_first_line(error)}"
                    yield from (Outcome(recording.name, failures=[reason]) for recording, _ in waiting)
                    return
            continue
        worker, recording, attempt = running.pop(done)
        try:
            outcome = ray.get(done)
            idle.append(worker)
        except ray.exceptions.RayActorError as error:
            starting[worker.ready.remote()] = worker  # Ray starts it again, on another machine if need be
            if attempt < _ATTEMPTS:
                waiting.append((recording, attempt + 1))
                continue
            reason = f"its worker ended {_ATTEMPTS} times: {_first_line(error)}"
            outcome = Outcome(recording.name, failures=[reason])
        except ray.exceptions.RayError as error:
            idle.append(worker)
            outcome = Outcome(recording.name, failures=[f"unexpected failure: {_first_line(error)}"])
        yield outcome


def _first_done(ray: Any, tasks: list[Any], at_work: object) -> Any:
    done, _ = ray.wait(tasks, timeout=None if at_work else _SECONDS_TO_START)
    if not done:
        print("Waiting for the cluster to have room for a worker.", file=sys.stderr, flush=True)
        done, _ = ray.wait(tasks)
    return done[0]


def _first_line(error: Exception) -> str:
    return (str(error).splitlines() or [type(error).__name__])[0]
