"""Image files and their compressed forms, as numpy arrays."""

from __future__ import annotations

import io
import pathlib
from typing import TYPE_CHECKING, Union

import numpy as np

try:
    from PIL import Image, UnidentifiedImageError
except ImportError as error:
    raise ImportError("the commands of enhance_depth need Pillow: pip install pillow") from error

from .errors import UserError
from .inputs import read_file
from .output import replacing

if TYPE_CHECKING:
    import numpy.typing as npt

    ColorImage = npt.NDArray[np.uint8]
    DepthImage = npt.NDArray[np.uint16]
    Pixels = npt.NDArray[np.generic]

LARGEST_SIDE = 8192
Image.MAX_IMAGE_PIXELS = None  # the limit is LARGEST_SIDE, checked before anything is decoded

_PNG = b"\x89PNG"
# Where a PNG's header has the bits of a sample and the kind of its pixels; 0 stands for one channel.
_BITS, _KIND = 24, 25


def read_color(source: Union[pathlib.Path, bytes], name: str) -> "ColorImage":
    """(H, W, 3) uint8 of a PNG or JPEG; errors call it `name`. The orientation tag is ignored."""
    content = _read(source, name)
    if content[:4] == _PNG and content[_BITS] > 8:
        raise UserError(f"{name} has {content[_BITS]} bits a channel, not 8; are colour and depth swapped?")
    with _open(content, name) as image:
        return np.asarray(_decode(image, name).convert("RGB"))


def read_depth(source: Union[pathlib.Path, bytes], name: str) -> "DepthImage":
    """(H, W) uint16 of a PNG with one 16-bit channel."""
    content = _read(source, name)
    if not is_depth(content):
        raise UserError(f"{name} is no PNG with one channel of 16 bits; are colour and depth swapped?")
    with _open(content, name) as image:
        return np.asarray(_decode(image, name)).astype(np.uint16)


def is_depth(content: bytes) -> bool:
    """Whether it is the beginning of a PNG with one 16-bit channel."""
    return content[:4] == _PNG and content[_BITS : _KIND + 1] == bytes([16, 0])


def size_of(content: bytes) -> tuple[int, int]:
    """(width, height) of a PNG or JPEG; (0, 0) of anything else."""
    try:
        with _open(content, "") as image:
            return image.width, image.height
    except UserError:
        return 0, 0


def encode_depth(depth: "DepthImage") -> bytes:
    """A PNG with one 16-bit channel. Fast rather than small: depth is noise to a compressor."""
    stream = io.BytesIO()
    Image.fromarray(np.ascontiguousarray(depth, np.uint16)).save(stream, "PNG", compress_level=1)
    return stream.getvalue()


def write_depth(path: pathlib.Path, depth: "DepthImage") -> None:
    _write(path, encode_depth(depth))


def write_confidence(path: pathlib.Path, confidence: "npt.NDArray[np.float32]") -> None:
    """A 32-bit float TIFF, uncompressed."""
    stream = io.BytesIO()
    Image.fromarray(np.ascontiguousarray(confidence, np.float32)).save(stream, "TIFF")
    _write(path, stream.getvalue())


def _write(path: pathlib.Path, content: bytes) -> None:
    with replacing(path) as part:
        part.write_bytes(content)


def _read(source: Union[pathlib.Path, bytes], name: str) -> bytes:
    content = source if isinstance(source, bytes) else read_file(source, name)
    return content.ljust(_KIND + 1, b"\0")  # so that a truncated header can be parsed


def _open(content: bytes, name: str) -> Image.Image:
    try:
        image = Image.open(io.BytesIO(content), formats=("PNG", "JPEG"))
    except UnidentifiedImageError as error:
        raise UserError(f"{name} cannot be read: it is neither a PNG nor a JPEG image") from error
    except Exception as error:  # a damaged file can make Pillow fail in any way
        raise UserError(f"{name} is damaged: {error}") from error
    if max(image.size) > LARGEST_SIDE:
        image.close()
        raise UserError(f"{name} has {image.size[0]} x {image.size[1]} pixels; at most {LARGEST_SIDE} a side are read")
    return image


def _decode(image: Image.Image, name: str) -> Image.Image:
    try:
        image.load()
    except Exception as error:  # see above
        raise UserError(f"{name} is damaged: {error}") from error
    return image
