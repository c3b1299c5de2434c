"""Depth sensors and their errors: structured light, stereo, time of flight.

`measure` turns a rendering into what such a sensor would deliver, in metres, 0 where it sees nothing. Where a number is
drawn from a range, the range covers common consumer sensors, from good to bad.
"""

import dataclasses

import numpy as np

from .images import blur, shifted, smooth_noise, window_maximum, window_minimum
from .render import visible_from

EDGE = 0.04  # relative difference within 3 x 3 pixels from which on there is a depth edge


@dataclasses.dataclass
class Sensor:
    kind: str  # "structured", "stereo", "tof"
    baseline: float  # metres, to the projector or second camera; negative: on the left
    nearest: float
    farthest: float
    least_signal: float  # below it, no depth; a white, facing surface at 1 m has 1


def random_sensor(rng):
    kind = rng.choice(["structured", "stereo", "tof"], p=[0.5, 0.25, 0.25])
    baseline = rng.uniform(0.005, 0.03) if kind == "tof" else rng.uniform(0.04, 0.09)
    return Sensor(kind, baseline * rng.choice([-1, 1]), rng.choice([0.3, 0.5, 0.8], p=[0.7, 0.2, 0.1]),
                  rng.uniform(3.5, 10), 10 ** rng.uniform(-3.6, -2.0))


def depth_edges(depth):
    """Where the nearest and the farthest value of 3 x 3 pixels differ by more than the share EDGE."""
    near, far = window_minimum(depth, 1), window_maximum(depth, 1)
    return far - near > EDGE * near


def _signal(sensor, rendering):
    """Light that comes back, per pixel: less from dark, far and grazed surfaces."""
    distance = np.linalg.norm(rendering.points, axis=2)
    facing = np.abs((rendering.normals * rendering.points).sum(2)) / distance
    power = 1 if sensor.kind == "stereo" else 2
    return rendering.infrared * facing**power / distance**2


def _raggedness(rng, depth):
    """The sensor's pixels do not lie where the colour's do: a shift, and edges that are ragged."""
    dx = np.zeros(depth.shape, np.float32)
    dy = np.zeros(depth.shape, np.float32)
    if rng.random() < 0.5:
        dx += np.float32(rng.uniform(-1.8, 1.8))
        dy += np.float32(rng.uniform(-1, 1))
    if rng.random() < 0.85:
        spacing, reach = rng.choice([1, 1.5, 2.5, 4, 6]), rng.uniform(0.2, 1.8)
        dx += np.float32(reach) * smooth_noise(rng, depth.shape, spacing)
        dy += np.float32(reach * rng.uniform(0.3, 1)) * smooth_noise(rng, depth.shape, spacing)
    return dx, dy


def _fattened(rng, depth):
    """Matching windows carry the nearer surface over its edge, in places."""
    radius = int(rng.integers(1, 3))
    moved = window_minimum(depth, radius) if rng.random() < 0.8 else window_maximum(depth, radius)
    return np.where(smooth_noise(rng, depth.shape, 12) > rng.uniform(-0.5, 1.2), moved, depth)


def _flying(rng, depth, share):
    """Pixels at edges see both surfaces and report something between."""
    near, far = window_minimum(depth, 1), window_maximum(depth, 1)
    mixed = depth_edges(depth) & (rng.random(depth.shape, dtype=np.float32) < share)
    mix = rng.random(depth.shape, dtype=np.float32)
    return np.where(mixed, near * mix + far * (1 - mix), depth)


def _mixed_noise(rng, shape):
    """White noise and correlated blotches in a random proportion, standard deviation about 1."""
    weights = rng.random(3) * [1, 1, 0.5]
    spacings = (1, rng.uniform(1.5, 6), rng.uniform(6, 16))
    noise = sum(w * smooth_noise(rng, shape, s) for w, s in zip(weights, spacings))
    return np.float32(1 / (np.linalg.norm(weights) + 0.1)) * noise


def _disparity_noise(rng, sensor, depth, focal, weak):
    """Noise and steps of the disparity: both grow with the square of the distance."""
    product = focal * abs(sensor.baseline)
    deviation = np.exp(rng.uniform(np.log(0.03), np.log(0.3)))
    disparity = product / depth + np.float32(deviation) * _mixed_noise(rng, depth.shape) * (1 + weak)
    if rng.random() < 0.7:
        steps = rng.choice([32, 16, 8, 8, 4])
        disparity = np.rint(disparity * steps) / np.float32(steps)
    return product / np.maximum(disparity, product / 30)


def _time_noise(rng, depth, signal):
    """Noise of a time-of-flight sensor: more where little light comes back."""
    weak = np.clip(0.15 / np.sqrt(np.maximum(signal, 1e-4)), 0.3, 4)
    noise = np.float32(rng.uniform(0.001, 0.006)) * rng.standard_normal(depth.shape, dtype=np.float32)
    blotches = np.float32(rng.uniform(0, 0.004)) * smooth_noise(rng, depth.shape, rng.uniform(2, 6))
    return depth * (1 + (noise + blotches) * weak)


def _plainness(color):
    """0 to 1: how little there is for stereo matching to see around a pixel."""
    light = color.mean(2)
    contrast = np.sqrt(np.maximum(blur(light**2, 3.0) - blur(light, 3.0) ** 2, 0))
    return 1 / (1 + (contrast / 0.03) ** 2)


def _random_losses(rng, shape):
    """Holes of no obvious cause: blotches of any size, and a border that the sensor does not see."""
    lost = np.zeros(shape, bool)
    for _ in range(rng.integers(0, 3)):
        lost |= smooth_noise(rng, shape, np.exp(rng.uniform(0, np.log(30)))) > rng.uniform(1.5, 3.2)
    if rng.random() < 0.2:
        width = int(rng.integers(2, 24))
        lost[[np.s_[:, :width], np.s_[:, -width:], np.s_[:width], np.s_[-width:]][rng.integers(4)]] = True
    return lost


def _lost(rng, sensor, scene, rendering, depth, signal, weak):
    """Where there is no depth, as the sensor's own pixels see the scene."""
    shape = depth.shape
    lost = ~visible_from(scene, rendering.points.reshape(-1, 3), rendering.normals.reshape(-1, 3),
                         np.float32([sensor.baseline, 0, 0])).reshape(shape)
    flicker = np.exp(np.float32(rng.uniform(0.2, 0.7)) * smooth_noise(rng, shape, rng.choice([1, 2, 4, 8])))
    lost |= signal * flicker < sensor.least_signal
    if rng.random() < 0.6:  # highlights dazzle
        lost |= rendering.gloss * flicker > rng.uniform(0.3, 1.5)
    if rng.random() < 0.5:
        grazing = signal < rng.uniform(0.001, 0.012)
        lost |= grazing & (smooth_noise(rng, shape, rng.choice([2, 4, 8])) > 0)
    if sensor.kind == "stereo":
        lost |= weak * flicker > rng.uniform(0.9, 2.5)
    return lost


def measure(rng, sensor, scene, rendering, focal):
    """Depth as the sensor delivers it, aligned to the colour image as well as such sensors are."""
    dx, dy = _raggedness(rng, rendering.depth)
    weak = _plainness(rendering.color) if sensor.kind == "stereo" else np.float32(0)
    signal = _signal(sensor, rendering)
    lost = _lost(rng, sensor, scene, rendering, rendering.depth, signal, weak)
    depth, signal, lost = (shifted(a, dx, dy) for a in (rendering.depth, signal, lost))
    if sensor.kind != "tof" and rng.random() < 0.35:
        depth = _fattened(rng, depth)
    if rng.random() < (0.8 if sensor.kind == "tof" else 0.4):
        depth = _flying(rng, depth, rng.uniform(0, 0.6))
    if rng.random() < 0.4:  # nothing beside edges
        beside = window_maximum(depth_edges(depth), int(rng.integers(1, 4)))
        lost |= beside & (smooth_noise(rng, depth.shape, rng.uniform(1, 10)) > rng.uniform(-1.5, 1))
    if sensor.kind == "tof":
        depth = _time_noise(rng, depth, signal)
    else:
        depth = _disparity_noise(rng, sensor, depth, focal, weak)
    if rng.random() < 0.15:  # gross errors
        wrong = smooth_noise(rng, depth.shape, rng.uniform(1.5, 5)) > rng.uniform(2.6, 3.5)
        depth = np.where(wrong, depth * np.float32(np.exp(rng.uniform(-0.6, 0.6))), depth)
    lost |= _random_losses(rng, depth.shape)
    lost |= (depth > sensor.farthest) | (depth < sensor.nearest)
    return np.where(lost, 0, depth).astype(np.float32)
