"""Failures that the user can do something about: they end a command with a sentence, never with a traceback."""

from __future__ import annotations

import contextlib
import signal
import sys
from types import FrameType
from typing import Iterator


class UserError(Exception):
    """What is wrong, where, and what to do. `status` is the exit status of the command."""

    def __init__(self, text: str, status: int = 2) -> None:
        super().__init__(text)
        self.status = status


class Interrupted(BaseException):
    """A signal asked the command to end. Not an Exception, so that no handler takes it for a failed frame."""

    def __init__(self, number: int) -> None:
        super().__init__(signal.Signals(number).name)


@contextlib.contextmanager
def interruptible() -> Iterator[None]:
    """Inside this context, SIGINT, SIGTERM and SIGHUP raise Interrupted, so that partial output is removed."""

    def interrupt(number: int, _frame: FrameType | None) -> None:
        raise Interrupted(number)

    numbers = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
    # A signal that was ignored when the command started, as with nohup, stays ignored.
    before = {number: signal.getsignal(number) for number in numbers}
    taken = [number for number in numbers if before[number] is not signal.SIG_IGN]
    for number in taken:
        signal.signal(number, interrupt)
    try:
        yield
    finally:
        for number in taken:
            signal.signal(number, before[number])


def needed(package: str, extra: str) -> UserError:
    """The error for a package that is needed by an optional part of this one but not installed."""
    return UserError(f"this command needs the package {package}: pip install 'enhance_depth[{extra}]'")


def complain(text: str) -> None:
    """Tells the user on standard error, under the name of the package. The lines of `text` stay lines."""
    print("enhance_depth:", "\n".join(map(printable, text.split("\n"))), file=sys.stderr)


def printable(text: str) -> str:
    """The text with control characters escaped: names of files and topics may contain anything."""
    return "".join(letter if letter.isprintable() else letter.encode("unicode_escape").decode() for letter in text)
