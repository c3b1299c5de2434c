"""Progress of a long run: one line that is updated on a terminal, otherwise a line every ten seconds."""

from __future__ import annotations

import sys
import time
from types import TracebackType

_SECONDS_BETWEEN_LINES = 10.0
_SECONDS_BETWEEN_UPDATES = 0.2


class Progress:
    """Counts `unit`s on standard error."""

    def __init__(self, unit: str) -> None:
        self._unit = unit
        self._total = 0
        self._done = 0
        self._terminal = sys.stderr.isatty()
        self._start = self._shown = time.monotonic()

    def __enter__(self) -> "Progress":
        return self

    def __exit__(
        self, kind: type[BaseException] | None, value: BaseException | None, trace: TracebackType | None
    ) -> None:
        if self._terminal:
            print("\r\033[K", end="", file=sys.stderr, flush=True)

    def advance(self, more: int = 0) -> None:
        """One unit is done or, if `more` is given, that many more have to be done."""
        if more:
            self._total += more
            self._start = time.monotonic()
            return
        self._done += 1
        now = time.monotonic()
        if now - self._shown < (_SECONDS_BETWEEN_UPDATES if self._terminal else _SECONDS_BETWEEN_LINES):
            return
        self._shown = now
        rate = self._done / (now - self._start)
        left = max(self._total - self._done, 0) / rate
        line = f"{self._done} of {self._total} {self._unit}, {rate:.1f}/s, {left:.0f} s left"
        if self._terminal:
            print(f"\r{line}\033[K", end="", file=sys.stderr, flush=True)
        else:
            print(line, file=sys.stderr, flush=True)
