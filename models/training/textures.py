"""Procedural textures: a seeded bank of tileable colour images with their half sizes, and masks for cut-outs."""

import numpy as np

from .images import fractal_noise

SIDE = 256  # pixels; a texture repeats
LEVELS = 6


def _blend(first, second, share):
    share = np.clip(share, 0, 1).astype(np.float32)[..., None]
    return first * (1 - share) + second * share


def _grid():
    y, x = np.mgrid[0:SIDE, 0:SIDE].astype(np.float32)
    return x, y


def _fractal(rng, first, second):
    grain = (SIDE, SIDE) if rng.random() < 0.7 else (SIDE, SIDE // 8)  # the latter is stretched: wood, brushed metal
    noise = fractal_noise(rng, grain, rng.choice([16, 32, 64]), 5, rng.uniform(0.4, 0.8))
    return _blend(first, second, 0.5 + 0.3 * np.repeat(noise, SIDE // grain[1], 1))


def _checks(rng, first, second):
    x, y = _grid()
    size = 2 ** rng.integers(3, 7)
    return _blend(first, second, (x // size + y // size) % 2)


def _stripes(rng, first, second):
    x, _ = _grid()
    period = 2 ** rng.integers(2, 7)
    wave = (x // period) % 2 if rng.random() < 0.5 else 0.5 + 0.5 * np.sin(2 * np.pi * x / period)
    return _blend(first, second, wave)


def _bricks(rng, first, second):
    x, y = _grid()
    size = 2 ** rng.integers(4, 6)
    row = (y // size) % 2
    return _blend(first, second, ((x + row * size) % (2 * size) < 2) | (y % size < 2))


def _blotches(rng, first, second):
    noise = fractal_noise(rng, (SIDE, SIDE), rng.choice([8, 16, 32, 64]), 3, 0.6)
    return _blend(first, second, noise > rng.uniform(-0.5, 1))


def _print(rng, first, second):
    """Rectangles and discs of many colours, as on posters and boxes."""
    x, y = _grid()
    image = np.broadcast_to(first, (SIDE, SIDE, 3)).copy()
    for _ in range(rng.integers(5, 40)):
        px, py = rng.integers(0, SIDE, 2)
        if rng.random() < 0.6:
            width, height = rng.integers(4, 90, 2)
            image[py:py + height, px:px + width] = rng.random(3)
        else:
            image[(x - px) ** 2 + (y - py) ** 2 < rng.integers(2, 40) ** 2] = rng.random(3)
    return image


def _writing(rng, first, second):
    image = np.broadcast_to(first, (SIDE, SIDE, 3)).copy()
    for row in range(8, SIDE - 4, int(rng.integers(8, 24))):
        column = 8
        while column < SIDE - 20:
            length = int(rng.integers(3, 26))
            image[row:row + 2, column:column + length] = second
            column += length + 5
    return image


KINDS = (_fractal, _fractal, _checks, _stripes, _bricks, _blotches, _print, _print, _writing)


class TextureBank:
    """`colors[i]` is a list of LEVELS images, each half the side of the one before; `cuts` are boolean masks."""

    def __init__(self, seed, count=70, cuts=20):
        rng = np.random.default_rng([seed, 77])
        self.colors = []
        for _ in range(count):
            first, second = rng.random((2, 3), dtype=np.float32)
            levels = [KINDS[rng.integers(len(KINDS))](rng, first, second).astype(np.float32)]
            while len(levels) < LEVELS:
                last = levels[-1]
                half = last.shape[0] // 2
                levels.append(last.reshape(half, 2, half, 2, 3).mean((1, 3)))
            self.colors.append(levels)
        self.cuts = [fractal_noise(rng, (SIDE, SIDE), rng.choice([24, 48, 90]), rng.integers(1, 4), 0.6)
                     > rng.uniform(-0.6, 0.8) for _ in range(cuts)]
        x, y = _grid()
        for period in (16, 32, 64, 128):  # bars, lattices, perforated plates
            self.cuts += [x % period < period // 4,
                          (x % period < period // 5) | (y % period < period // 6),
                          (x % period - period / 2) ** 2 + (y % period - period / 2) ** 2 < (0.36 * period) ** 2]

    def color(self, index, u, v, texels_per_metre, pixels_per_metre):
        """Colours at the surface coordinates u, v in metres, from the level that suits the image's resolution."""
        level = int(np.clip(np.log2(max(texels_per_metre / pixels_per_metre, 1e-3)), 0, LEVELS - 1))
        return _lookup(self.colors[index][level], u, v, texels_per_metre / 2**level)

    def solid(self, index, u, v, texels_per_metre):
        """Whether the cut-out has material at u, v."""
        return _lookup(self.cuts[index], u, v, texels_per_metre)


def _lookup(image, u, v, scale):
    side = image.shape[0]
    return image[np.floor(v * scale).astype(np.int32) % side, np.floor(u * scale).astype(np.int32) % side]
