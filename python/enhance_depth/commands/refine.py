"""Refines one frame: a colour image (8-bit PNG or JPEG) and a depth image (16-bit PNG) of one size."""

from __future__ import annotations

import argparse
import pathlib

from .._engine import Engine
from ..support import images
from ..support.errors import UserError
from . import add_engine_arguments


def add_arguments(parser: argparse.ArgumentParser) -> None:
    add_engine_arguments(parser)
    parser.add_argument("--color", required=True, type=pathlib.Path, metavar="FILE", help="colour image")
    parser.add_argument(
        "--depth", required=True, type=pathlib.Path, metavar="FILE", help="depth image, 0 where unknown"
    )
    parser.add_argument("--output", required=True, type=pathlib.Path, metavar="FILE", help="refined depth, 16-bit PNG")
    parser.add_argument("--confidence", type=pathlib.Path, metavar="FILE", help="confidence, 32-bit float TIFF")


def run(options: argparse.Namespace) -> int:
    color = images.read_color(options.color, str(options.color))
    depth = images.read_depth(options.depth, str(options.depth))
    height, width = depth.shape
    if color.shape[:2] != depth.shape:
        raise UserError(
            f"{options.color} has {color.shape[1]} x {color.shape[0]} pixels and {options.depth} {width} x {height}; "
            "register the depth to the colour image before"
        )
    for output, endings in ((options.output, (".png",)), (options.confidence, (".tiff", ".tif"))):
        if output and output.suffix.lower() not in endings:
            raise UserError(f"{output} must end in {endings[0]}: that is what is written")
    for output in filter(None, (options.output, options.confidence)):
        for source in (options.color, options.depth, pathlib.Path(options.engine)):
            if output.exists() and source.exists() and output.samefile(source):
                raise UserError(f"the output {output} is the input {source}; name another file")
    with Engine(options.engine, size=(width, height), rgb_layout=options.rgb_layout, library=options.library) as engine:
        refined = engine.process(color, depth)
        if options.confidence and refined.confidence is None:
            raise UserError(f"{options.engine} delivers no confidence; leave out --confidence")
        images.write_depth(options.output, refined.depth)
        if refined.confidence is not None and options.confidence:
            images.write_confidence(options.confidence, refined.confidence)
        print(f"Refined {width} x {height} pixels in {engine.last_inference_time:.1f} ms")
        for name, image in (("before", depth), ("after", refined.depth)):
            print(f"  valid pixels {name:7} {100 * (image > 0).mean():.1f} %")
        print(f"  refined depth        {options.output}")
    return 0
