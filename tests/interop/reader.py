# SPDX-License-Identifier: Apache-2.0
"""Decodes a broker's live segment by docs/format.md alone, into what zebmon's JSON says of it."""
import ctypes, datetime, struct

libc = ctypes.CDLL(None, use_errno=True)
libc.shmat.restype = ctypes.c_void_p

def copy(key_file):
    """The segment's bytes. Attached for a moment only: a reader that stays keeps it alive."""
    segment = libc.shmget(libc.ftok(key_file.encode(), 1), 0, 0)
    address = libc.shmat(segment, None, 0o10000)  # SHM_RDONLY
    size = struct.unpack("I", ctypes.string_at(address + 12, 4))[0]
    bytes_ = ctypes.string_at(address, size)
    libc.shmdt(ctypes.c_void_p(address))
    return bytes_

def calendar(seconds, origin=2177452800):
    time = datetime.datetime.fromtimestamp(seconds - origin, datetime.timezone.utc)
    return time.strftime("%Y-%m-%dT%H:%M:%SZ") if seconds else None

def record(area, at):
    """The record at that place as its header, its fields in order, and the place behind it."""
    formats = {2: "ssI", 3: "ssi", 4: "ss", 5: "ssIs", 7: "sssIs", 8: ("I i 24s 24s i 28s 8s 8s"),
               6: "24s 24s i i 24s i i 24s i i I I"}
    mark, deleted, id_, parent = struct.unpack_from("4sI16s16s", area, at)
    kind, fields, at = id_[0], [], at + 40
    assert mark == b"RCRD", at
    for form in formats[kind].split() if " " in formats[kind] else formats[kind]:
        if form == "s":
            units, = struct.unpack_from("I", area, at)
            fields.append(area[at + 4:at + 4 + 2 * units].decode("utf-16"))
            at += 6 + 2 * units
        else:
            fields += struct.unpack_from(form, area, at)
            at += struct.calcsize(form)
    return {"type": kind, "deleted": bool(deleted), "id": id_, "parent": parent, "fields": fields}, at

def areas(segment):
    """The records of each area by its name. Rings that turned are left to longer readers."""
    found, at, (used,) = {}, 32, struct.unpack_from("I", segment, 16)
    while at < used:
        name, _, size, next_, last = struct.unpack_from("8siIii", segment, at)
        assert next_ == last, name
        found[name.decode()], place = [], at + 32
        while place < at + next_:
            one, place = record(segment, place)
            found[name.decode()].append(one)
        at += size
    return found
