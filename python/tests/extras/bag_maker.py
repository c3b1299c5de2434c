"""Makes bags of colour and depth for the tests, of every kind, with the library that the package reads them with."""

from __future__ import annotations

import dataclasses
import io
import pathlib
import struct
from typing import Any, Sequence

import numpy as np
from PIL import Image
from rosbags.interfaces import Qos, QosDurability, QosHistory, QosLiveliness, QosReliability, QosTime
from rosbags.rosbag1 import Writer as Writer1
from rosbags.rosbag2 import CompressionFormat, CompressionMode, StoragePlugin
from rosbags.rosbag2 import Writer as Writer2
from rosbags.typesys import Stores, get_types_from_msg, get_typestore

_NEVER = QosTime(0, 0)
QOS = Qos(
    QosHistory.KEEP_LAST, 7, QosReliability.BEST_EFFORT, QosDurability.TRANSIENT_LOCAL, _NEVER, _NEVER,
    QosLiveliness.AUTOMATIC, _NEVER, False,
)  # fmt: skip
FRAME = "camera_color_optical_frame"
COLOR, DEPTH = "/camera/color/image_raw", "/camera/depth/image_raw"
START = 1_700_000_000_000_000_000
STEP = 33_000_000

_CHANNELS = {"rgb8": [0, 1, 2], "bgr8": [2, 1, 0], "rgba8": [0, 1, 2, 0], "bgra8": [2, 1, 0, 0], "mono8": [1]}


@dataclasses.dataclass
class Form:
    """How images are put into messages."""

    color: str = "rgb8"
    depth: str = "16UC1"
    big_endian: bool = False
    padding: int = 0


class BagMaker:
    """A bag that is open for writing; `kind` is "ros1", "sqlite3" or "mcap"."""

    def __init__(self, path: pathlib.Path, kind: str, compression: str = "") -> None:
        self.ros2 = kind != "ros1"
        self.store = get_typestore(Stores.LATEST if self.ros2 else Stores.ROS1_NOETIC)
        if not self.ros2:
            definition = "geometry_msgs/TransformStamped[] transforms"
            self.store.register(get_types_from_msg(definition, "tf2_msgs/msg/TFMessage"))
        self.types = self.store.types
        self.writer: Any
        if self.ros2:
            self.writer = Writer2(path, version=9, storage_plugin=StoragePlugin[kind.upper()])
            if compression:
                self.writer.set_compression(CompressionMode[compression], CompressionFormat.ZSTD)
        else:
            self.writer = Writer1(path)
            if compression:
                self.writer.set_compression(Writer1.CompressionFormat[compression])
        self.connections: dict[str, Any] = {}
        self.count = 0

    def __enter__(self) -> "BagMaker":
        self.writer.open()
        return self

    def __exit__(self, *error: Any) -> None:
        self.writer.__exit__(*error)

    def header(self, stamp: int, frame: str = FRAME) -> Any:
        time = self.types["builtin_interfaces/msg/Time"](stamp // 10**9, stamp % 10**9)
        self.count += 1
        return self.types["std_msgs/msg/Header"](
            **({} if self.ros2 else {"seq": self.count}), stamp=time, frame_id=frame
        )

    def write(self, topic: str, time: int, message: Any) -> None:
        kind = message.__msgtype__
        if topic not in self.connections:
            # What tells publishers apart, for one topic.
            more: dict[str, Any] = (
                {"offered_qos_profiles": [QOS]} if self.ros2 else {"callerid": "/talker", "latching": 1}
            )
            more = more if topic == "/chatter" else {}
            self.connections[topic] = self.writer.add_connection(topic, kind, typestore=self.store, **more)
        serialize = self.store.serialize_cdr if self.ros2 else self.store.serialize_ros1
        self.writer.write(self.connections[topic], time, serialize(message, kind))

    def text(self, topic: str, time: int, text: str) -> None:
        self.write(topic, time, self.types["std_msgs/msg/String"](text))

    def color(
        self, stamp: int, rgb: np.ndarray, form: Form, topic: str = COLOR, time: int = 0, frame: str = FRAME
    ) -> None:
        header = self.header(stamp, frame)
        if form.color in ("png", "jpeg"):
            stream = io.BytesIO()
            Image.fromarray(rgb).save(stream, form.color.upper())
            self._compressed(
                f"{topic}/compressed", header, f"rgb8; {form.color} compressed bgr8", stream.getvalue(), time
            )
            return
        pixels = rgb[:, :, _CHANNELS[form.color]].copy()
        self._image(topic, header, form.color, pixels.reshape(rgb.shape[0], -1), form, time)

    def depth(
        self, stamp: int, depth: np.ndarray, form: Form, topic: str = DEPTH, time: int = 0, frame: str = FRAME
    ) -> None:
        header = self.header(stamp, frame)
        kind, _, transport = form.depth.partition(" ")
        if transport:
            quantisation = struct.pack("<i2f", 0, 0, 0) if transport == "compressedDepth" else b""
            stream = io.BytesIO()
            Image.fromarray(depth).save(stream, "PNG")
            text = f"{kind}; compressedDepth" if transport == "compressedDepth" else f"{kind}; png compressed "
            self._compressed(f"{topic}/{transport}", header, text, quantisation + stream.getvalue(), time)
            return
        pixels = depth if kind != "32FC1" else np.where(depth > 0, depth / 1000.0, np.nan).astype(np.float32)
        self._image(
            topic, header, kind, pixels.astype(pixels.dtype.newbyteorder("><"[not form.big_endian])), form, time
        )

    def info(self, topic: str, stamp: int, size: Sequence[int], k: Sequence[float], frame: str = FRAME) -> None:
        types, (width, height) = self.types, size
        p = [*k[:3], 0, *k[3:6], 0, *k[6:], 0]
        roi = types["sensor_msgs/msg/RegionOfInterest"](0, 0, 0, 0, False)
        message = types["sensor_msgs/msg/CameraInfo"](
            self.header(stamp, frame), height, width, "plumb_bob", np.zeros(5), np.array(k, float), np.eye(3).ravel(),
            np.array(p, float), 0, 0, roi,
        )  # fmt: skip
        self.write(topic, stamp, message)

    def transform(self, parent: str, child: str, translation: Sequence[float], rotation: Sequence[float]) -> None:
        types = self.types
        transform = types["geometry_msgs/msg/Transform"](
            types["geometry_msgs/msg/Vector3"](*translation), types["geometry_msgs/msg/Quaternion"](*rotation)
        )
        stamped = types["geometry_msgs/msg/TransformStamped"](self.header(START, parent), child, transform)
        self.write("/tf_static", START, types["tf2_msgs/msg/TFMessage"]([stamped]))

    def _image(self, topic: str, header: Any, encoding: str, rows: np.ndarray, form: Form, time: int) -> None:
        height = rows.shape[0]
        content = np.frombuffer(rows.tobytes(), np.uint8).reshape(height, -1)
        padded = np.pad(content, ((0, 0), (0, form.padding)), constant_values=0xAA)
        channels = len(_CHANNELS.get(encoding, [0]))
        width = rows.shape[1] // channels
        message = self.types["sensor_msgs/msg/Image"](
            header, height, width, encoding, int(form.big_endian), padded.shape[1], padded.ravel()
        )
        self.write(topic, time or _time(header), message)

    def _compressed(self, topic: str, header: Any, text: str, content: bytes, time: int) -> None:
        message = self.types["sensor_msgs/msg/CompressedImage"](header, text, np.frombuffer(content, np.uint8))
        self.write(topic, time or _time(header), message)


def _time(header: Any) -> int:
    return int(header.stamp.sec) * 10**9 + int(header.stamp.nanosec)
