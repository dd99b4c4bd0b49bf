# SPDX-License-Identifier: Apache-2.0
"""Follows docs/tutorial.md: types its commands, and compares what they print with what it shows.

    tutorial.py DOCUMENT PROGRAMS EXAMPLES

To be run in user, network, IPC, process and mount namespaces of its own, where /tmp may be replaced.
Figures, times and the width of columns differ each time, so of a table's row only the first column counts,
and of all texts no number. In the document, "..." stands for the rest of a line, or alone for lines. With
ZEB_RENEW_GOLDEN in the environment the document gets what was printed."""
import fcntl
import os
import pathlib
import pty
import re
import struct
import subprocess
import sys
import termios
import urllib.request

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "fleet"))
from loopback import raise_loopback

DOCUMENT, PROGRAMS, EXAMPLES = (pathlib.Path(word).resolve() for word in sys.argv[1:])
HOME = pathlib.Path("/tmp/tutorial")
ENVIRONMENT = {"PATH": f"{PROGRAMS}:/usr/bin:/bin", "HOME": str(HOME), "TERM": "dumb", "LC_ALL": "C.UTF-8"}
INSTALLED = "/usr/share/zebhost/examples"


def on_screen(command):
    """What a terminal of 80 columns shows of it."""
    ours, theirs = pty.openpty()
    fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("4H", 24, 80, 0, 0))
    process = subprocess.Popen(["bash", "-c", command.replace(INSTALLED, str(EXAMPLES))], cwd=HOME,
                               env=ENVIRONMENT, stdin=subprocess.DEVNULL, stdout=theirs, stderr=theirs)
    os.close(theirs)
    shown = b""
    try:
        while part := os.read(ours, 65536):
            shown += part
    except OSError:  # the terminal's other end is closed
        pass
    os.close(ours)
    process.wait()
    return shown.decode().replace("\r", "")


class Terminals:
    """The first and the third one, in which something runs until Ctrl-C."""

    def __init__(self):
        self.running = {}

    def start(self, command):
        program = command.split()[0]
        self.stop(program)
        self.running[program] = subprocess.Popen(command.split(), cwd=HOME, env=ENVIRONMENT, text=True,
                                                 stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        return self.await_serving() if program == "zebmon" else self.await_messages()

    def stop(self, program):
        process = self.running.pop(program, None)
        if process:
            process.terminate()
            process.communicate()

    def await_messages(self):
        """Every node has measured some."""
        counts = "zebmon stats --format csv --no-header --columns messageCount 2>/dev/null"
        while (lines := on_screen(counts).split()) == [] or "0" in lines:
            assert self.running["zebhost"].poll() is None, "zebhost ended"
        return ""

    def await_failures(self):
        """Payments have failed for both reasons."""
        told = ""
        while not ("refused" in told and "in time" in told):
            told = on_screen("zebmon events --kind exception --format csv --no-header 2>/dev/null")
            assert self.running["zebhost"].poll() is None, "zebhost ended"

    def await_serving(self):
        output = self.running["zebmon"].stdout
        shown = output.readline()
        address = re.search(r"http://\S+", shown).group()
        with urllib.request.urlopen(address) as page:
            assert b"<html" in page.read()
        return shown


def meant(text):
    """The text without what differs each time: a list of paragraphs and rows."""
    found = [""]
    for line in text.splitlines():
        line = re.sub(r"[\d\u2588-\u258f][\d,.:TZ/-]*", "0", line.replace("\u2026", "..."))
        cells = re.split(r"\s{2,}", line.strip())
        row = line.startswith((" ", "\u2514", "- ")) or len(cells) > 1
        if row or not line:
            found.append(cells[0])
            found.append("")
        else:
            found[-1] = f"{found[-1]} {line}".strip()
    return [one for one in found if one]


def agrees(shown, printed):
    """Whether it is what was printed; the lines of `shown` may leave something out."""
    pattern = "\n".join(meant(shown))
    expected = re.escape(pattern).replace(re.escape("..."), ".*")
    return re.fullmatch(expected, "\n".join(meant(printed)), re.DOTALL)


def looked(command, shown):
    """What it prints; for a moment a busy machine shows another slow node, and one looks again."""
    for _ in range(5):
        printed = on_screen(command)
        if agrees(shown, printed) or not command.startswith("zebmon flow"):
            break
    return printed


def follow(block, terminals, wrong):
    """One block: its commands, and what they print."""
    result = []
    for step in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
        command, shown = step.split("\n", 1)
        if command.startswith(("zebhost run", "zebmon serve")):
            printed = terminals.start(command)
        else:
            if "--kind exception" in command:
                terminals.await_failures()
            printed = looked(command, shown)
        if not agrees(shown, printed):
            wrong.append(f"$ {command}\nis shown as\n{shown}\nand printed\n{printed}")
        result.append(f"$ {command}\n{shown if '...' in shown else printed}")
    return "".join(result)


def main():
    subprocess.run(["mount", "-t", "tmpfs", "none", "/tmp"], check=True)
    HOME.mkdir()
    raise_loopback()
    terminals, wrong = Terminals(), []
    parts = re.split(r"^```$\n", DOCUMENT.read_text(), flags=re.MULTILINE)
    for at in range(1, len(parts), 2):
        if at == len(parts) - 2:
            terminals.stop("zebmon")
            terminals.stop("zebhost")
        if parts[at].startswith("$ "):
            parts[at] = follow(parts[at], terminals, wrong)
    if os.environ.get("ZEB_RENEW_GOLDEN"):
        DOCUMENT.write_text("```\n".join(parts))
        return 0
    if wrong:
        print("\n\n".join(wrong))
    return 1 if wrong else 0


sys.exit(main())
