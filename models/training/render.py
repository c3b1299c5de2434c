"""Renders a scene: true depth, colour, and what a depth sensor's signal depends on."""

import dataclasses

import numpy as np

from .images import blur, smooth_noise

OFFSET = 2e-3  # metres by which a shadow ray starts off its surface


@dataclasses.dataclass
class Rendering:
    """Images of height x width; `points` and `normals` have three more values, in the camera's coordinates."""

    depth: np.ndarray  # metres along the optical axis
    color: np.ndarray  # linear light, 0 to about 1, three channels
    points: np.ndarray
    normals: np.ndarray
    infrared: np.ndarray  # share of light that the surface sends back
    gloss: np.ndarray  # strength of the highlight


def trace(shapes, origins, directions):
    """Ray parameter and index of the nearest shape per ray; inf and -1 where there is none."""
    nearest = np.full(len(directions), np.inf, np.float32)
    index = np.full(len(directions), -1)
    for i, shape in enumerate(shapes):
        t = shape.intersect(origins, directions)
        closer = t < nearest
        nearest[closer] = t[closer]
        index[closer] = i
    return nearest, index


def visible_from(scene, points, normals, position):
    """Whether the straight line from each point to `position` is free; the room's walls hide nothing inside."""
    start = points + np.float32(OFFSET) * normals
    way = position - start
    free = np.ones(len(points), bool)
    for shape in scene.shapes[1:]:
        free &= ~(shape.intersect(start, way) < 1)
    return free


def _surfaces(scene, bank, camera, directions, depth, index):
    """Points, normals and per-pixel material values of what each ray met."""
    points = directions * depth[:, None]
    normals, color = np.zeros_like(points), np.zeros_like(points)
    values = np.zeros((3, len(points)), np.float32)
    for i, (shape, material) in enumerate(zip(scene.shapes, scene.materials)):
        at = np.flatnonzero(index == i)
        if not len(at):
            continue
        normals[at], u, v = shape.surface(points[at], directions[at])
        texture = bank.color(material.texture, u, v, material.texels_per_metre, camera.focal / np.median(depth[at]))
        color[at] = material.color * (1 - material.texture_share) + texture * material.texture_share
        values[:, at] = np.float32([[material.infrared], [material.gloss], [material.shininess]])
    return points, normals, color, values


def _stains(rng, shape):
    """Soft dark patches that are no depth edges."""
    patch = smooth_noise(rng, shape, rng.uniform(15, 60)) > rng.uniform(0.3, 1.5)
    return 1 - np.float32(rng.uniform(0.1, 0.5)) * blur(patch.astype(np.float32), rng.uniform(0.6, 4))


def render(rng, scene, bank, camera):
    directions = camera.rays()
    depth, index = trace(scene.shapes, np.zeros_like(directions), directions)
    points, normals, albedo, (infrared, gloss, shininess) = _surfaces(scene, bank, camera, directions, depth, index)
    to_eye = -directions / np.linalg.norm(directions, axis=1, keepdims=True)
    light = np.full(len(points), scene.ambient, np.float32)
    highlight = np.zeros(len(points), np.float32)
    for lamp in scene.lamps:
        way = lamp.position - points
        distance = np.linalg.norm(way, axis=1) + np.float32(0.3)
        way /= distance[:, None]
        reach = lamp.strength * (1 - scene.ambient) * np.sqrt(np.median(distance) / distance)
        if lamp.casts_shadows:
            reach = reach * visible_from(scene, points, normals, lamp.position)
        light += reach * np.maximum((normals * way).sum(1), 0)
        half = way + to_eye
        half /= np.linalg.norm(half, axis=1, keepdims=True) + np.float32(1e-6)
        highlight += gloss * np.maximum((normals * half).sum(1), 0) ** shininess * (reach > 0)
    shape = (camera.height, camera.width)
    color = (albedo * light[:, None] + highlight[:, None]).reshape(*shape, 3)
    if rng.random() < 0.4:
        color = color * _stains(rng, shape)[..., None]
    return Rendering(depth.reshape(shape), color, points.reshape(*shape, 3), normals.reshape(*shape, 3),
                     infrared.reshape(shape), highlight.reshape(shape))


def photograph(rng, color):
    """The colour camera: exposure, white balance, blur, gamma and noise; 8 bits."""
    level = np.percentile(color, 90) + 1e-3
    color = color * np.float32(rng.uniform(0.45, 1.1) / level) * (1 + rng.uniform(-0.15, 0.15, 3)).astype(np.float32)
    if rng.random() < 0.7:
        color = blur(color, rng.uniform(0.4, 1.2))
    color = np.clip(color, 0, 1) ** np.float32(1 / rng.uniform(1, 2.2))
    color = color + rng.standard_normal(color.shape, dtype=np.float32) * np.float32(rng.uniform(0, 0.03))
    if rng.random() < 0.3:  # as demosaicking and compression leave it
        color = blur(color, rng.uniform(0.4, 0.8))
    return (np.clip(color, 0, 1) * 255 + 0.5).astype(np.uint8)
