#!/usr/bin/env python3
"""A complete host program in Python: refines one frame from image files and shows what changed.

    refine.py ENGINE COLOR DEPTH.png OUTPUT.png [--plot PLOT.png]

The depth image and the refined one are 16-bit PNGs. Images are read with Pillow; the plot needs matplotlib.
"""

from __future__ import annotations

import argparse
import sys

import enhance_depth
import numpy as np
from PIL import Image


def read_depth(path: str) -> np.ndarray:
    with Image.open(path) as image:
        if not image.mode.startswith("I"):
            raise ValueError(f"{path} is not a 16-bit grey image")
        values = np.asarray(image)
    if values.min() < 0 or values.max() > 65535:  # depending on its version, Pillow reads grey images as 32-bit ones
        raise ValueError(f"{path} holds values from {values.min()} to {values.max()}; 16 bits hold 0 to 65535")
    return values.astype(np.uint16)


def read_color(path: str) -> np.ndarray:
    with Image.open(path) as image:
        return np.asarray(image.convert("RGB"))


def plot(path: str, rgb: np.ndarray, depth: np.ndarray, refined: enhance_depth.RefinedFrame) -> None:
    import matplotlib

    matplotlib.use("Agg")
    from matplotlib import pyplot

    known = depth[depth > 0]
    scale = {"vmin": known.min(), "vmax": known.max(), "cmap": "viridis"} if known.size else {}
    pictures = [("colour", rgb, {})]
    for title, values in (("depth", depth), ("refined depth", refined.depth)):
        pictures.append((title, np.ma.masked_equal(values, 0), scale))  # holes stay white
    if refined.confidence is not None:
        pictures.append(("confidence", refined.confidence, {"cmap": "gray"}))
    figure, axes = pyplot.subplots(1, len(pictures), figsize=(4 * len(pictures), 3.5), layout="constrained")
    for axis, (title, values, style) in zip(axes, pictures):
        drawn = axis.imshow(values, **style)
        axis.set(title=title, xticks=[], yticks=[])
        if style:
            figure.colorbar(drawn, ax=axis, orientation="horizontal")
    figure.savefig(path)


def main() -> int:
    parser = argparse.ArgumentParser(description="Refine one frame.")
    parser.add_argument("engine")
    parser.add_argument("color")
    parser.add_argument("depth")
    parser.add_argument("output")
    parser.add_argument("--plot", help="also draw colour, depth before and after, and confidence into this file")
    parser.add_argument("--interleaved", action="store_true",
                        help='for an engine whose "rgb" tensor has three dimensions')
    arguments = parser.parse_args()

    try:
        rgb, depth = read_color(arguments.color), read_depth(arguments.depth)
        layout = "interleaved" if arguments.interleaved else "planar"
        with enhance_depth.Engine(arguments.engine, size=depth.shape[::-1], rgb_layout=layout) as engine:
            refined = engine.process(rgb, depth)
            Image.fromarray(refined.depth).save(arguments.output)
            if arguments.plot:
                plot(arguments.plot, rgb, depth, refined)
            print(f"{arguments.output}: {engine.last_inference_time:.2f} ms on the device, "
                  f"holes {np.mean(depth == 0):.1%} before and {np.mean(refined.depth == 0):.1%} after")
    except (enhance_depth.Error, ImportError, OSError, ValueError) as error:  # ImportError: no library, no matplotlib
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
