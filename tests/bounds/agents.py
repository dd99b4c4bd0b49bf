# SPDX-License-Identifier: Apache-2.0
"""Several "zebmon serve" at once on one broker, each with parallel clients on all of its routes, while the broker
is restarted.

    agents.py ZEBHOST ZEBMON [AGENTS [SECONDS]]

20 agents for 20 seconds, unless it says otherwise; with one, its 16 clients are what a sanitizer's build is run
for: it is slow, so they ask less often, and it is enough that each route is answered. Else every answer must be a
good one. Every agent must end well, and no sanitizer say anything. All of them must have recorded as many messages
as the host counted, while it was quiet at the end of each run. To be run in an IPC namespace of its own. Prints
what it measured, and exits with 1 when something is wrong."""
import asyncio
import json
import os
import pathlib
import re
import sqlite3
import subprocess
import sys
import tempfile
import time

from server import answer, failures, require, say

ROUTES = ("/", "/metrics", "/healthz", "/api/v1/brokers", "/api/v1/stats", "/api/v1/flows", "/api/v1/events?since=0",
          "/api/v1/page?since=0", "/api/v1/findings", "/api/v1/history",
          "/api/v1/history?broker=WIDE&group=all&flow=Flow&events=1")
CLIENTS, RUNS, RATE = 16, 3, 400
CLOSED = 0  # the request was not read within its two seconds, as happens where all is slow: a client asks again
GOOD = {200, 503, CLOSED}  # 503: there was no look yet


def flows(messages, pipe):
    """The flow ends when the pipe does: after its messages it is quiet until then."""
    return ('[broker]\nlabel = "WIDE"\nuuid = "wide"\nmemory-size = "1MiB"\n\n[[execution-group]]\nlabel = "all"\n'
            f'[[execution-group.flow]]\nlabel = "Flow"\n[execution-group.flow.input]\nlines = "{pipe}"\nrate = {RATE}\n'
            '[[execution-group.flow.node]]\nmonitor = "In"\ntype = "input"\neventMessage = "came"\n'
            '[[execution-group.flow.node]]\nmonitor = "Out"\ntype = "output"\n'), "a message\n" * messages


class Agent:
    def __init__(self, zebmon, work, number):
        state = pathlib.Path(work, f"state{number}")
        state.mkdir(mode=0o750)
        self.history = state / "history.db"
        self.log = state / "log"
        words = [zebmon, "serve", "--listen", "127.0.0.1:0", "--events", "--interval", "200ms", "--history", self.history]
        if "/tsan/" in zebmon:
            words = ["setarch", "-R", *words]  # as scripts/test does
        with open(self.log, "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=log, text=True)
        self.port = int(re.search(r":(\d+)/", self.process.stdout.readline())[1])

    def recorded(self):
        database = sqlite3.connect(f"file:{self.history}?mode=ro", uri=True)
        try:
            return database.execute("SELECT (SELECT total(messages) FROM recent) + total(messages) FROM sample").fetchone()[0]
        finally:
            database.close()

    def memory(self):
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text(encoding="utf-8")
        return int(re.search(r"VmRSS:\s+(\d+)", status)[1])

    def end(self):
        self.process.terminate()
        return self.process.wait()


async def client(agent, number, stop, pause, counts, answered):
    while not stop.is_set():
        route = ROUTES[number % len(ROUTES)]
        number += 1
        reader, writer = await asyncio.open_connection("127.0.0.1", agent.port)
        writer.write(f"GET {route} HTTP/1.1\r\nHost: localhost\r\n\r\n".encode())
        try:
            status, _ = await answer(reader)
        except (OSError, EOFError):
            status = CLOSED
        writer.close()
        counts[status] = counts.get(status, 0) + 1
        if status == 200:
            answered.add(route)
        await asyncio.sleep(pause)


async def one_run(zebhost, agents, work, messages, before):
    """Runs the broker once; returns what its nodes counted."""
    pipe, flow_file, summary = (pathlib.Path(work, name) for name in ("pipe", "wide.toml", "summary.json"))
    os.mkfifo(pipe)
    text, lines = flows(messages, pipe)
    flow_file.write_text(text, encoding="utf-8")
    host = await asyncio.create_subprocess_exec(zebhost, "run", "--quiet", "--log", "/dev/null", "--summary-json", summary,
                                                flow_file)
    end = os.open(pipe, os.O_RDWR)
    os.set_blocking(end, False)
    sent = 0
    while sent < len(lines):
        try:
            sent += os.write(end, lines[sent:sent + 4000].encode())
        except BlockingIOError:
            await asyncio.sleep(0.05)
    wanted = before + 2 * messages
    for agent in agents:
        while agent.recorded() < wanted:
            await asyncio.sleep(0.1)
    os.close(end)
    await host.wait()
    pipe.unlink()
    found = json.loads(summary.read_text(encoding="utf-8"))
    return sum(node["messages"] for flow in found["messageFlows"] for node in flow["nodes"])


async def measure(zebhost, agents, work, seconds):
    stop, counts, answered, counted = asyncio.Event(), {}, set(), 0
    each, pause = (CLIENTS, 1) if len(agents) == 1 else (2, 0.05)
    clients = [asyncio.create_task(client(agent, number, stop, pause, counts, answered))
               for agent in agents for number in range(each)]
    for _ in range(RUNS):
        counted += await one_run(zebhost, agents, work, int(seconds / RUNS * RATE), counted)
    memory = sorted(agent.memory() for agent in agents)
    stop.set()
    await asyncio.gather(*clients)
    say(f"{len(agents)} agents, {len(clients)} clients, {sum(counts.values())} answers: {counts}; "
        f"{memory[0]} to {memory[-1]} KiB of memory each")
    many = len(agents) == 1 or counts[200] > 0.9 * sum(counts.values())
    require(set(counts) <= GOOD and many, "every answer is a good one")
    require(answered == set(ROUTES), f"each route was answered, but not {sorted(set(ROUTES) - answered)}")
    recorded = {agent.recorded() for agent in agents}
    require(recorded == {counted}, f"the host counted {counted}, the agents recorded {', '.join(f'{one:.0f}' for one in sorted(recorded))}")


def main():
    zebhost, zebmon = sys.argv[1:3]
    number, seconds = (int(text) for text in (sys.argv[3:] + ["20", "20"][len(sys.argv) - 3:]))
    with tempfile.TemporaryDirectory() as work:
        agents = [Agent(zebmon, work, i) for i in range(number)]
        begin = time.monotonic()
        try:
            asyncio.run(measure(zebhost, agents, work, seconds))
        finally:
            codes = [agent.end() for agent in agents]
        say(f"{time.monotonic() - begin:.0f} seconds")
        require(set(codes) == {0}, f"all end well: {sorted(set(codes))}")
        told = [agent.log.read_text(encoding="utf-8") for agent in agents]
        require(not any("Sanitizer" in text or "runtime error" in text for text in told), "no sanitizer says anything")
        if failures:
            say(told[0][:5000])
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
