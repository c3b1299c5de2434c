"""Image messages as arrays and back: sensor_msgs Image and CompressedImage."""

from __future__ import annotations

import dataclasses
import struct
from typing import TYPE_CHECKING, Any

import numpy as np

from ..support import images
from ..support.errors import UserError

if TYPE_CHECKING:
    import numpy.typing as npt

IMAGE = "sensor_msgs/msg/Image"
COMPRESSED = "sensor_msgs/msg/CompressedImage"
CAMERA_INFO = "sensor_msgs/msg/CameraInfo"

# Raw depth in metres is converted to integer millimetres, ROS's convention for 16-bit depth.
UNITS_PER_METRE = 1000.0
_LARGEST_DEPTH = 65535

_DEPTH_TYPES = {"16UC1": "u2", "mono16": "u2", "32FC1": "f4"}
# encoding: channels, and which of them are red, green and blue
_COLOR_CHANNELS = {
    "rgb8": (3, [0, 1, 2]),
    "bgr8": (3, [2, 1, 0]),
    "rgba8": (4, [0, 1, 2]),
    "bgra8": (4, [2, 1, 0]),
    "mono8": (1, [0, 0, 0]),
}

# The header that the transport "compressedDepth" puts before its PNG: the kind of quantisation and its two parameters.
_QUANTISATION = struct.Struct("<i2f")


@dataclasses.dataclass(frozen=True)
class DepthForm:
    """How a message stored its depth, so that the refined depth can be stored in the same way."""

    encoding: str
    big_endian: bool = False
    format: str | None = None
    """The format of a CompressedImage; None for a raw Image."""
    quantisation: bytes = b""
    """The bytes before the PNG."""


def stamp_of(raw: bytes, is_ros2: bool) -> int:
    """The header's time stamp in ns of a serialised message that begins with a header."""
    # ROS 1: sequence number, then the stamp. ROS 2: the encapsulation, whose second byte tells the order of bytes.
    order = "<" if not is_ros2 or raw[1:2] == b"\1" else ">"
    try:
        seconds, nanoseconds = struct.unpack_from(f"{order}{'i' if is_ros2 else 'I'}I", raw, 4)
    except struct.error:
        raise UserError("an image message is shorter than its header") from None
    return int(seconds) * 10**9 + int(nanoseconds)


def encoding_of(message: Any) -> str:
    """The pixels' encoding; for a CompressedImage as far as its format states it."""
    if hasattr(message, "encoding"):
        return str(message.encoding)
    content = bytes(message.data)
    named = message.format.split(";")[0].strip()
    if "compressedDepth" in message.format or named in _DEPTH_TYPES:
        return named if named in _DEPTH_TYPES else "16UC1"
    return "16UC1" if images.is_depth(content) else named


def size_of(message: Any) -> tuple[int, int]:
    """(width, height)"""
    if hasattr(message, "encoding"):
        return int(message.width), int(message.height)
    content = bytes(message.data)
    start = _QUANTISATION.size if "compressedDepth" in message.format else 0
    return images.size_of(content[start:])


def is_depth(encoding: str) -> bool:
    return encoding in _DEPTH_TYPES


def is_color(encoding: str) -> bool:
    # A compressed image states its original encoding, or just the compression.
    return encoding in _COLOR_CHANNELS or encoding in ("jpeg", "jpg", "png")


def decode_color(message: Any, topic: str) -> "images.ColorImage":
    """(H, W, 3) uint8, red first."""
    if not hasattr(message, "encoding"):
        color = images.read_color(bytes(message.data), f"an image of {topic}")
        # Image files store red first; a sender that stored blue first says so.
        return np.ascontiguousarray(color[:, :, ::-1]) if "compressed rgb" in message.format else color
    if message.encoding not in _COLOR_CHANNELS:
        raise UserError(
            f"{topic} has the encoding {message.encoding!r}; colour is read as {', '.join(_COLOR_CHANNELS)}"
        )
    channels, order = _COLOR_CHANNELS[message.encoding]
    pixels = _rows(message, topic, np.dtype(np.uint8), channels)
    return np.ascontiguousarray(pixels.reshape(message.height, message.width, channels)[:, :, order])


def decode_depth(message: Any, topic: str) -> tuple["images.DepthImage", DepthForm]:
    """(H, W) uint16, 0 where there is no depth, and how the message stored it."""
    if not hasattr(message, "encoding"):
        return _decode_compressed_depth(message, topic)
    if message.encoding not in _DEPTH_TYPES:
        raise UserError(f"{topic} has the encoding {message.encoding!r}; depth is read as {', '.join(_DEPTH_TYPES)}")
    element = np.dtype((">" if message.is_bigendian else "<") + _DEPTH_TYPES[message.encoding])
    pixels = _rows(message, topic, element, 1)
    depth = pixels.astype(np.uint16) if element.kind == "u" else _from_metres(pixels)
    return depth, DepthForm(message.encoding, bool(message.is_bigendian))


def encode_depth(types: Any, header: Any, depth: "images.DepthImage", form: DepthForm) -> tuple[Any, str]:
    """A message of `types` that stores the depth in the given form, and the message's type."""
    if form.format is None:
        element = np.dtype((">" if form.big_endian else "<") + _DEPTH_TYPES[form.encoding])
        pixels = _to_metres(depth) if element.kind == "f" else depth
        return _image(types, header, form.encoding, pixels.astype(element), form.big_endian), IMAGE
    if form.encoding == "32FC1":
        scale, offset = _inverse_depth(form.quantisation)
        metres = _to_metres(depth)
        with np.errstate(invalid="ignore"):
            levels = scale / metres + offset
        depth = np.where(np.isfinite(levels), np.clip(levels, 1, _LARGEST_DEPTH), 0).astype(np.uint16)
    content = form.quantisation + images.encode_depth(depth)
    return types[COMPRESSED](header, form.format, np.frombuffer(content, np.uint8)), COMPRESSED


def encode_confidence(types: Any, header: Any, confidence: "npt.NDArray[np.float32]") -> Any:
    """An Image of 32FC1."""
    return _image(types, header, "32FC1", confidence.astype("<f4"), False)


def standard_header(types: Any, header: Any, frame_id: str) -> Any:
    """A header of `types` with the stamp, and in ROS 1 the number, of another."""
    stamp = types["builtin_interfaces/msg/Time"](header.stamp.sec, header.stamp.nanosec)
    number = {"seq": header.seq} if hasattr(header, "seq") else {}
    return types["std_msgs/msg/Header"](**number, stamp=stamp, frame_id=frame_id)


def _image(types: Any, header: Any, encoding: str, pixels: "npt.NDArray[Any]", big_endian: bool) -> Any:
    height, width = pixels.shape
    data = np.frombuffer(pixels.tobytes(), np.uint8)
    return types[IMAGE](header, height, width, encoding, int(big_endian), width * pixels.itemsize, data)


def _rows(message: Any, topic: str, element: "np.dtype[Any]", channels: int) -> "npt.NDArray[Any]":
    """(H, W * channels), without the padding of the rows."""
    height, width, step = int(message.height), int(message.width), int(message.step)
    row = width * channels * element.itemsize
    if not 0 < width <= images.LARGEST_SIDE or not 0 < height <= images.LARGEST_SIDE:
        raise UserError(
            f"an image of {topic} has {width} x {height} pixels; 1 to {images.LARGEST_SIDE} a side are read"
        )
    data = np.ascontiguousarray(message.data, np.uint8)
    # The last row need not be padded.
    if step < row or data.size < (height - 1) * step + row:
        raise UserError(
            f"an image of {topic} has {data.size} bytes in rows of {step}, too few for {width} x {height} pixels of "
            f"{message.encoding}"
        )
    rows = np.lib.stride_tricks.as_strided(data, (height, row), (step, 1), writeable=False)
    pixels: npt.NDArray[Any] = rows.copy().view(element)
    return pixels


def _decode_compressed_depth(message: Any, topic: str) -> tuple["images.DepthImage", DepthForm]:
    content, name = bytes(message.data), f"an image of {topic}"
    encoding = encoding_of(message)
    if "compressedDepth" not in message.format:
        if encoding == "32FC1":
            raise UserError(f"{topic} holds floats in the format {message.format!r}; record compressedDepth instead")
        return images.read_depth(content, name), DepthForm("16UC1", format=message.format)
    if "rvl" in message.format.lower():
        raise UserError(f"{topic} is compressed by RVL; set the transport's parameter format to png, or record it raw")
    if len(content) < _QUANTISATION.size:
        raise UserError(f"{name} is damaged: it is shorter than the header of compressedDepth")
    quantisation, content = content[: _QUANTISATION.size], content[_QUANTISATION.size :]
    levels = images.read_depth(content, name)
    form = DepthForm(encoding, format=message.format, quantisation=quantisation)
    if encoding != "32FC1":
        return levels, form
    scale, offset = _inverse_depth(quantisation)
    with np.errstate(divide="ignore", invalid="ignore"):
        return _from_metres(np.where(levels > 0, scale / (levels.astype(np.float64) - offset), np.nan)), form


def _inverse_depth(quantisation: bytes) -> tuple[float, float]:
    _, scale, offset = _QUANTISATION.unpack(quantisation)
    return scale, offset


def _from_metres(metres: "npt.NDArray[Any]") -> "images.DepthImage":
    with np.errstate(invalid="ignore", over="ignore"):
        units = np.rint(metres.astype(np.float64) * UNITS_PER_METRE)
        return np.where((units > 0) & (units <= _LARGEST_DEPTH), units, 0).astype(np.uint16)


def _to_metres(depth: "images.DepthImage") -> "npt.NDArray[np.float32]":
    """NaN where there is no depth, as is usual in ROS."""
    return np.where(depth > 0, depth / UNITS_PER_METRE, np.nan).astype(np.float32)
