# SPDX-License-Identifier: Apache-2.0
"""Whether "zebmon serve" stays within its bounds: memory while many poll, answers while some misbehave.

    server.py ZEBHOST ZEBMON [LOOKS]

A broker of 800 busy nodes is looked at every 100 ms, LOOKS times (1,800) while 64 clients poll. To be run
in an IPC namespace of its own. Prints what it measured, and exits with 1 when a bound is broken."""
import asyncio
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

CLIENTS, INTERVAL, WARM = 64, 0.1, 300  # the last in looks
SLOW, BROKEN, GOOD = 200, 1000, 20
MOST_MEMORY, MOST_GROWTH = 32 << 10, 1 << 10  # KiB
LONGEST_ANSWER = 3.0
GARBAGE = (b"GET\r\n\r\n", b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", b"GET / HTTP/1.1\r\n\r\n",
           b"POST /metrics HTTP/1.1\r\nHost: x\r\nContent-Length: 99999\r\n\r\n", b"\0" * 512,
           b"GET /%00 HTTP/1.1\r\nHost: localhost\r\nHost: localhost\r\n\r\n")
failures = []


def say(text):
    print(text, flush=True)


def require(holds, sentence):
    say(("ok    " if holds else "BROKEN ") + sentence)
    if not holds:
        failures.append(sentence)


def flows():
    """80 flows of ten nodes."""
    text = '[broker]\nlabel = "WIDE"\nuuid = "wide"\nmemory-size = "2MiB"\n\n[[execution-group]]\nlabel = "all"\n'
    for flow in range(80):
        text += (f'\n[[execution-group.flow]]\nlabel = "Flow {flow}"\n\n'
                 "[execution-group.flow.input]\ngenerated = { size = 500 }\nrate = 5\n")
        for node in range(10):
            kind = "input" if node == 0 else "other"
            text += (f'\n[[execution-group.flow.node]]\nmonitor = "Node {flow}.{node}"\n'
                     f'type = "{kind}"\n')
    return text


class Server:
    def __init__(self, zebmon, log, state):
        self.process = subprocess.Popen(
            [zebmon, "serve", "--listen", "127.0.0.1:0", "--events", "--interval",
             f"{int(INTERVAL * 1000)}ms"], stdout=subprocess.PIPE, stderr=log, text=True,
            env=os.environ | {"XDG_STATE_HOME": state})
        self.port = int(re.search(r":(\d+)/", self.process.stdout.readline())[1])

    def memory(self):
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(r"VmRSS:\s+(\d+)", status)[1])

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def end(self):
        self.process.terminate()
        self.process.wait()


async def answer(reader):
    """Status and body of one answer with a length."""
    head = await reader.readuntil(b"\r\n\r\n")
    length = re.search(rb"(?i)content-length: (\d+)", head)
    body = await reader.readexactly(int(length[1])) if length else b""
    return int(head.split(b" ", 2)[1]), body


async def ask(port, route):
    reader, writer = await asyncio.open_connection("127.0.0.1", port)
    try:
        writer.write(f"GET {route} HTTP/1.1\r\nHost: localhost\r\nAccept-Encoding: gzip\r\n\r\n".encode())
        return await answer(reader)
    finally:
        writer.close()


async def awaited(port):
    while b"Node 79.9" not in (await ask_plain(port, "/metrics")):
        await asyncio.sleep(0.2)


async def ask_plain(port, route):
    reader, writer = await asyncio.open_connection("127.0.0.1", port)
    writer.write(f"GET {route} HTTP/1.1\r\nHost: localhost\r\n\r\n".encode())
    _, body = await answer(reader)
    writer.close()
    return body


async def poll(port, number, until, counts):
    """One client: the same GET again and again."""
    routes = ("/metrics", "/api/v1/stats", "/api/v1/events", "/api/v1/findings")
    while time.monotonic() < until:
        begin = time.monotonic()
        status, _ = await ask(port, routes[number % len(routes)])
        counts[status] = counts.get(status, 0) + 1
        await asyncio.sleep(max(0, begin + INTERVAL - time.monotonic()))


async def polling(server, looks):
    begin = time.monotonic()
    until = begin + looks * INTERVAL
    counts, memory = {}, []
    clients = [asyncio.create_task(poll(server.port, i, until, counts)) for i in range(CLIENTS)]
    await asyncio.sleep(min(WARM, looks / 2) * INTERVAL)
    while time.monotonic() < until:
        memory.append(server.memory())
        await asyncio.sleep(1)
    await asyncio.gather(*clients)
    tenth = max(1, len(memory) // 10)
    early, late = max(memory[:tenth]), max(memory[-tenth:])
    say(f"{CLIENTS} clients, {looks} looks, {sum(counts.values())} answers: {counts}")
    require(set(counts) == {200}, "every answer is a good one")
    require(late <= early + MOST_GROWTH, f"memory doesn't grow: {early} KiB early, {late} KiB at the end")
    require(max(memory) <= MOST_MEMORY, f"memory: {max(memory)} KiB at most, {MOST_MEMORY} allowed")


async def dawdle(port, stop):
    """One byte a second; a connection that is closed is made again at once."""
    while not stop.is_set():
        try:
            _, writer = await asyncio.open_connection("127.0.0.1", port)
            for byte in b"GET /metrics HTTP/1.1\r\n" * 100:
                writer.write(bytes([byte]))
                await writer.drain()
                await asyncio.sleep(1)
                if stop.is_set():
                    break
            writer.close()
        except OSError:
            await asyncio.sleep(0)


async def disturb(port, stop, counts):
    """Broken requests, so many a second."""
    begin = time.monotonic()

    async def one(bytes_):
        try:
            reader, writer = await asyncio.open_connection("127.0.0.1", port)
            writer.write(bytes_)
            writer.write_eof()
            await asyncio.wait_for(reader.read(), 5)
            writer.close()
        except (OSError, asyncio.TimeoutError):
            counts["lost"] += 1
        counts["done"] += 1

    sent, running = 0, set()
    while not stop.is_set():
        due = int((time.monotonic() - begin) * BROKEN)
        while sent < due and len(running) < 300:
            task = asyncio.create_task(one(GARBAGE[sent % len(GARBAGE)]))
            running.add(task)
            task.add_done_callback(running.discard)
            sent += 1
        await asyncio.sleep(0.005)
    await asyncio.gather(*running)


async def memory_of_looks(server):
    """The most of some looks: large texts come and go."""
    most = 0
    for _ in range(40):
        most = max(most, server.memory())
        await asyncio.sleep(INTERVAL / 2)
    return most


async def misbehaving(server):
    memory, descriptors = await memory_of_looks(server), server.descriptors()
    stop, counts = asyncio.Event(), {"done": 0, "lost": 0}
    begin = time.monotonic()
    crowd = [asyncio.create_task(dawdle(server.port, stop)) for _ in range(SLOW)]
    crowd.append(asyncio.create_task(disturb(server.port, stop, counts)))
    await asyncio.sleep(3)
    times = []
    for _ in range(GOOD):
        start = time.monotonic()
        status = 0
        while status != 200 and time.monotonic() - start < 2 * LONGEST_ANSWER:
            try:
                status, _ = await asyncio.wait_for(ask(server.port, "/metrics"), LONGEST_ANSWER)
            except (OSError, EOFError, asyncio.TimeoutError):
                pass  # its place went to another: a client asks again
        times.append(time.monotonic() - start)
    rate = counts["done"] / (time.monotonic() - begin)
    stop.set()
    await asyncio.gather(*crowd)
    say(f"{SLOW} slow connections and {rate:.0f} broken requests a second, of which {counts['lost']} "
        "got no answer in 5 s or were reset")
    require(max(times) <= LONGEST_ANSWER,
            f"{GOOD} good requests: {max(times) * 1000:.0f} ms at most, "
            f"{sorted(times)[GOOD // 2] * 1000:.0f} ms in the middle")
    for _ in range(150):
        if server.descriptors() <= descriptors:
            break
        await asyncio.sleep(0.1)
    require(server.descriptors() <= descriptors,
            f"descriptors: {descriptors} before, {server.descriptors()} afterwards")
    after = await memory_of_looks(server)
    require(after <= memory + 2 * MOST_GROWTH, f"memory: {memory} KiB before, {after} KiB afterwards")


async def measure(server, looks):
    await awaited(server.port)
    await polling(server, looks)
    await misbehaving(server)


def main():
    zebhost, zebmon = sys.argv[1:3]
    looks = int(sys.argv[3]) if len(sys.argv) > 3 else 1800
    with tempfile.TemporaryDirectory() as work, open(f"{work}/log", "w", encoding="utf-8") as log:
        flow_file = pathlib.Path(work, "wide.toml")
        flow_file.write_text(flows(), encoding="utf-8")
        host = subprocess.Popen([zebhost, "run", "--quiet", "--log", "/dev/null", flow_file],
                                stdout=log, stderr=log)
        server = Server(zebmon, log, work)
        try:
            asyncio.run(measure(server, looks))
        finally:
            server.end()
            host.terminate()
            host.wait()
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
