"""Hides measured depth during training: blobs, bands along depth edges, and bands on their far side only."""

import math

import torch
import torch.nn.functional as functional

STEP = 0.06  # relative difference of depth that makes an edge


def _nearest_within(depth, radius):
    return -functional.max_pool2d(-depth, 2 * radius + 1, 1, radius)


def _farthest_within(depth, radius):
    return functional.max_pool2d(depth, 2 * radius + 1, 1, radius)


def far_side(truth, radius):
    """Pixels that have a nearer surface within `radius`."""
    return _nearest_within(truth, radius) < truth * (1 - STEP)


def both_sides(truth, radius):
    """Pixels within `radius` of a depth edge."""
    return far_side(truth, radius) | (_farthest_within(truth, radius) > truth * (1 + STEP))


def beside(truth, shift):
    """Pixels on the far side that lie within `shift` (with its sign) to the right of a nearer surface: a shadow."""
    reach = abs(shift)
    padded = functional.pad(truth, (reach, 0, 0, 0) if shift > 0 else (0, reach, 0, 0), mode="replicate")
    nearest = -functional.max_pool2d(-padded, (1, reach + 1), 1)
    return nearest < truth * (1 - STEP)


def _patches(rng, shape, device):
    """True in random regions of about half the image."""
    coarse = torch.rand(1, 1, 5, 6, generator=rng)
    return functional.interpolate(coarse, size=shape, mode="bilinear", align_corners=False).to(device) > 0.45


def _blobs(rng, shape, device):
    height, width = shape
    y = torch.arange(height, device=device).view(1, 1, -1, 1)
    x = torch.arange(width, device=device).view(1, 1, 1, -1)
    hidden = torch.zeros(1, 1, height, width, dtype=torch.bool, device=device)
    for _ in range(int(torch.randint(1, 10, (1,), generator=rng))):
        u = torch.rand(5, generator=rng).tolist()
        radius, squeeze, angle = 2 * 10 ** u[2], 0.5 + 0.5 * u[3], math.pi * u[4]
        dx, dy = x - u[0] * width, y - u[1] * height
        along, across = dx * math.cos(angle) + dy * math.sin(angle), dy * math.cos(angle) - dx * math.sin(angle)
        hidden |= along**2 + (across / squeeze) ** 2 < radius**2
    return hidden


def hide(rng, truth):
    """A mask (N, 1, H, W) of pixels to hide, of other kinds in every image. `rng` is a torch.Generator of the CPU."""
    masks = []
    shape, device = truth.shape[2:], truth.device
    for one in truth.split(1):
        hidden = torch.zeros_like(one, dtype=torch.bool)
        blobs, far, both, shadow = (torch.rand(4, generator=rng) < torch.tensor([0.5, 0.45, 0.25, 0.25])).tolist()
        radius = torch.randint(2, 11, (3,), generator=rng).tolist()
        if blobs:
            hidden |= _blobs(rng, shape, device)
        if far:
            hidden |= far_side(one, radius[0]) & _patches(rng, shape, device)
        if both:
            hidden |= both_sides(one, radius[1]) & _patches(rng, shape, device)
        if shadow:
            side = 1 if torch.rand(1, generator=rng) < 0.5 else -1
            hidden |= beside(one, side * 2 * radius[2]) & _patches(rng, shape, device)
        masks.append(hidden)
    return torch.cat(masks)
