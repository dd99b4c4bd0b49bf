# SPDX-License-Identifier: Apache-2.0
"""Runs a command as a unit would be allowed to: as a user without rights, and with its calls alone.

    confine.py [--listen PATH] UNIT... -- COMMAND...

A call that the unit forbids ends the command by SIGSYS, so that none is tried unnoticed. With
--listen the command gets a socket as systemd hands it over."""
import ctypes
import mmap
import os
import socket
import sys

from unit import Unit

ALLOW, KILL, NEW_USERS = 0x7FFF0000, 0x80000000, 0x10000000
EQUAL, MASKED_EQUAL = 4, 7


class Argument(ctypes.Structure):
    _fields_ = [("number", ctypes.c_uint), ("comparison", ctypes.c_int),
                ("first", ctypes.c_uint64), ("second", ctypes.c_uint64)]


def without_rights():
    if ctypes.CDLL(None, use_errno=True).unshare(NEW_USERS) != 0:
        raise OSError(ctypes.get_errno(), "unshare")
    for name, text in (("setgroups", "deny"), ("uid_map", "1000 0 1"), ("gid_map", "1000 0 1")):
        with open(f"/proc/self/{name}", "w", encoding="ascii") as file:
            file.write(text)


def restricted(unit):
    """What a call's argument must be: no other sockets, no memory to be both written and run."""
    writes, runs = mmap.PROT_WRITE, mmap.PROT_EXEC
    families = [getattr(socket, name) for name in unit.value("RestrictAddressFamilies").split()]
    return {"socket": [Argument(0, EQUAL, family) for family in families],
            "mmap": [Argument(2, MASKED_EQUAL, writes | runs, bits) for bits in (0, writes, runs)],
            "mprotect": [Argument(2, MASKED_EQUAL, runs, 0)]}


def filter_calls(unit):
    seccomp = ctypes.CDLL("libseccomp.so.2")
    seccomp.seccomp_init.restype = ctypes.c_void_p
    context = ctypes.c_void_p(seccomp.seccomp_init(ctypes.c_uint32(KILL)))
    conditions = restricted(unit)
    for name in sorted(unit.calls()):
        number = seccomp.seccomp_syscall_resolve_name(name.encode())
        for argument in conditions.get(name, [None]):
            arguments = (Argument * 1)(argument) if argument else None
            seccomp.seccomp_rule_add_array(context, ctypes.c_uint32(ALLOW), number, int(bool(argument)), arguments)
    if seccomp.seccomp_load(context) != 0:
        raise OSError("seccomp_load")


def hand_over(path):
    with socket.socket(socket.AF_UNIX) as listening:
        listening.bind(path)
        listening.listen()
        os.dup2(listening.detach(), 3)
    os.set_inheritable(3, True)
    os.environ.update(LISTEN_FDS="1", LISTEN_PID=str(os.getpid()))


def main():
    words = sys.argv[1:]
    if words[0] == "--listen":
        hand_over(words[1])
        del words[:2]
    units, command = words[:words.index("--")], words[words.index("--") + 1:]
    unit = Unit(*units)
    without_rights()
    filter_calls(unit)
    os.execv(command[0], command)


main()
