# SPDX-License-Identifier: Apache-2.0
"""The loopback interface of a new network namespace is down."""
import fcntl
import socket
import struct


def raise_loopback():
    set_flags, up = 0x8914, 0x1
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, set_flags, struct.pack("16sh", b"lo", up))
