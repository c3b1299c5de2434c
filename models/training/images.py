"""Filters and noise on numpy images; every filter takes and returns 32-bit floats.

Resizing and blurring are products with small band matrices, one per axis, which makes numpy fast enough.
"""

import functools

import numpy as np


def _cubic(distance):
    """The kernel of a cubic B-spline: smooth noise, no overshoot."""
    x = np.abs(distance)
    return np.where(x < 1, 2 / 3 - x**2 + x**3 / 2, np.where(x < 2, (2 - x) ** 3 / 6, 0))


def _spline_matrix(length, spacing, offset):
    """Rows are pixels, columns the knots that lie `spacing` pixels apart."""
    positions = (np.arange(length) + offset) / spacing + 1
    knots = np.arange(int(positions[-1]) + 3)
    return _cubic(positions[:, None] - knots).astype(np.float32)


def smooth_noise(rng, shape, spacing):
    """Normal noise with mean 0 and variance 1 whose correlation reaches about `spacing` pixels; white up to 1."""
    if spacing <= 1:
        return rng.standard_normal(shape, dtype=np.float32)
    rows, columns = (_spline_matrix(length, spacing, rng.uniform(0, spacing)) for length in shape)
    knots = rng.standard_normal((rows.shape[1], columns.shape[1]), dtype=np.float32)
    variance = np.mean(np.sum(rows**2, 1)) * np.mean(np.sum(columns**2, 1))
    return rows @ knots @ columns.T / np.float32(np.sqrt(variance))


def fractal_noise(rng, shape, spacing, octaves, gain):
    """Noise of several scales with standard deviation 1; each octave has half the spacing and `gain` times the height."""
    total = sum(gain**i * smooth_noise(rng, shape, spacing / 2**i) for i in range(octaves))
    return total / np.float32(np.sqrt(sum(gain ** (2 * i) for i in range(octaves))))


@functools.lru_cache(maxsize=256)
def _blur_matrix(length, sigma):
    distance = np.arange(length)[:, None] - np.arange(length)
    weight = np.exp(-0.5 * (distance / sigma) ** 2)
    return (weight / weight.sum(1, keepdims=True)).astype(np.float32)


def blur(image, sigma):
    """Gaussian blur of H x W or H x W x C; the border keeps its brightness."""
    sigma = round(float(sigma), 2)
    if sigma <= 0:
        return image
    rows, columns = _blur_matrix(image.shape[0], sigma), _blur_matrix(image.shape[1], sigma)
    if image.ndim == 2:
        return rows @ image @ columns.T
    return np.stack([rows @ np.ascontiguousarray(image[..., c]) @ columns.T for c in range(image.shape[2])], -1)


def _window(image, radius, extreme):
    for axis in (0, 1):
        padded = np.pad(image, [(radius, radius) if a == axis else (0, 0) for a in (0, 1)], mode="edge")
        length = image.shape[axis]
        image = extreme.reduce([np.take(padded, range(i, i + length), axis) for i in range(2 * radius + 1)])
    return image


def window_minimum(image, radius):
    """The smallest value of the square window around each pixel; of booleans: erosion."""
    return _window(image, radius, np.minimum)


def window_maximum(image, radius):
    """The largest value of the square window around each pixel; of booleans: dilation."""
    return _window(image, radius, np.maximum)


def shifted(image, dx, dy):
    """`image` read at (x + dx, y + dy), nearest pixel, beyond the border the border's; dx and dy per pixel."""
    height, width = image.shape[:2]
    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    row = np.clip(np.rint(y + dy), 0, height - 1).astype(np.intp)
    column = np.clip(np.rint(x + dx), 0, width - 1).astype(np.intp)
    return image[row, column]
