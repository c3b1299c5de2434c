"""Bags as files: reads any kind, and writes the same kind with topics added."""

from __future__ import annotations

import contextlib
import pathlib
import sqlite3
from types import TracebackType
from typing import Any, Collection, Iterator, Literal, Sequence

from rosbags.highlevel import AnyReader
from rosbags.interfaces import Connection, ConnectionExtRosbag1, ConnectionExtRosbag2
from rosbags.rosbag1 import Writer as Writer1
from rosbags.rosbag1 import WriterError as Writer1Error
from rosbags.rosbag2 import CompressionFormat, CompressionMode, StoragePlugin
from rosbags.rosbag2 import Writer as Writer2
from rosbags.rosbag2 import WriterError as Writer2Error
from rosbags.rosbag2.storage_mcap import McapReader
from rosbags.typesys import Stores, TypesysError, get_typestore

from ..support.errors import UserError
from ..support.inputs import require_regular

_METADATA_VERSION: Literal[8] = 8  # the newest that ROS 2 Iron reads; later ones read it, too
_NO_HASH = "RIHS01_" + "0" * 64


class Bag:
    """A bag that is read: a ROS 1 .bag file, a folder of ROS 2, or one of its .mcap or .db3 files."""

    def __init__(self, path: pathlib.Path) -> None:
        self.path = path
        for file in path.iterdir() if path.is_dir() else [path] if path.exists() else []:
            if not file.is_dir():
                require_regular(file, str(file))
        # Bags of ROS 2 before Iron contain no message definitions.
        try:
            self._reader = AnyReader([path], default_typestore=get_typestore(Stores.LATEST))
            self._reader.open()
        except FileNotFoundError as error:
            raise UserError(
                f"{path} is no bag: it is not there, or a folder without metadata.yaml; ros2 bag reindex makes one"
            ) from error
        except OSError:
            raise
        except Exception as error:  # a damaged file can make the reader fail in any way
            raise UserError(
                f"{path} cannot be read as a bag: {_text(error)}. A bag is a .bag file of ROS 1, or a folder with "
                "metadata.yaml, a .mcap or a .db3 file of ROS 2; one whose recording was cut short is repaired by "
                "rosbag reindex (.bag), mcap recover (.mcap) or ros2 bag reindex (folder)"
            ) from error
        self.is_ros2 = self._reader.is2
        self.connections: Sequence[Connection] = self._reader.connections
        self._first: Any = self._reader.readers[0]  # of either kind, whose attributes differ
        standard = Stores.LATEST if self.is_ros2 else Stores.ROS1_NOETIC
        self.standard_types = get_typestore(standard)

    def __enter__(self) -> "Bag":
        return self

    def __exit__(
        self, kind: type[BaseException] | None, value: BaseException | None, trace: TracebackType | None
    ) -> None:
        self._reader.close()

    @property
    def message_count(self) -> int:
        return self._reader.message_count

    def connections_of(self, topic: str) -> list[Connection]:
        return [connection for connection in self.connections if connection.topic == topic]

    def messages(
        self, connections: Collection[Connection] = (), start: int | None = None, stop: int | None = None
    ) -> Iterator[tuple[Connection, int, bytes]]:
        """Connection, log time in ns and content of each message, in the order of log times."""
        iterator = self._reader.messages(connections, start, stop)
        while True:
            try:
                message = next(iterator, None)
            except OSError:
                raise
            except Exception as error:  # see above
                raise UserError(f"{self.path} is damaged: {_text(error)}") from error
            if message is None:
                return
            yield message

    def decode(self, connection: Connection, raw: bytes) -> Any:
        """The message as an object with the fields of its type."""
        try:
            return self._reader.deserialize(raw, connection.msgtype)
        except Exception as error:  # see above
            raise UserError(f"a message of {connection.topic} is damaged: {_text(error)}") from error

    def encode(self, message: Any, message_type: str) -> bytes:
        """The content of a message that is made of `standard_types`."""
        store = self.standard_types
        serialize = store.serialize_cdr if self.is_ros2 else store.serialize_ros1
        return bytes(serialize(message, message_type))

    def hash_of(self, connection: Connection) -> str:
        """The ROS 2 hash of a connection's type, as far as the bag knows it."""
        try:
            return connection.digest or self._reader.typestore.hash_rihs01(connection.msgtype)
        except (KeyError, TypesysError):
            return _NO_HASH

    @property
    def is_mcap(self) -> bool:
        return self.is_ros2 and isinstance(self._storage(), McapReader)

    @property
    def compression(self) -> str:
        """How the content is compressed: "" for not at all; otherwise the name of the kind that its writer knows."""
        if not self.is_ros2:
            codecs = {chunk.decompressor.__module__ for chunk in self._first.chunks.values()}
            return "LZ4" if any("lz4" in codec for codec in codecs) else "BZ2" if "bz2" in codecs else ""
        if self.is_mcap and any(chunk.compression for chunk in self._storage().chunks):
            return "STORAGE"
        mode = self._first.compression_mode
        return mode.upper() if mode else ""

    def _storage(self) -> Any:
        storage = self._first.storage
        return storage.storages[0] if hasattr(storage, "storages") and storage.storages else storage


class BagWriter:
    """Writes a bag of the same kind, compression and message definitions as `source`."""

    def __init__(self, source: Bag, path: pathlib.Path) -> None:
        check_target(source, path)
        self._source = source
        self._path = path
        self._outputs: dict[tuple[object, ...], Connection] = {}
        self._writer: Any
        compression = source.compression
        if not source.is_ros2:
            self._writer = Writer1(path)
            if compression:
                self._writer.set_compression(Writer1.CompressionFormat[compression])
        else:
            plugin = StoragePlugin.MCAP if source.is_mcap else StoragePlugin.SQLITE3
            # A single file is moved out of the folder that its writer creates.
            self._single_file = path.suffix in (".mcap", ".db3")
            folder = path.with_suffix("") if self._single_file else path
            self._writer = Writer2(folder, version=_METADATA_VERSION, storage_plugin=plugin)
            if compression and not (self._single_file and compression == CompressionMode.FILE.name):
                self._writer.set_compression(CompressionMode[compression], CompressionFormat.ZSTD)

    def __enter__(self) -> "BagWriter":
        with _writing(self._path):
            self._writer.open()
        return self

    def __exit__(
        self, kind: type[BaseException] | None, value: BaseException | None, trace: TracebackType | None
    ) -> None:
        with _writing(self._path):
            self._writer.__exit__(kind, value, trace)
            if kind is None and self._source.is_ros2 and self._single_file:
                (self._writer.path / self._path.name).rename(self._path)

    def copy_of(self, connection: Connection, topic: str | None = None) -> Connection:
        """A connection for unchanged messages, on the same topic or on another."""
        topic = topic or connection.topic
        definition, extension = connection.msgdef.data, connection.ext
        if isinstance(extension, ConnectionExtRosbag1):
            return self._add(
                topic,
                connection.msgtype,
                msgdef=definition,
                md5sum=connection.digest,
                callerid=extension.callerid,
                latching=extension.latching,
            )
        known: dict[str, Any] = {"msgdef": definition, "rihs01": self._source.hash_of(connection)}
        if not definition and connection.msgtype in self._source.standard_types.fielddefs:
            known = {"typestore": self._source.standard_types}
        return self._add(
            topic,
            connection.msgtype,
            serialization_format=extension.serialization_format,
            offered_qos_profiles=extension.offered_qos_profiles,
            **known,
        )

    def add(self, topic: str, message_type: str, like: Connection) -> Connection:
        """A connection for messages of a standard type, offered as those of `like` are."""
        more: dict[str, Any] = {}
        if isinstance(like.ext, ConnectionExtRosbag2):
            more["offered_qos_profiles"] = like.ext.offered_qos_profiles
        return self._add(topic, message_type, typestore=self._source.standard_types, **more)

    def write(self, connection: Connection, time: int, raw: bytes) -> None:
        with _writing(self._path):
            self._writer.write(connection, time, raw)

    def _add(self, topic: str, message_type: str, **more: Any) -> Connection:
        # Two identical publishers of a topic become one.
        key = (topic, message_type, more.get("callerid"), more.get("latching"), repr(more.get("offered_qos_profiles")))
        if key not in self._outputs:
            with _writing(self._path):
                self._outputs[key] = self._writer.add_connection(topic, message_type, **more)
        return self._outputs[key]


def check_target(source: Bag, target: pathlib.Path) -> None:
    """The output is a bag of the input's kind, and its name has to match."""
    if not source.is_ros2:
        wanted: tuple[str, ...] = (".bag",)
    else:
        wanted = ("", ".mcap") if source.is_mcap else ("", ".db3")
    suffix = target.suffix if target.suffix in (".bag", ".mcap", ".db3") else ""
    if suffix not in wanted:
        kind = "ROS 1 bag" if not source.is_ros2 else "ROS 2 bag in MCAP" if source.is_mcap else "ROS 2 bag in SQLite"
        names = " or ".join(f"NAME{ending}" if ending else "a folder" for ending in wanted)
        raise UserError(
            f"{source.path} is a {kind}, and so will be the output: name it {names}, not {target.name}; "
            "rosbags-convert turns one kind into another"
        )


@contextlib.contextmanager
def _writing(path: pathlib.Path) -> Iterator[None]:
    try:
        yield
    except (Writer1Error, Writer2Error, TypesysError, sqlite3.Error) as error:
        raise UserError(f"{path.name} cannot be written: {_text(error)}", status=1) from error
    except OSError as error:
        reason = error.strerror or str(error)
        raise UserError(f"{path.name} cannot be written: {reason}; check the disk it is on", status=1) from error


def _text(error: BaseException) -> str:
    return str(error).rstrip(".") or type(error).__name__
