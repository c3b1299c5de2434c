"""The subcommands, one module each: add_arguments() and run()."""

from __future__ import annotations

import argparse
import importlib
import os
import sys
from types import ModuleType

from .._errors import Error, LibraryNotFoundError
from .._library import load_library, version
from .._version import __version__
from ..support.errors import Interrupted, UserError, complain, interruptible

_COMMANDS = {
    "refine": "refine one frame",
    "bag": "refine the depth in a ROS 1 or ROS 2 bag",
    "dataset": "refine many recordings, on one machine or a Ray cluster",
}
_ENGINE_REFUSED = 3
_MOST_SECONDS = 1e6


def main(arguments: list[str] | None = None) -> int:
    """Runs a command line; returns its exit status.

    0: success. 1: something could not be refined or written, or the run was interrupted. 2: the command line, or a
    file that it names, cannot be used. 3: the library refused the engine.
    """
    try:
        with interruptible():
            parser, commands = _parser()
            options = parser.parse_args(arguments)
            status: int = commands[options.command].run(options)
            return status
    except UserError as error:
        return _complain(str(error), error.status)
    except LibraryNotFoundError as error:
        return _complain(str(error), _ENGINE_REFUSED)
    except ImportError as error:  # a package that should have been installed with this one
        return _complain(str(error), 2)
    except Error as error:
        return _complain(f"the engine cannot be used: {error}", _ENGINE_REFUSED)
    except Interrupted as signal:
        return _complain(f"ended by {signal}", 1)
    except BrokenPipeError:  # the reader of the output has closed it
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 1
    except OSError as error:
        return _complain(f"{error.filename or 'a file'}: {error.strerror or error}", 1)


def add_engine_arguments(parser: argparse.ArgumentParser, required: bool = True) -> None:
    """What every command needs to make an Engine."""
    parser.add_argument("--engine", required=required, metavar="FILE", help="the engine")
    parser.add_argument(
        "--rgb-layout",
        choices=("planar", "interleaved"),
        default="planar",
        help='how the engine wants its colour image: planar for a tensor "rgb" of four extents, the default, '
        "interleaved for one of three",
    )
    parser.add_argument("--library", metavar="FILE", help="the library's file, if not the one that is found by itself")


def add_max_difference(parser: argparse.ArgumentParser) -> None:
    parser.add_argument(
        "--max-difference",
        type=_seconds,
        default=0.02,
        metavar="SECONDS",
        help="largest difference between the time stamps of a pair (0.02)",
    )


def _seconds(text: str) -> float:
    try:
        seconds = float(text)
    except ValueError:
        seconds = -1.0
    if not 0 <= seconds <= _MOST_SECONDS:
        raise UserError(f"--max-difference is {text}; it must be a number of seconds from 0 to {_MOST_SECONDS:g}")
    return seconds


def _parser() -> tuple[argparse.ArgumentParser, dict[str, ModuleType]]:
    parser = argparse.ArgumentParser(
        prog="python -m enhance_depth",
        description="Refines the depth images of RGB-D cameras with a TensorRT engine.",
    )
    parser.add_argument("--version", action=_Version)
    subparsers = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")
    commands = {}
    for name, summary in _COMMANDS.items():
        module = importlib.import_module(f".{name}", __name__)
        subparser = subparsers.add_parser(name, help=summary, description=module.__doc__)
        module.add_arguments(subparser)
        commands[name] = module
    return parser, commands


class _Version(argparse.Action):
    def __init__(self, option_strings: list[str], dest: str) -> None:
        super().__init__(option_strings, dest, nargs=0, help="print the versions of package and library")

    def __call__(self, parser: argparse.ArgumentParser, *_: object) -> None:
        print(f"enhance_depth {__version__}, library {version()} ({load_library().name})")
        parser.exit()


def _complain(text: str, status: int) -> int:
    complain(text)
    return status
