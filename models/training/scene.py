"""Random indoor scenes: a room, furniture and clutter in it, their materials and lamps."""

import dataclasses

import numpy as np

from .shapes import Box, Cylinder, Ellipsoid, Plate, Room, rotation

UPRIGHT_SHARE = 0.75
PLAIN_SCENE_SHARE = 0.35  # of scenes without any texture: there the colour edges are the depth edges
PLAIN_OBJECT_SHARE = 0.45


@dataclasses.dataclass
class Camera:
    """Pinhole; focal length and principal point in pixels. It looks along z, y points down."""

    width: int
    height: int
    focal: float
    cx: float
    cy: float

    def rays(self):
        """One direction per pixel, row by row, with z = 1."""
        x, y = np.meshgrid(np.arange(self.width), np.arange(self.height))
        return np.stack([(x - self.cx) / self.focal, (y - self.cy) / self.focal,
                         np.ones(x.shape)], -1).reshape(-1, 3).astype(np.float32)


@dataclasses.dataclass
class Material:
    color: np.ndarray
    texture: int  # of the bank
    texture_share: float  # 0: plain
    texels_per_metre: float
    gloss: float
    shininess: float
    infrared: float  # share of the sensor's light that comes back


@dataclasses.dataclass
class Lamp:
    position: np.ndarray
    strength: float
    casts_shadows: bool


@dataclasses.dataclass
class Scene:
    shapes: list
    materials: list  # one per shape
    lamps: list
    ambient: float


def random_camera(rng, width, height):
    """A window of a larger camera's image: the optical axis may lie outside."""
    return Camera(width, height, float(np.exp(rng.uniform(np.log(260), np.log(800)))),
                  width / 2 + rng.uniform(-220, 220), height / 2 + rng.uniform(-160, 160))


def _material(rng, bank, plain_scene, like=None):
    if like is not None and rng.random() < 0.06:  # the same as what is behind it: an edge that colour does not show
        return like
    plain = plain_scene or rng.random() < PLAIN_OBJECT_SHARE
    color = rng.random(3) ** rng.choice([0.5, 1, 1, 2])
    grey = rng.uniform(0, 1)
    color = grey * color.mean() + (1 - grey) * color
    glossy = rng.random() < 0.25
    infrared = np.clip(color.mean() * np.exp(rng.normal(0, 0.5)), 0.02, 1)
    return Material(color.astype(np.float32), int(rng.integers(len(bank.colors))),
                    rng.uniform(0, 0.08) if plain else rng.uniform(0.2, 1), 100 * np.exp(rng.uniform(-1.2, 1.2)),
                    rng.uniform(0.3, 1) if glossy else 0, np.exp(rng.uniform(1.5, 4.5)),
                    0.02 if rng.random() < 0.06 else infrared)


class _Furnisher:
    """Puts shapes where the camera sees them."""

    def __init__(self, rng, bank, camera):
        self.rng, self.bank, self.camera = rng, bank, camera
        self.room_turn = rotation([0, 1, 0], rng.uniform(-0.8, 0.8))
        self.room_turn = rotation([1, 0, 0], rng.normal(0, 0.3)) @ rotation([0, 0, 1], rng.normal(0, 0.08)) @ self.room_turn
        left, right, up = rng.uniform(0.6, 4, 2).tolist() + [rng.uniform(0.6, 2.2)]
        self.floor, back = rng.uniform(0.5, 1.8), rng.uniform(1.2, 8)  # from the camera, along the room's axes
        low, high = np.array([-left, -up, -1.5]), np.array([right, self.floor, back])
        self.room = Room((low + high) / 2 @ self.room_turn.T, self.room_turn, (high - low) / 2)
        rays = camera.rays()[:: 37]
        self.reach = float(np.median(self.room.intersect(np.zeros_like(rays), rays)))

    def spot(self):
        """A point that the camera sees, and the size in metres of something there of 8 pixels to half the image."""
        rng, camera = self.rng, self.camera
        depth = max(0.4, rng.uniform(0.3, 1) * self.reach)
        x, y = rng.uniform(-20, camera.width + 20), rng.uniform(-20, camera.height + 20)
        point = np.array([(x - camera.cx) / camera.focal, (y - camera.cy) / camera.focal, 1]) * depth
        widest = 0.45 * min(camera.width, 320)
        return point, depth / camera.focal * np.exp(rng.uniform(np.log(8), np.log(widest)))

    def turn(self):
        if self.rng.random() < UPRIGHT_SHARE:
            return self.room_turn @ rotation([0, 1, 0], self.rng.uniform(-np.pi, np.pi))
        return rotation(self.rng.standard_normal(3), self.rng.uniform(-np.pi, np.pi))

    def box(self, point, size, turn):
        return [Box(point, turn, size * np.exp(self.rng.uniform(-1.2, 0.3, 3)))]

    def ball(self, point, size, turn):
        even = self.rng.random() < 0.5
        return [Ellipsoid(point, turn, size * (np.full(3, 0.6) if even else self.rng.uniform(0.25, 0.8, 3)))]

    def cylinder(self, point, size, turn):
        radius = size * self.rng.uniform(0.15, 0.6)
        return [Cylinder(point, turn, [radius, size * self.rng.uniform(0.4, 1.8), radius])]

    def rod(self, point, size, turn):
        """A thin thing: a few pixels wide."""
        radius = point[2] / self.camera.focal * self.rng.uniform(0.6, 4)
        lying = rotation([0, 0, 1], self.rng.uniform(-np.pi, np.pi)) if self.rng.random() < 0.5 else np.eye(3)
        return [Cylinder(point, turn @ lying, [radius, size * self.rng.uniform(1, 4), radius])]

    def plate(self, point, size, turn):
        width, height = size * np.exp(self.rng.uniform(-0.8, 0.8, 2))
        solid = None
        if self.rng.random() < 0.6:
            cut, scale = int(self.rng.integers(len(self.bank.cuts))), 128 / max(width, height) * self.rng.uniform(0.5, 1)
            solid = lambda u, v: self.bank.solid(cut, u, v, scale)
        return [Plate(point, turn, [width, height, 1e-4], solid)]

    def table(self, point, size, turn):
        """A slab and its legs, down to the floor."""
        local = point @ self.room_turn
        size, height = max(size, 0.25), self.floor - local[1]
        if height < 0.15:
            return self.box(point, size, turn)
        turn = self.room_turn @ rotation([0, 1, 0], self.rng.uniform(-0.6, 0.6))
        width, depth, leg = size * self.rng.uniform(0.7, 1.6), size * self.rng.uniform(0.4, 0.9), self.rng.uniform(0.01, 0.04)
        parts = [Box(point, turn, [width, 0.02, depth])]
        for x in (leg - width, width - leg):
            for z in (leg - depth, depth - leg):
                parts.append(Box(point + turn @ np.float32([x, height / 2, z]), turn, [leg, height / 2, leg]))
        return parts

    def pillar(self, point, size, turn):
        """A box from its top down to the floor: cupboards, boxes, screens on their feet."""
        height = self.floor - (point @ self.room_turn)[1]
        if height < 0.1:
            return self.box(point, size, turn)
        turn = self.room_turn @ rotation([0, 1, 0], self.rng.uniform(-1, 1))
        half = size * np.exp(self.rng.uniform(-1, 0.3, 2))
        return [Box(point + turn @ np.float32([0, height / 2, 0]), turn, [half[0], height / 2, half[1]])]

    def clutter(self, point, size, turn):
        """Small things close to each other."""
        parts = []
        for _ in range(self.rng.integers(4, 9)):
            spot = point + size * self.rng.uniform(-1, 1, 3) * [1, 0.5, 1]
            maker = (self.box, self.ball, self.cylinder)[self.rng.integers(3)]
            parts += maker(spot, size * self.rng.uniform(0.15, 0.5), self.turn())
        return parts


def random_scene(rng, bank, camera):
    """A scene in the camera's coordinates, in metres; textures are indices into `bank`."""
    furnisher = _Furnisher(rng, bank, camera)
    makers = (furnisher.box, furnisher.box, furnisher.ball, furnisher.cylinder, furnisher.rod, furnisher.plate,
              furnisher.plate, furnisher.table, furnisher.pillar, furnisher.pillar, furnisher.clutter)
    plain = rng.random() < PLAIN_SCENE_SHARE
    shapes, materials = [furnisher.room], [_material(rng, bank, plain)]
    for _ in range(rng.integers(3 + camera.width // 80, 12 + camera.width // 40)):
        parts = makers[rng.integers(len(makers))](*furnisher.spot(), furnisher.turn())
        material = _material(rng, bank, plain, materials[0])
        for part in parts:
            shapes.append(part)
            materials.append(material if len(parts) < 6 else _material(rng, bank, plain))
    lamps = []
    for i in range(rng.integers(1, 3)):
        position = np.array([rng.uniform(-2, 2), rng.uniform(-2.5, 0.3), rng.uniform(-1, max(1, 0.8 * furnisher.reach))])
        lamps.append(Lamp(position.astype(np.float32), rng.uniform(0.4, 1), i == 0 and rng.random() < 0.75))
    return Scene(shapes, materials, lamps, rng.uniform(0.2, 0.7))
