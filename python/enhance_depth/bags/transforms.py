"""The poses of coordinate frames relative to each other: the static transforms of a bag."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy as np

from .storage import Bag

if TYPE_CHECKING:
    import numpy.typing as npt

    Matrix = npt.NDArray[np.float64]

STATIC_TRANSFORMS = "/tf_static"


def read_static_transforms(bag: Bag) -> dict[tuple[str, str], "Matrix"]:
    """(parent frame, child frame) to the 4 x 4 matrix that takes points of the child into the parent."""
    found = {}
    connections = bag.connections_of(STATIC_TRANSFORMS)
    for connection, _, raw in bag.messages(connections) if connections else ():
        for stamped in bag.decode(connection, raw).transforms:
            frames = _frame(stamped.header.frame_id), _frame(stamped.child_frame_id)
            found[frames] = _matrix(stamped.transform)
    return found


def transform_between(transforms: dict[tuple[str, str], "Matrix"], source: str, target: str) -> "Matrix | None":
    """The matrix that takes points of the frame `source` into `target`; None if no transforms connect them."""
    neighbours: dict[str, list[tuple[str, Matrix]]] = {}
    for (parent, child), matrix in transforms.items():
        neighbours.setdefault(child, []).append((parent, matrix))
        neighbours.setdefault(parent, []).append((child, np.asarray(np.linalg.inv(matrix), np.float64)))
    reached = {_frame(source): np.eye(4)}
    waiting = [_frame(source)]
    while waiting and _frame(target) not in reached:
        frame = waiting.pop(0)
        for neighbour, matrix in neighbours.get(frame, []):
            if neighbour not in reached:
                reached[neighbour] = matrix @ reached[frame]
                waiting.append(neighbour)
    return reached.get(_frame(target))


def _frame(name: str) -> str:
    return name.lstrip("/")  # tf of ROS 1 took both spellings for one frame


def _matrix(transform: Any) -> "Matrix":
    x, y, z, w = (getattr(transform.rotation, axis) for axis in "xyzw")
    norm = (x * x + y * y + z * z + w * w) ** 0.5 or 1.0
    x, y, z, w = x / norm, y / norm, z / norm, w / norm
    matrix = np.eye(4)
    matrix[:3, :3] = [
        [1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)],
        [2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)],
        [2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)],
    ]
    matrix[:3, 3] = [getattr(transform.translation, axis) for axis in "xyz"]
    return matrix
