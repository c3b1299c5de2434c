"""Solid shapes and the rays that meet them.

A ray is origin + t * direction; directions need not have unit length, so with directions whose z is 1, from the camera,
t is the depth. `intersect` returns t per ray, inf where the shape is missed or lies behind; `surface` tells the unit
normal, towards the side of the ray, and surface coordinates in metres at points on the shape. Arrays are float32.
"""

import dataclasses

import numpy as np

LEAST = 1e-3  # a nearer hit is the surface from which the ray set out
MISS = np.float32(np.inf)


def rotation(axis, angle):
    """The matrix that turns by `angle` about `axis`."""
    x, y, z = np.asarray(axis, float) / np.linalg.norm(axis)
    cross = np.array([[0, -z, y], [z, 0, -x], [-y, x, 0]])
    return (np.eye(3) + np.sin(angle) * cross + (1 - np.cos(angle)) * cross @ cross).astype(np.float32)


@dataclasses.dataclass
class Shape:
    """`centre` in the camera's coordinates, `turn` from the shape's coordinates to the camera's, `size` half extents."""

    centre: np.ndarray
    turn: np.ndarray
    size: np.ndarray

    def __post_init__(self):
        self.centre, self.turn, self.size = (np.asarray(a, np.float32) for a in (self.centre, self.turn, self.size))

    def local(self, origins, directions):
        return (origins - self.centre) @ self.turn, directions @ self.turn

    def intersect(self, origins, directions):
        with np.errstate(divide="ignore", invalid="ignore", over="ignore"):
            return self.hits(*self.local(origins, directions)).astype(np.float32)

    def surface(self, points, directions):
        local = (points - self.centre) @ self.turn
        normal, u, v = self.skin(local)
        normal = normal @ self.turn.T
        normal /= np.linalg.norm(normal, axis=1, keepdims=True) + np.float32(1e-9)
        away = (normal * directions).sum(1, keepdims=True) > 0
        return np.where(away, -normal, normal), u, v


def _ahead(t, met):
    return np.where(met & (t > LEAST), t, MISS)


def _slabs(origins, directions, size):
    inverse = 1 / np.where(np.abs(directions) < 1e-9, np.float32(1e-9), directions)
    first, second = ((-size - origins) * inverse).T, ((size - origins) * inverse).T
    near, far = np.minimum(first, second), np.maximum(first, second)
    return np.maximum(np.maximum(near[0], near[1]), near[2]), np.minimum(np.minimum(far[0], far[1]), far[2])


class Box(Shape):
    def hits(self, origins, directions):
        near, far = _slabs(origins, directions, self.size)
        return _ahead(near, near < far)

    def skin(self, local):
        axis = np.argmax(np.abs(local) / self.size, 1)
        normal = np.eye(3, dtype=np.float32)[axis] * np.sign(np.take_along_axis(local, axis[:, None], 1))
        return normal, np.where(axis == 0, local[:, 1], local[:, 0]), np.where(axis == 2, local[:, 1], local[:, 2])


class Room(Box):
    """A box seen from inside."""

    def hits(self, origins, directions):
        near, far = _slabs(origins, directions, self.size)
        return _ahead(far, near < far)


class Ellipsoid(Shape):
    def hits(self, origins, directions):
        origins, directions = origins / self.size, directions / self.size
        a, b = (directions**2).sum(1), (origins * directions).sum(1)
        root = b * b - a * ((origins**2).sum(1) - 1)
        return _ahead((-b - np.sqrt(np.maximum(root, 0))) / a, root > 0)

    def skin(self, local):
        unit = local / self.size
        return unit / self.size, np.arctan2(unit[:, 0], unit[:, 2]) * self.size[0], local[:, 1]


class Cylinder(Shape):
    """Its axis is y; size is (radius, half its height, radius)."""

    def hits(self, origins, directions):
        radius, half = self.size[0], self.size[1]
        o, d = origins[:, ::2] / radius, directions[:, ::2] / radius
        a, b = np.maximum((d**2).sum(1), np.float32(1e-12)), (o * d).sum(1)
        root = b * b - a * ((o**2).sum(1) - 1)
        side = (-b - np.sqrt(np.maximum(root, 0))) / a
        side = _ahead(side, (root > 0) & (np.abs(origins[:, 1] + side * directions[:, 1]) <= half))
        cap = (-np.sign(directions[:, 1]) * half - origins[:, 1]) / directions[:, 1]
        on_cap = ((o + cap[:, None] * d) ** 2).sum(1) <= 1
        return np.minimum(side, _ahead(cap, on_cap))

    def skin(self, local):
        cap = np.abs(local[:, 1]) > self.size[1] * np.float32(0.9999)
        normal = np.where(cap[:, None], [0, 1, 0], local * np.float32([1, 0, 1])).astype(np.float32)
        around = np.arctan2(local[:, 0], local[:, 2]) * self.size[0]
        return normal, np.where(cap, local[:, 0], around), np.where(cap, local[:, 2], local[:, 1])


@dataclasses.dataclass
class Plate(Shape):
    """A flat rectangle in x and y, with the holes that `solid(u, v)` leaves, if there is one."""

    solid: object = None

    def hits(self, origins, directions):
        t = -origins[:, 2] / directions[:, 2]
        x, y = origins[:, 0] + t * directions[:, 0], origins[:, 1] + t * directions[:, 1]
        met = (np.abs(x) <= self.size[0]) & (np.abs(y) <= self.size[1]) & (t > LEAST)
        if self.solid is not None:
            inside = np.flatnonzero(met)
            met[inside] = self.solid(x[inside], y[inside])
        return _ahead(t, met)

    def skin(self, local):
        return np.broadcast_to(np.float32([0, 0, 1]), local.shape).copy(), local[:, 0], local[:, 1]
