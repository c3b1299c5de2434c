"""Writes synthetic frames as a recording, with their true depth, to measure networks on.

    PYTHONPATH=models python3 -m training.recording build/synthetic --seed 9002000 --frames 50

makes the folders rgb, depth and truth of PNG images, depth in millimetres. Needs NumPy and Pillow.
"""

import argparse
import pathlib

from PIL import Image

from .samples import FrameMaker


def main(arguments=None):
    parser = argparse.ArgumentParser(description="Writes synthetic frames as a recording, with their true depth.")
    parser.add_argument("folder", type=pathlib.Path, help="the folder to make")
    parser.add_argument("--seed", type=int, required=True, help="from 9001000 on, training never sees the frames")
    parser.add_argument("--frames", type=int, default=50, help="how many (default 50)")
    parser.add_argument("--size", type=int, nargs=2, default=(640, 480), metavar=("WIDTH", "HEIGHT"))
    options = parser.parse_args(arguments)
    images = {"rgb": "color", "depth": "depth", "truth": "truth"}
    for folder in images:
        (options.folder / folder).mkdir(parents=True, exist_ok=True)
    maker = FrameMaker(options.seed, *options.size, whole=True)
    for number in range(options.frames):
        frame = maker()
        for folder, name in images.items():
            Image.fromarray(getattr(frame, name)).save(options.folder / folder / f"{number:05d}.png")


if __name__ == "__main__":
    main()
