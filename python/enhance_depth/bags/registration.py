"""Moves depth into the colour camera's image.

Every depth pixel is treated as a small square that faces the depth camera. The depth camera's intrinsics place its
points in space, the transform moves them into the colour camera's frame, and that camera's intrinsics project them into
the colour image. If several fall on one pixel the nearest wins; if none does, the pixel has no depth. A square is
sampled as often as the colour image is finer, so that no holes are left.
"""

from __future__ import annotations

import dataclasses
import math
from typing import TYPE_CHECKING, Any

import numpy as np

from ..support.errors import UserError

if TYPE_CHECKING:
    import numpy.typing as npt

    Array = npt.NDArray[np.float64]

_MODELS = ("", "plumb_bob", "rational_polynomial")
_ROUNDS_TO_UNDISTORT = 20
_UNITS_PER_METRE = 1000.0
_MOST_SAMPLES = 8
"""Of a depth pixel in each direction: the memory grows with their square."""


@dataclasses.dataclass(frozen=True)
class Camera:
    """A pinhole camera, with ROS's radial and tangential distortion unless the image is rectified."""

    width: int
    height: int
    fx: float
    fy: float
    cx: float
    cy: float
    distortion: tuple[float, ...] = ()

    @staticmethod
    def from_info(info: Any, topic: str, rectified: bool) -> "Camera":
        """From a CameraInfo message, whose fields have capital letters in ROS 1."""
        model, width, height = info.distortion_model, int(info.width), int(info.height)
        distortion: tuple[float, ...] = ()
        if rectified:
            values = [float(value) for value in (info.P if hasattr(info, "P") else info.p)]
            fx, cx, fy, cy = values[0], values[2], values[5], values[6]
        else:
            values = [float(value) for value in (info.K if hasattr(info, "K") else info.k)]
            fx, cx, fy, cy = values[0], values[2], values[4], values[5]
            distortion = tuple(float(value) for value in (info.D if hasattr(info, "D") else info.d))
        finite = all(map(math.isfinite, (fx, fy, cx, cy, *distortion)))
        if not (finite and fx > 0 and fy > 0 and width > 0 and height > 0):
            raise UserError(f"{topic} is of a camera that was not calibrated; calibrate it, or record registered depth")
        if any(distortion) and model not in _MODELS:
            raise UserError(f"{topic} has the distortion model {model!r}; record the rectified image instead")
        return Camera(width, height, fx, fy, cx, cy, distortion if any(distortion) else ())

    def project(self, x: "Array", y: "Array") -> tuple["Array", "Array"]:
        """Projects points at distance 1 to pixels."""
        if self.distortion:
            x, y = _distort(x, y, self.distortion)
        return self.fx * x + self.cx, self.fy * y + self.cy

    def unproject(self, u: "Array", v: "Array") -> tuple["Array", "Array"]:
        """Converts pixels to points at distance 1."""
        x = distorted_x = (u - self.cx) / self.fx
        y = distorted_y = (v - self.cy) / self.fy
        for _ in range(_ROUNDS_TO_UNDISTORT if self.distortion else 0):
            error_x, error_y = _distort(x, y, self.distortion)
            x, y = x + distorted_x - error_x, y + distorted_y - error_y
        return x, y


class Registration:
    """Moves depth images of one camera into the image of another."""

    def __init__(self, depth_camera: Camera, color_camera: Camera, transform: "Array") -> None:
        """`transform` takes points of the depth camera's frame into the colour camera's, in metres."""
        self._camera = color_camera
        self._size = (depth_camera.height, depth_camera.width)
        self._rotation, self._translation = transform[:3, :3], transform[:3, 3] * _UNITS_PER_METRE
        finer = max(color_camera.fx / depth_camera.fx, color_camera.fy / depth_camera.fy)
        if finer > _MOST_SAMPLES:
            raise UserError(
                f"the colour image is {finer:.3g} times as fine as the depth, more than {_MOST_SAMPLES}; check both "
                "CameraInfo, or scale the colour images down"
            )
        samples = max(1, math.ceil(finer - 1e-6))
        offsets = (np.arange(samples) + 0.5) / samples - 0.5
        v, u = np.mgrid[: depth_camera.height, : depth_camera.width].astype(np.float64)
        # The rays of each sample of a pixel, turned into the colour camera's frame: (3, H, W)
        self._rays = []
        for offset_v in offsets:
            for offset_u in offsets:
                x, y = depth_camera.unproject(u + offset_u, v + offset_v)
                self._rays.append(np.einsum("ij,jhw->ihw", self._rotation, np.stack([x, y, np.ones_like(x)])))

    def apply(self, depth: "npt.NDArray[np.uint16]") -> "npt.NDArray[np.uint16]":
        """Depth in millimetres, of the colour image's size."""
        if depth.shape != self._size:
            raise UserError(
                f"a depth image has {depth.shape[1]} x {depth.shape[0]} pixels, its CameraInfo "
                f"{self._size[1]} x {self._size[0]}"
            )
        width, height = self._camera.width, self._camera.height
        nearest = np.full(width * height, np.inf)
        known = depth > 0
        values = depth[known].astype(np.float64)
        for rays in self._rays:
            x, y, z = rays[:, known] * values + self._translation[:, np.newaxis]
            ahead = z > 0.5
            x, y, z = x[ahead], y[ahead], z[ahead]
            u, v = self._camera.project(x / z, y / z)
            u, v = np.rint(u), np.rint(v)
            inside = (u >= 0) & (u < width) & (v >= 0) & (v < height)
            at = (v[inside] * width + u[inside]).astype(np.int64)
            np.minimum.at(nearest, at, z[inside])
        units = np.where(np.isfinite(nearest), np.rint(nearest), 0)
        return np.where(units <= 65535, units, 0).astype(np.uint16).reshape(height, width)


def _distort(x: "Array", y: "Array", coefficients: tuple[float, ...]) -> tuple["Array", "Array"]:
    k1, k2, p1, p2, k3, k4, k5, k6 = (*coefficients, *(0.0,) * 8)[:8]
    square = x * x + y * y
    radial = (1 + square * (k1 + square * (k2 + square * k3))) / (1 + square * (k4 + square * (k5 + square * k6)))
    return (
        x * radial + 2 * p1 * x * y + p2 * (square + 2 * x * x),
        y * radial + p1 * (square + 2 * y * y) + 2 * p2 * x * y,
    )
