# SPDX-License-Identifier: Apache-2.0
"""The page of zebmon serve in a real browser, with flows of the embedded host.

    page_test.py ZEBHOST ZEBMON EXAMPLES TOOLS SCREENSHOTS

To be run in user, network, IPC and mount namespaces of its own: there /tmp is replaced, and any port is
free. Starts the programs, then has page.mjs look at their pages. Exits with 77 where there is no browser."""
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys

sys.path += [str(pathlib.Path(__file__).resolve().parent.parent / folder) for folder in ("fleet", "support")]
from loopback import raise_loopback
from private_tmp import replace_tmp

HOST, MONITOR, EXAMPLES, TOOLS, SCREENSHOTS = sys.argv[1:6]
HERE = pathlib.Path(__file__).resolve().parent
SECRET = "0123456789abcdef0123456789abcdef"
HOSTILE = "<img src=x onerror=hacked=1>"  # a broker's name must not have a slash


def absent():
    missing = [name for name in ("chromium", "node") if not shutil.which(name)]
    if not pathlib.Path(TOOLS, "node_modules", "playwright-core").is_dir():
        missing.append("playwright-core")
    return missing


def hostile():
    """A flow whose names would do harm if anybody took them for markup."""
    return f"""
[broker]
label = "{HOSTILE}"
uuid = "hostile"
[[execution-group]]
label = "{HOSTILE}"
[[execution-group.flow]]
label = "{HOSTILE}"
[execution-group.flow.input]
generated = {{ size = 10 }}
rate = 20
application = "<script>hacked=1</script>"
[[execution-group.flow.node]]
monitor = "{HOSTILE}"
type = "input"
eventMessage = "{HOSTILE}<b>bold</b>"
"""


class Programs:
    def __init__(self):
        self.running = []

    # What each keeps for later is a state of its own.
    def start(self, *command):
        state = f"/tmp/state-{len(self.running)}"
        os.mkdir(state)
        program = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                                   env=os.environ | {"XDG_STATE_HOME": state})
        self.running.append(program)
        return program

    def serve(self, *options):
        program = self.start(MONITOR, "serve", "--listen", "127.0.0.1:0", "--interval", "250ms", *options)
        address = re.search(r"http://\S+", program.stdout.readline())
        return {"address": address.group(0).rstrip("/"), "process": program.pid}

    def run(self, flows):
        return self.start(HOST, "run", str(flows), "--endless", "--quiet", "--log", "/dev/null").pid

    def end(self):
        for program in reversed(self.running):
            program.send_signal(signal.SIGCONT)
            program.terminate()
        for program in self.running:
            program.communicate()


def main():
    missing = absent()
    if missing:
        print(f"skipped: {', '.join(missing)} not installed; scripts/install-dependencies --test does that")
        return 77
    raise_loopback()
    replace_tmp()
    os.mkdir("/tmp/empty")
    token = pathlib.Path("/tmp/token")
    token.write_text(SECRET)
    token.chmod(0o600)
    programs = Programs()
    try:
        shop, strange = pathlib.Path(EXAMPLES, "orders.toml"), pathlib.Path("/tmp/hostile.toml")
        strange.write_text(hostile())
        programs.run(shop)
        stopped = programs.run(strange)
        servers = {
            "open": programs.serve("--events", "--flows", str(shop)),
            "token": programs.serve("--token-file", str(token)),
            "empty": programs.serve("--temp-directory", "/tmp/empty"),
        }
        told = json.dumps({"servers": servers, "stopped": stopped, "secret": SECRET, "screenshots": SCREENSHOTS, "tools": TOOLS})
        return subprocess.run(["node", str(HERE / "page.mjs"), told]).returncode
    finally:
        programs.end()


if __name__ == "__main__":
    sys.exit(main())
