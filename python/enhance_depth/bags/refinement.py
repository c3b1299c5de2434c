"""Copies a bag and adds the refined depth."""

from __future__ import annotations

import dataclasses
import pathlib
from array import array
from collections import OrderedDict
from typing import Callable

import numpy as np
from rosbags.interfaces import Connection

from .._engine import Engine
from ..support import images
from ..support.errors import UserError
from ..support.output import whole_or_absent
from ..support.pairing import pair
from . import messages, topics
from .registration import Camera, Registration
from .storage import Bag, BagWriter, check_target
from .topics import ImageTopic
from .transforms import STATIC_TRANSFORMS, read_static_transforms, transform_between

_BYTES_THAT_WAIT = 256 << 20
"""Of images that wait for their partners; any more are read again when needed, so that memory is bounded."""


@dataclasses.dataclass
class Summary:
    """The outcome for a bag."""

    color: ImageTopic
    depth: ImageTopic
    pairs: int
    refined: int = 0
    failures: list[str] = dataclasses.field(default_factory=list)
    notes: list[str] = dataclasses.field(default_factory=list)
    """What the user should know although nothing failed."""

    @property
    def unit(self) -> str:
        """That of the depth, by ROS's convention."""
        unit = "metres" if self.depth.encoding == "32FC1" else "millimetres"
        return f"{unit}, as ROS has it for {self.depth.encoding}"


@dataclasses.dataclass(frozen=True)
class Options:
    """Options besides input, output and engine."""

    color: str | None = None
    depth: str | None = None
    register: bool = False
    max_difference: int = 20_000_000
    """Nanoseconds between the stamps of a pair."""


Notify = Callable[[int], object]


def refine_bag(
    source: pathlib.Path,
    target: pathlib.Path,
    load_engine: Callable[[], Engine],
    options: Options,
    notify: Notify = lambda pairs: None,
    finished: Callable[[Summary], object] = lambda summary: None,
) -> Summary:
    """Writes `target`, completely or not at all.

    The engine is loaded once the bag has passed the checks, and stays open. `notify` is called with the number of pairs
    before the first, and with 0 after each; `finished` with the summary, just before the bag gets its name.

    Raises:
        UserError: the bag cannot be read, its topics are not a pair, or nothing in it could be refined.
    """
    with Bag(source) as bag:
        check_target(bag, target)
        color, depth = topics.choose(topics.image_topics(bag), options.color, options.depth)
        registration = _registration(bag, color, depth, options.register)
        index = _Index(bag, color, depth, options.max_difference)
        summary = Summary(color, depth, len(index.color_of))
        if index.stamps_missing:
            summary.notes.append("the images have no time stamps; they were paired by the time of recording")
        notify(summary.pairs)
        with whole_or_absent(target) as part:
            with BagWriter(bag, part) as writer:
                _Run(bag, writer, load_engine(), index, registration, summary, notify).run()
            if summary.refined == 0:
                raise UserError(f"none of {summary.pairs} pairs could be refined: {summary.failures[0]}", status=1)
            finished(summary)
    return summary


class _Index:
    """The stamps and log times of the images of both topics, and their pairs."""

    def __init__(self, bag: Bag, color: ImageTopic, depth: ImageTopic, max_difference: int) -> None:
        self.log_times = {color.name: array("q"), depth.name: array("q")}
        stamps = {color.name: array("q"), depth.name: array("q")}
        for connection, time, raw in bag.messages(bag.connections_of(color.name) + bag.connections_of(depth.name)):
            self.log_times[connection.topic].append(time)
            stamps[connection.topic].append(messages.stamp_of(raw, bag.is_ros2))
        # Senders without time stamps leave zeros: the time of recording is used then.
        self.stamps_missing = not any(stamps[color.name]) or not any(stamps[depth.name])
        if self.stamps_missing:
            stamps = self.log_times
        self.color_of = pair(stamps[depth.name], stamps[color.name], max_difference)
        self.depth_of = {color_index: depth_index for depth_index, color_index in self.color_of.items()}
        if not self.color_of:
            raise UserError(
                f"no image of {color.name} is within {max_difference / 1e9:g} s of one of {depth.name}; were they "
                "recorded together, and is the difference between their clocks below --max-difference?"
            )


class _Run:
    def __init__(
        self,
        bag: Bag,
        writer: BagWriter,
        engine: Engine,
        index: _Index,
        registration: Registration | None,
        summary: Summary,
        notify: Notify,
    ) -> None:
        self._bag, self._writer, self._engine, self._index = bag, writer, engine, index
        self._registration, self._summary, self._notify = registration, summary, notify
        self._color, self._depth = summary.color, summary.depth
        self._seen = {self._color.name: 0, self._depth.name: 0}
        # (topic, index) of images whose partner is yet to come
        self._waiting: OrderedDict[tuple[str, int], bytes] = OrderedDict()
        self._waiting_bytes = 0
        base, like = self._depth.base, self._depth.connection
        self._refined = writer.add(f"{base}/refined{self._depth.transport}", self._depth.message_type, like)
        self._confidence: Connection | None = None
        self._frame_id = self._color.frame_id if registration else self._depth.frame_id
        # One CameraInfo serves both new images: ROS looks for it next to them.
        self._info_source = (self._color if registration else self._depth).camera_info
        self._info_target = f"{base}/camera_info"

    def run(self) -> None:
        for connection, time, raw in self._bag.messages():
            self._writer.write(self._writer.copy_of(connection), time, raw)
            if connection.topic == self._info_source and connection.msgtype == messages.CAMERA_INFO:
                self._writer.write(self._writer.copy_of(connection, self._info_target), time, raw)
            elif connection.topic in self._seen:
                self._on_image(connection.topic, self._seen[connection.topic], raw)
                self._seen[connection.topic] += 1

    def _on_image(self, topic: str, index: int, raw: bytes) -> None:
        """Refines a pair when its second image comes; until then the first one waits."""
        is_depth = topic == self._depth.name
        partner = (self._index.color_of if is_depth else self._index.depth_of).get(index)
        if partner is None:
            return
        other_topic = self._color.name if is_depth else self._depth.name
        if partner >= self._seen[other_topic]:
            self._waiting[topic, index] = raw
            self._waiting_bytes += len(raw)
            while self._waiting_bytes > _BYTES_THAT_WAIT:
                _, left = self._waiting.popitem(last=False)
                self._waiting_bytes -= len(left)
            return
        waiting = self._waiting.pop((other_topic, partner), b"")
        self._waiting_bytes -= len(waiting)
        waiting = waiting or self._read_again(other_topic, partner)
        depth_index = index if is_depth else partner
        self._refine(raw if is_depth else waiting, waiting if is_depth else raw, depth_index)
        self._notify(0)

    def _read_again(self, topic: str, index: int) -> bytes:
        times = self._index.log_times[topic]
        time = times[index]
        first = index
        while first > 0 and times[first - 1] == time:
            first -= 1
        for at, (_, _, raw) in enumerate(self._bag.messages(self._bag.connections_of(topic), time, time + 1), first):
            if at == index:
                return raw
        raise UserError(f"the bag changed while it was read: {topic} has lost its message {index}", status=1)

    def _refine(self, raw_depth: bytes, raw_color: bytes, index: int) -> None:
        time = self._index.log_times[self._depth.name][index]
        types = self._bag.standard_types.types
        try:
            message = self._bag.decode(self._depth.connection, raw_depth)
            depth, form = messages.decode_depth(message, self._depth.name)
            color_message = self._bag.decode(self._color.connection, raw_color)
            color = messages.decode_color(color_message, self._color.name)
            if self._registration:
                depth = self._registration.apply(depth)
            if self._summary.refined == 0:
                self._doubt(depth, index)
            if depth.shape != color.shape[:2]:
                raise UserError(
                    f"the depth has {depth.shape[1]} x {depth.shape[0]} pixels and the colour "
                    f"{color.shape[1]} x {color.shape[0]}"
                )
        except UserError as error:
            self._summary.failures.append(f"frame {index}: {error}")
            return
        size = (depth.shape[1], depth.shape[0])
        if self._engine.size != size:
            self._engine.reset(*size)
        refined = self._engine.process(color, depth, copy=True)
        header = messages.standard_header(types, message.header, self._frame_id or message.header.frame_id)
        encoded, message_type = messages.encode_depth(types, header, refined.depth, form)
        self._writer.write(self._refined, time, self._bag.encode(encoded, message_type))
        if refined.confidence is not None:
            if self._confidence is None:
                name = f"{self._depth.base}/confidence"
                self._confidence = self._writer.add(name, messages.IMAGE, self._depth.connection)
            confidence = messages.encode_confidence(types, header, refined.confidence)
            self._writer.write(self._confidence, time, self._bag.encode(confidence, messages.IMAGE))
        self._summary.refined += 1

    def _doubt(self, depth: images.DepthImage, index: int) -> None:
        """Notes what speaks against the unit of the first frame, or against its registration."""
        known = depth[depth > 0]
        note = ""
        if known.size == 0:
            note = (
                f"no depth of frame {index} falls into the colour image: check CameraInfo and the static transform"
                if self._registration
                else f"frame {index} has no depth at all: the depth is taken to be in {self._summary.unit}"
            )
        elif not 0.1 <= (metres := float(np.median(known)) / messages.UNITS_PER_METRE) <= 20:
            note = (
                f"the median depth of frame {index} is {metres:.3f} m, which no RGB-D camera delivers: the depth is "
                f"taken to be in {self._summary.unit}"
            )
        if note and note not in self._summary.notes:
            self._summary.notes.append(note)


def _registration(bag: Bag, color: ImageTopic, depth: ImageTopic, register: bool) -> Registration | None:
    reason = topics.why_not_registered(color, depth)
    if not register:
        if reason:
            raise UserError(
                f"{depth.name} is not registered to {color.name}: {reason}. Choose the camera's registered depth topic "
                "(often called aligned_depth_to_color or depth_registered), or give --register, which uses CameraInfo and "
                f"the static transform in the bag:\n{topics.describe(topics.image_topics(bag))}"
            )
        return None
    cameras = [_camera(bag, topic) for topic in (depth, color)]
    transform = transform_between(read_static_transforms(bag), depth.frame_id, color.frame_id)
    if transform is None:
        raise UserError(
            f"--register: {STATIC_TRANSFORMS} has no chain of transforms from {depth.frame_id!r} to {color.frame_id!r}; "
            "record it with the images"
        )
    if not np.isfinite(transform).all():
        raise UserError(
            f"--register: the transform from {depth.frame_id!r} to {color.frame_id!r} is not made of numbers; "
            "calibrate the cameras again"
        )
    return Registration(cameras[0], cameras[1], transform)


def _camera(bag: Bag, topic: ImageTopic) -> Camera:
    connections = [each for each in bag.connections_of(topic.camera_info) if each.msgtype == messages.CAMERA_INFO]
    for connection, _, raw in bag.messages(connections) if connections else ():
        camera = Camera.from_info(bag.decode(connection, raw), topic.camera_info, topic.rectified)
        if (camera.width, camera.height) != topic.size:
            raise UserError(
                f"--register: {topic.camera_info} is of images of {camera.width} x {camera.height} pixels, and "
                f"{topic.name} has {topic.size[0]} x {topic.size[1]}; record the CameraInfo of this resolution"
            )
        return camera
    raise UserError(
        f"--register: the bag has no CameraInfo on {topic.camera_info}, which belongs to {topic.name}; record it with "
        "the images"
    )
