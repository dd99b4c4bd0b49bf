# SPDX-License-Identifier: Apache-2.0
"""A history that one user writes and another one of its group reads: while it is written, after a clean end, and
after the writer was killed.

    second_user.py ZEBHOST ZEBMON LIBRARY

To be run as root in IPC and mount namespaces of its own, but with the machine's users: there /tmp is replaced.
Exits with 77 where no other user can be taken."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent.parent / "support"))
from private_tmp import replace_tmp

BUILT = [pathlib.Path(program) for program in sys.argv[1:4]]
PROGRAMS = pathlib.Path("/tmp/programs")
HOST, MONITOR = (str(PROGRAMS / program.name) for program in BUILT[:2])
WRITER, READER, GROUP, STRANGER = 61101, 61102, 61103, 61104
FOLDER = pathlib.Path("/tmp/state")
HISTORY = FOLDER / "history.db"
FLOWS = """
[broker]
label = "SHOP"
uuid = "1-2-3"
[[execution-group]]
label = "orders"
[[execution-group.flow]]
label = "Fulfil"
[execution-group.flow.input]
generated = { size = 10 }
rate = 200
[[execution-group.flow.node]]
monitor = "Order in"
type = "input"
"""


def as_user(user, group, *command):
    return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, cwd="/",
                            user=user, group=group, extra_groups=[], env={"PATH": "/usr/bin:/bin", "HOME": "/nonexistent"})


def read(user=READER, group=GROUP):
    """What the group's other user is told: exit code, messages, errors."""
    reader = as_user(user, group, MONITOR, "stats", "--from", str(HISTORY), "--between", "-1h", "now", "--format", "json")
    out, errors = reader.communicate()
    messages = 0
    if out:
        messages = sum(node["messageCount"] for broker in json.loads(out)["brokers"] for node in broker["nodes"])
    return reader.returncode, messages, errors


class SecondUser(unittest.TestCase):
    def setUp(self):
        FOLDER.mkdir()
        os.chown(FOLDER, WRITER, GROUP)
        FOLDER.chmod(0o750)
        self.recorder = as_user(WRITER, GROUP, MONITOR, "record", "--history", str(HISTORY), "--interval", "100ms")
        self.recorder.stdout.readline()

    def tearDown(self):
        if self.recorder.poll() is None:
            self.recorder.kill()
        self.recorder.communicate()
        for file in FOLDER.iterdir():
            file.unlink()
        FOLDER.rmdir()

    def end(self, how):
        how()
        self.recorder.communicate()

    def await_messages(self):
        while True:
            self.assertIsNone(self.recorder.poll())
            self.assertIsNone(host.poll())
            code, messages, errors = read()
            self.assertEqual(0, code, errors)
            if messages > 0:
                return messages

    def test_reads_while_it_is_written_and_after_a_clean_end(self):
        before = self.await_messages()
        self.end(self.recorder.terminate)
        self.assertFalse(pathlib.Path(f"{HISTORY}-wal").exists())
        code, messages, errors = read()
        self.assertEqual(0, code, errors)
        self.assertLessEqual(before, messages)

    def test_reads_after_the_writer_was_killed(self):
        before = self.await_messages()
        self.end(self.recorder.kill)
        self.assertGreater(pathlib.Path(f"{HISTORY}-wal").stat().st_size, 0)
        code, messages, errors = read()
        self.assertEqual(0, code, errors)
        self.assertLessEqual(before, messages)

    def test_nobody_else_reads_it(self):
        self.await_messages()
        code, _, errors = read(STRANGER, STRANGER)
        self.assertNotEqual(0, code)
        self.assertRegex(errors, r"zebmon: .*history")

    def test_the_reader_changes_nothing(self):
        self.await_messages()
        self.end(self.recorder.kill)
        before = {file.name: (file.stat().st_size, file.stat().st_uid) for file in FOLDER.iterdir()}
        read()
        self.assertEqual(before, {file.name: (file.stat().st_size, file.stat().st_uid) for file in FOLDER.iterdir()})


def main():
    if not re.fullmatch(r"\s*0\s+0\s+4294967295\s*", pathlib.Path("/proc/self/uid_map").read_text()) or os.geteuid() != 0:
        print("skipped: another user can only be taken by root, where all users are mapped")
        return 77
    replace_tmp()
    os.chmod("/tmp", 0o1777)
    PROGRAMS.mkdir()  # others may not get to the build tree
    for program in BUILT:
        shutil.copy(program, PROGRAMS)
    flows = pathlib.Path("/tmp/flows.toml")
    flows.write_text(FLOWS)
    flows.chmod(0o644)
    global host
    host = as_user(WRITER, GROUP, HOST, "run", str(flows), "--quiet", "--log", "/dev/null")
    try:
        result = unittest.main(argv=[sys.argv[0]], exit=False).result
        return 0 if result.wasSuccessful() else 1
    finally:
        host.terminate()
        host.communicate()


sys.exit(main())
