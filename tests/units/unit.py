# SPDX-License-Identifier: Apache-2.0
"""What a unit file says."""
import pathlib
import shlex
import subprocess


class Unit:
    """Files that come later are drop-ins."""

    def __init__(self, *paths):
        self.settings = []
        for path in paths:
            for line in pathlib.Path(path).read_text().splitlines():
                key, equals, value = line.partition("=")
                if equals and not line.startswith("#"):
                    self.settings.append((key, value))

    def values(self, key):
        """All of a setting; an empty one takes back those before it."""
        found = []
        for name, value in self.settings:
            if name == key:
                found = [*found, value] if value else []
        return found

    def value(self, key):
        return self.values(key)[-1]

    def command(self, key="ExecStart", **specifiers):
        [line] = self.values(key)
        for sign, place in specifiers.items():
            line = line.replace(f"%{sign}", place)
        return shlex.split(line)

    def calls(self):
        """The names of the system calls that it may make."""
        allowed = set()
        for line in self.values("SystemCallFilter"):
            names = set().union(*map(members, line.removeprefix("~").split()))
            allowed = allowed - names if line.startswith("~") else allowed | names
        return allowed


def members(name):
    """A call is itself; a set is all calls in it and in its sets."""
    if not name.startswith("@"):
        return {name}
    listing = subprocess.run(["systemd-analyze", "syscall-filter", name], check=True, text=True,
                             stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    words = [line.strip() for line in listing.splitlines()[1:]]
    return set().union(*(members(word) for word in words if word and not word.startswith("#")))
