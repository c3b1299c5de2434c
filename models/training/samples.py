"""Frames with their ground truth, and files of them."""

import dataclasses
import os

import numpy as np

from .render import photograph, render
from .scene import Camera, random_camera, random_scene
from .sensor import measure, random_sensor
from .textures import TextureBank

LEAST_MEASURED = 0.25  # share of the pixels; a frame with fewer teaches nothing
LEAST_DEPTH = 0.35  # metres


@dataclasses.dataclass
class Frame:
    """`color` is H x W x 3, 8 bits, red first; `depth` (0: none) and `truth` are millimetres in 16 bits."""

    color: np.ndarray
    depth: np.ndarray
    truth: np.ndarray


def _millimetres(depth):
    return np.clip(depth * 1000 + 0.5, 0, 65535).astype(np.uint16)


class FrameMaker:
    """An endless, seeded supply of frames; with the same release of NumPy the same seed gives the same frames."""

    def __init__(self, seed, width, height, whole=False):
        """`whole` frames come from a camera like the sensors', smaller ones are windows of such frames."""
        self.rng = np.random.default_rng([seed, width, height])
        self.bank = TextureBank(seed)
        self.width, self.height, self.whole = width, height, whole

    def camera(self):
        if not self.whole:
            return random_camera(self.rng, self.width, self.height)
        focal = self.width * self.rng.uniform(0.75, 1.0)
        return Camera(self.width, self.height, focal, (self.width - 1) / 2, (self.height - 1) / 2)

    def __call__(self):
        rng = self.rng
        while True:
            camera = self.camera()
            scene = random_scene(rng, self.bank, camera)
            rendering = render(rng, scene, self.bank, camera)
            if not np.percentile(rendering.depth, 5) > LEAST_DEPTH:
                continue
            depth = measure(rng, random_sensor(rng), scene, rendering, camera.focal)
            if (depth > 0).mean() >= LEAST_MEASURED:
                return Frame(photograph(rng, rendering.color), _millimetres(depth), _millimetres(rendering.depth))


def write_shard(path, maker, count):
    """Writes `count` frames into one file, complete or not at all."""
    frames = [maker() for _ in range(count)]
    partial = f"{path}.partial"
    with open(partial, "wb") as file:
        np.savez(file, **{name: np.stack([getattr(frame, name) for frame in frames])
                          for name in ("color", "depth", "truth")})
    os.replace(partial, path)
