# SPDX-License-Identifier: Apache-2.0
"""How long a browser takes until the page of 800 nodes shows them, and for an update.

    unshare --user --map-root-user --net --ipc --mount -- python3 -B bench/page_cost.py [TIMES [ZEBMON...]]

Opens the page TIMES (11) times, each in a new context without any cache, and prints medians in milliseconds. Of
several programs it opens the pages in turn, so that what else the machine does disturbs them alike."""
import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path += [str(ROOT / "tests" / folder) for folder in ("bounds", "fleet", "support")]
from loopback import raise_loopback  # noqa: E402
from private_tmp import replace_tmp  # noqa: E402
import server as bounds  # noqa: E402

BUILD = ROOT / "build" / "release"


def main():
    raise_loopback()
    replace_tmp()
    flow_file = pathlib.Path("/tmp/wide.toml")
    flow_file.write_text(bounds.flows(), encoding="utf-8")
    host = subprocess.Popen([BUILD / "zebhost", "run", "--quiet", "--log", "/dev/null", flow_file])
    bounds.INTERVAL = 2
    programs = sys.argv[2:] or [str(BUILD / "zebmon")]
    with open("/tmp/log", "w", encoding="utf-8") as log:
        servers = []
        for number, program in enumerate(programs):
            os.mkdir(f"/tmp/state{number}")
            servers.append(bounds.Server(program, log, f"/tmp/state{number}"))
    try:
        told = json.dumps({"servers": [[program, f"http://127.0.0.1:{server.port}"] for program, server in zip(programs, servers)],
                           "times": int(*sys.argv[1:2] or ["11"]), "tools": str(ROOT / "build" / "tools" / "page")})
        return subprocess.run(["node", ROOT / "bench" / "page_cost.mjs", told], check=False).returncode
    finally:
        for server in servers:
            server.end()
        host.terminate()
        host.wait()


sys.exit(main())
