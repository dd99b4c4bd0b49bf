# SPDX-License-Identifier: Apache-2.0
"""What message brokers measure, read from the shared memory of this machine.

    import zebread
    for broker in zebread.snapshot().brokers:
        print(zebread.printable(broker.name), broker.state)

Looking takes no lock, writes nothing and never makes a broker wait. Snapshots are plain objects that
never change and need nothing to be closed. None is what there is not and what can't be read, which is
never 0; Statistics.unreadable tells the two apart. Times are seconds since 1970, UTC, unless their name
says milliseconds (ms). IDs are upper-case hexadecimal digits. Any number may be what somebody wrote
there, and texts may hold control characters: pass them through printable() before a terminal, a page or
a log gets them.

It stands on the C library libzebread.so.1; zebread.h says more of each value.
"""
from __future__ import annotations

import ctypes
import dataclasses
import os
import weakref
from ctypes import c_char_p, c_int, c_int32, c_int64, c_size_t, c_uint32, c_uint64, c_void_p
from typing import Any, Callable, Dict, Iterator, Optional, Tuple

__all__ = ["Area", "Broker", "Damage", "Error", "Event", "Flow", "Group", "Node", "Reader", "Snapshot",
           "Statistics", "events", "printable", "snapshot", "version"]


class Error(Exception):
    """A sentence of what went wrong and what to do. `status` is that of zebread.h."""

    def __init__(self, status: int, sentence: str):
        super().__init__(sentence)
        self.status = status


@dataclasses.dataclass(frozen=True)
class Statistics:
    """What a node measured since its broker's reset."""

    record_id: str
    message_count: Optional[int]
    size_sum_bytes: Optional[int]
    size_min_bytes: Optional[int]
    size_max_bytes: Optional[int]
    elapsed_sum_ms: Optional[int]
    elapsed_min_ms: Optional[int]
    elapsed_max_ms: Optional[int]
    queued_sum_ms: Optional[int]
    queued_min_ms: Optional[int]
    queued_max_ms: Optional[int]
    first_collection: Optional[int]
    last_collection: Optional[int]
    torn: bool  # written whenever it was copied: the numbers may be of two messages
    unreadable: Tuple[str, ...]  # the names of those that are there, but damaged


@dataclasses.dataclass(frozen=True)
class Node:
    label: str
    type: int  # as stored
    type_name: str  # "input", "output", "other", "subFlowInput", "subFlowOutput", "unknown"
    sub_flow: str
    deleted: bool
    record_id: str
    statistics: Optional[Statistics]


@dataclasses.dataclass(frozen=True)
class Flow:
    """A message flow."""

    label: str
    deleted: bool
    record_id: str
    nodes: Tuple[Node, ...]  # in the order of their deployment


@dataclasses.dataclass(frozen=True)
class Group:
    """An execution group."""

    label: str
    uuid: str
    process_id: int  # 0: not known
    deleted: bool
    record_id: str
    flows: Tuple[Flow, ...]  # by their labels


@dataclasses.dataclass(frozen=True)
class Event:
    """What a node posted. Group to template_id but the kind are None when that was overwritten."""

    kind: str  # "message", "exception", "unknown"
    time: Optional[int]
    created_ms: int
    record_id: str
    thread_id: int
    message_id: str
    correlation_id: str
    put_application_type: int
    put_application_name: str
    put_date: str
    put_time: str
    group: Optional[str]
    flow: Optional[str]
    node: Optional[str]
    node_type: int
    text: Optional[str]
    template_id: str


@dataclasses.dataclass(frozen=True)
class Area:
    """A part of a broker's shared memory: "statistics", "eventTemplates" or "eventData"."""

    name: str
    size_bytes: int
    used_bytes: int
    uncopied_bytes: int  # used, but above the bytes that are looked at
    wrapped: bool


@dataclasses.dataclass(frozen=True)
class Damage:
    """A place that can't be read."""

    area: str
    offset: int
    reason: str


@dataclasses.dataclass(frozen=True)
class Broker:
    label: Optional[str]
    uuid: str
    key_file: str
    state: str  # "ok", or what is wrong first: "noSegment", "damaged", "noProcess", ...
    problem: Optional[str]  # a sentence on the state, printable
    reset_time: Optional[int]
    segment_id: Optional[int]
    segment_bytes: Optional[int]
    attached: Optional[int]
    reading_group: Optional[str]
    areas: Tuple[Area, ...]
    damage: Tuple[Damage, ...]  # the first hundred at most
    groups: Tuple[Group, ...]  # by their labels
    events: Tuple[Event, ...]  # not told before, the oldest first
    missed_events: Optional[int]  # at least so many were overwritten before they could be told

    @property
    def name(self) -> str:
        """The label, else the uuid."""
        return self.label or self.uuid


@dataclasses.dataclass(frozen=True)
class Snapshot:
    """What one look saw."""

    wall_ms: int  # since 1970; the clock may have been set
    steady_ms: int  # of a clock that never jumps: for the time between two looks
    directory: str
    brokers: Tuple[Broker, ...]  # in the order of their key files


class Reader:
    """Looks again and again, and tells each event once. For one thread at a time.

    `directory` is where the key files are, else where the settings of this machine say. `broker` is a
    label or a uuid, in which "*" stands for anything. Of one broker at most `max_bytes` of shared memory
    are looked at. Events up to `cursor`, which an earlier reader gave, are not told again.
    """

    def __init__(self, directory: str = "", broker: str = "", max_bytes: Optional[int] = None,
                 events: bool = False, cursor: Optional[str] = None):
        self._handle = c_void_p()
        status = _open(ctypes.byref(self._handle))
        if status != _OK:
            raise Error(status, _status_text(status).decode())
        self._finish = weakref.finalize(self, _close, self._handle)
        self._try(_set_directory, os.fsencode(directory))
        self._try(_set_broker, os.fsencode(broker))
        self._try(_set_events, events)
        if max_bytes is not None:
            self._try(_set_max_bytes, max_bytes)
        if cursor is not None:
            self._try(_resume, cursor.encode())

    def look(self) -> Snapshot:
        handle = c_void_p()
        self._try(_look, ctypes.byref(handle))
        try:
            return _made(Snapshot, handle)
        finally:
            _snapshot_free(handle)

    @property
    def cursor(self) -> str:
        """How far events were told, for another reader to go on from."""
        text = _cursor(self._handle)
        if text is None:
            raise Error(_INVALID, "the reader is closed, or no memory is left. Open another one")
        return text.decode()

    def close(self) -> None:
        self._finish()
        self._handle = c_void_p()

    def __enter__(self) -> Reader:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def _try(self, function: Callable[..., int], *arguments: Any) -> None:
        if not self._handle:
            raise Error(_INVALID, "the reader is closed. Open another one")
        status = function(self._handle, *arguments)
        if status != _OK:
            raise Error(status, _error_text(self._handle).decode(errors="replace"))


def snapshot(directory: str = "", broker: str = "", max_bytes: Optional[int] = None,
             events: bool = False) -> Snapshot:
    """Looks once; the arguments are those of a Reader."""
    with Reader(directory, broker, max_bytes, events) as reader:
        return reader.look()


def events(directory: str = "", broker: str = "", max_bytes: Optional[int] = None
           ) -> Iterator[Tuple[Broker, Event]]:
    """All events that are in memory now, the oldest of each broker first."""
    for one in snapshot(directory, broker, max_bytes, True).brokers:
        for event in one.events:
            yield one, event


def printable(text: str) -> str:
    """The text on one line, without what moves a cursor, hides, or turns the direction of writing."""
    raw = text.encode(errors="surrogateescape").replace(b"\0", b"\\x00")
    size = _printable(raw, None, 0)
    buffer = ctypes.create_string_buffer(min(size, 12 * len(raw)) + 1)
    if _printable(raw, buffer, len(buffer)) != size or size >= len(buffer):
        raise MemoryError
    return buffer.value.decode()


def version() -> str:
    """Of the C library: version, commit, stored format."""
    return _version_text().decode()


# The C interface. A table for each class says which function gives which value.

_OK, _UNREADABLE, _INVALID = 0, 2, 3
_library = ctypes.CDLL("libzebread.so.1")


def _function(name: str, result: Any, *arguments: Any) -> Any:
    function = _library["zebread_" + name]
    function.restype, function.argtypes = result, arguments
    return function


def _number(name: str, kind: Any = c_int64) -> Callable[[c_void_p], int]:
    return _function(name, kind, c_void_p)


def _flag(name: str) -> Callable[[c_void_p], bool]:
    function = _function(name, c_int, c_void_p)
    return lambda handle: function(handle) != 0


def _text(name: str, decoded: Callable[[bytes], str] = bytes.decode
          ) -> Callable[[c_void_p], Optional[str]]:
    function = _function(name, c_char_p, c_void_p)

    def text(handle: c_void_p) -> Optional[str]:
        given = function(handle)
        return None if given is None else decoded(given)
    return text


def _value(name: str) -> Callable[[c_void_p], Optional[int]]:
    function = _function(name, c_int, c_void_p, c_void_p)

    def value(handle: c_void_p) -> Optional[int]:
        given = c_int64()
        return given.value if function(handle, ctypes.byref(given)) == _OK else None
    return value


def _id(name: str, size: int = 16) -> Callable[[c_void_p], str]:
    function = _function(name, None, c_void_p, c_char_p)

    def digits(handle: c_void_p) -> str:
        raw = ctypes.create_string_buffer(size)
        function(handle, raw)
        return raw.raw.hex().upper()
    return digits


def _list(name: str, kind: type) -> Callable[[c_void_p], Tuple[Any, ...]]:
    count = _function(name + "_count", c_size_t, c_void_p)
    member = _function(name, c_void_p, c_void_p, c_size_t)
    return lambda handle: tuple(_made(kind, member(handle, at)) for at in range(count(handle)))


def _made(kind: type, handle: c_void_p) -> Any:
    return kind(**{name: value(handle) for name, value in _values[kind].items()})


_node_statistic = _function("node_statistic", c_int, c_void_p, c_int, c_void_p)
_statistics_id = _function("node_statistics_record_id", c_int, c_void_p, c_char_p)
_torn = _flag("node_torn")
# In the order of enum zebread_statistic.
_statistic_names = [field.name for field in dataclasses.fields(Statistics)][1:-2]


def _statistics(node: c_void_p) -> Optional[Statistics]:
    record_id = ctypes.create_string_buffer(16)
    if _statistics_id(node, record_id) != _OK:
        return None
    numbers: Dict[str, Optional[int]] = {}
    unreadable = []
    for which, name in enumerate(_statistic_names):
        value = c_int64()
        status = _node_statistic(node, which, ctypes.byref(value))
        numbers[name] = value.value if status == _OK else None
        if status == _UNREADABLE:
            unreadable.append(name)
    return Statistics(record_id=record_id.raw.hex().upper(), torn=_torn(node),
                      unreadable=tuple(unreadable), **numbers)


_kinds = {1: "message", 2: "exception"}
_event_kind = _number("event_kind_of", c_int)

_values: Dict[type, Dict[str, Callable[[c_void_p], Any]]] = {
    Node: {
        "label": _text("node_label"),
        "type": _number("node_type", c_uint32),
        "type_name": _text("node_type_name"),
        "sub_flow": _text("node_sub_flow"),
        "deleted": _flag("node_deleted"),
        "record_id": _id("node_record_id"),
        "statistics": _statistics,
    },
    Flow: {
        "label": _text("flow_label"),
        "deleted": _flag("flow_deleted"),
        "record_id": _id("flow_record_id"),
        "nodes": _list("flow_node", Node),
    },
    Group: {
        "label": _text("group_label"),
        "uuid": _text("group_uuid"),
        "process_id": _number("group_process_id", c_int32),
        "deleted": _flag("group_deleted"),
        "record_id": _id("group_record_id"),
        "flows": _list("group_flow", Flow),
    },
    Event: {
        "kind": lambda event: _kinds.get(_event_kind(event), "unknown"),
        "time": _value("event_time"),
        "created_ms": _number("event_created_ms"),
        "record_id": _id("event_record_id"),
        "thread_id": _number("event_thread_id", c_int32),
        "message_id": _id("event_message_id", 24),
        "correlation_id": _id("event_correlation_id", 24),
        "put_application_type": _number("event_put_application_type", c_int32),
        "put_application_name": _text("event_put_application_name"),
        "put_date": _text("event_put_date"),
        "put_time": _text("event_put_time"),
        "group": _text("event_group"),
        "flow": _text("event_flow"),
        "node": _text("event_node"),
        "node_type": _number("event_node_type", c_uint32),
        "text": _text("event_text"),
        "template_id": _id("event_template_id"),
    },
    Area: {
        "name": _text("area_name"),
        "size_bytes": _number("area_size_bytes"),
        "used_bytes": _number("area_used_bytes"),
        "uncopied_bytes": _number("area_uncopied_bytes"),
        "wrapped": _flag("area_wrapped"),
    },
    Damage: {
        "area": _text("damage_area"),
        "offset": _number("damage_offset"),
        "reason": _text("damage_reason"),
    },
    Broker: {
        "label": _text("broker_label"),
        "uuid": _text("broker_uuid"),
        "key_file": _text("broker_key_file", os.fsdecode),
        "state": _text("broker_state_name"),
        "problem": _text("broker_problem"),
        "reset_time": _value("broker_reset_time"),
        "segment_id": _value("broker_segment_id"),
        "segment_bytes": _value("broker_segment_bytes"),
        "attached": _value("broker_attached"),
        "reading_group": _text("broker_reading_group"),
        "areas": _list("broker_area", Area),
        "damage": _list("broker_damage", Damage),
        "groups": _list("broker_group", Group),
        "events": _list("broker_event", Event),
        "missed_events": _value("broker_missed_events"),
    },
    Snapshot: {
        "wall_ms": _number("snapshot_wall_ms"),
        "steady_ms": _number("snapshot_steady_ms"),
        "directory": _text("snapshot_directory", os.fsdecode),
        "brokers": _list("snapshot_broker", Broker),
    },
}
_snapshot_free = _function("snapshot_free", None, c_void_p)
_open = _function("open", c_int, c_void_p)
_close = _function("close", None, c_void_p)
_set_directory = _function("set_directory", c_int, c_void_p, c_char_p)
_set_broker = _function("set_broker", c_int, c_void_p, c_char_p)
_set_max_bytes = _function("set_max_bytes", c_int, c_void_p, c_uint64)
_set_events = _function("set_events", c_int, c_void_p, c_int)
_look = _function("look", c_int, c_void_p, c_void_p)
_cursor = _function("cursor", c_char_p, c_void_p)
_resume = _function("resume", c_int, c_void_p, c_char_p)
_error_text = _function("error_text", c_char_p, c_void_p)
_status_text = _function("status_text", c_char_p, c_int)
_printable = _function("printable", c_size_t, c_char_p, c_char_p, c_size_t)
_version_text = _function("version_text", c_char_p)
