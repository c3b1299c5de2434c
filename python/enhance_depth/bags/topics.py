"""The image topics of a bag, and which of them are a pair of colour and depth."""

from __future__ import annotations

import dataclasses
from typing import Any

from rosbags.interfaces import Connection

from ..support.errors import UserError, printable
from . import messages
from .storage import Bag

_HINT = "record the image after image_proc, or convert it with cv_bridge"
_TRANSPORTS = ("/compressed", "/compressedDepth")


@dataclasses.dataclass(frozen=True)
class ImageTopic:
    """What the first message of an image topic states."""

    name: str
    message_type: str
    count: int
    encoding: str
    size: tuple[int, int]
    frame_id: str
    connection: Connection

    @property
    def kind(self) -> str:
        """ "depth", "colour" or, of neither, ""."""
        return "depth" if messages.is_depth(self.encoding) else "colour" if messages.is_color(self.encoding) else ""

    @property
    def base(self) -> str:
        """The name without the transport."""
        for transport in _TRANSPORTS:
            if self.name.endswith(transport):
                return self.name[: -len(transport)]
        return self.name

    @property
    def transport(self) -> str:
        return self.name[len(self.base) :]

    @property
    def camera_info(self) -> str:
        """The topic where ROS expects the CameraInfo of this image."""
        return self.base.rpartition("/")[0] + "/camera_info"

    @property
    def rectified(self) -> bool:
        return "rect" in self.base.rpartition("/")[2]


def image_topics(bag: Bag) -> list[ImageTopic]:
    """All topics with images and at least one message, in the order of their names."""
    found: dict[str, ImageTopic] = {}
    for connection in bag.connections:
        if connection.msgtype not in (messages.IMAGE, messages.COMPRESSED) or connection.topic in found:
            continue
        connections = bag.connections_of(connection.topic)
        for first, _, raw in bag.messages(connections):
            message: Any = bag.decode(first, raw)
            found[connection.topic] = ImageTopic(
                connection.topic,
                connection.msgtype,
                sum(each.msgcount for each in connections),
                messages.encoding_of(message),
                messages.size_of(message),
                str(message.header.frame_id),
                first,
            )
            break
    return [found[name] for name in sorted(found)]


def choose(topics: list[ImageTopic], color: str | None, depth: str | None) -> tuple[ImageTopic, ImageTopic]:
    """The topics of colour and depth: those that are named, or else the only ones that come into question."""
    colors = _candidates(topics, "colour", color)
    depths = _candidates(topics, "depth", depth)
    pairs = [(one, other) for one in colors for other in depths]
    if len(pairs) > 1:  # an infrared image or a confidence map also looks like depth; registered depth fits its colour
        fitting = [(one, other) for one, other in pairs if why_not_registered(one, other) is None]
        pairs = fitting or pairs
    # Then what its name calls depth, and of one image the raw form.
    pairs = [pair for pair in pairs if "depth" in pair[1].name.lower()] or pairs
    pairs = [pair for pair in pairs if not pair[1].transport] or pairs
    pairs = [pair for pair in pairs if not pair[0].transport] or pairs
    if len(pairs) != 1:
        raise UserError(
            f"{len(pairs)} pairs of topics can be meant; name them with --color and --depth:\n{describe(topics)}"
        )
    return pairs[0]


def why_not_registered(color: ImageTopic, depth: ImageTopic) -> str | None:
    """Why the depth is not as the colour camera sees it; None if nothing indicates that."""
    if color.frame_id.lstrip("/") != depth.frame_id.lstrip("/"):
        return f"its frame is {depth.frame_id!r} and that of the colour {color.frame_id!r}"
    unknown = 0 in (*color.size, *depth.size)  # a damaged image, which will be reported as such
    if color.size != depth.size and not unknown:
        return f"its size is {depth.size[0]} x {depth.size[1]} and that of the colour {color.size[0]} x {color.size[1]}"
    return None


def describe(topics: list[ImageTopic]) -> str:
    """A table as text."""
    lines = [
        printable(
            f"  {topic.kind or '-':7} {topic.name:45} {topic.count:7} messages  {topic.encoding:8} "
            f"{topic.size[0]} x {topic.size[1]}  frame {topic.frame_id}"
        )
        for topic in topics
    ]
    return "\n".join(lines) or "  (no images)"


def _candidates(topics: list[ImageTopic], kind: str, named: str | None) -> list[ImageTopic]:
    if named is None:
        found = [topic for topic in topics if topic.kind == kind]
        if not found:
            raise UserError(f"the bag has no topic with {kind} images that can be read:\n{describe(topics)}")
        return found
    found = [topic for topic in topics if topic.name == named]
    if not found:
        raise UserError(f"the bag has no images on {named}:\n{describe(topics)}")
    if not found[0].kind:
        raise UserError(
            f"{named} has the encoding {found[0].encoding!r}, which is read as neither depth nor colour; {_HINT}"
        )
    if found[0].kind != kind:
        raise UserError(f"{named} holds {found[0].kind}, not {kind} (encoding {found[0].encoding}); are they swapped?")
    return found
