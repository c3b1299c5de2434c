"""Refines the depth in a ROS 1 bag, or a ROS 2 bag in SQLite or MCAP. The output is a bag of the same kind with all
messages of the input and three topics beside the depth's: refined, confidence and camera_info."""

from __future__ import annotations

import argparse
import contextlib
import pathlib
from typing import TYPE_CHECKING

from .._engine import Engine
from ..support.errors import UserError, complain, needed, printable
from ..support.output import refuse_existing
from ..support.progress import Progress
from . import add_engine_arguments, add_max_difference

if TYPE_CHECKING:
    from ..bags.refinement import Summary

_FAILURES_SHOWN = 10


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument(
        "input", type=pathlib.Path, metavar="IN", help="the bag: .bag, a folder of ROS 2, .mcap or .db3"
    )
    parser.add_argument("output", type=pathlib.Path, metavar="OUT", nargs="?", help="the bag to write; must not exist")
    parser.add_argument("--color", metavar="TOPIC", help="colour images, if more than one topic can be meant")
    parser.add_argument("--depth", metavar="TOPIC", help="depth images, if more than one topic can be meant")
    parser.add_argument("--list", action="store_true", help="list the image topics and do nothing")
    add_max_difference(parser)
    parser.add_argument(
        "--register",
        action="store_true",
        help="move the depth into the colour camera's image, by CameraInfo and /tf_static of the bag",
    )
    add_engine_arguments(parser, required=False)


def run(options: argparse.Namespace) -> int:
    try:
        from ..bags import refinement, topics
        from ..bags.storage import Bag
    except ImportError as error:
        raise needed("rosbags", "ros") from error
    if options.list:
        with Bag(options.input) as bag:
            print(topics.describe(topics.image_topics(bag)))
        return 0
    if options.output is None or options.engine is None:
        raise UserError("bag needs OUT and --engine, unless --list is given")
    refuse_existing(options.output)
    asked = refinement.Options(options.color, options.depth, options.register, round(options.max_difference * 1e9))
    with contextlib.ExitStack() as stack:
        progress = stack.enter_context(Progress("frames"))

        def load_engine() -> Engine:
            return stack.enter_context(Engine(options.engine, rgb_layout=options.rgb_layout, library=options.library))

        summary = refinement.refine_bag(options.input, options.output, load_engine, asked, progress.advance)
    _report(options, summary)
    return 1 if summary.failures else 0


def _report(options: argparse.Namespace, summary: Summary) -> None:
    for note in summary.notes:
        complain(f"note: {printable(note)}")
    for failure in summary.failures[:_FAILURES_SHOWN]:
        complain(f"not refined: {printable(failure)}")
    if len(summary.failures) > _FAILURES_SHOWN:
        complain(f"not refined: {len(summary.failures) - _FAILURES_SHOWN} more")
    color, depth = summary.color, summary.depth
    print(f"Refined {summary.refined} of {summary.pairs} pairs")
    print(f"  colour   {printable(color.name)}  {color.count - summary.pairs} of {color.count} images without a partner")
    print(f"  depth    {printable(depth.name)}  {depth.count - summary.pairs} of {depth.count} images without a partner")
    print(f"  unit     {summary.unit}")
    print(printable(f"  result   {options.output}: {depth.base}/refined{depth.transport}, {depth.base}/confidence"))
