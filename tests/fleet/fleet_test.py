# SPDX-License-Identifier: Apache-2.0
"""What contrib/ offers, on a real Prometheus: its configuration, the rules, the page and every
expression of the boards.

    fleet_test.py PROMETHEUS ZEBMON SNAPSHOT CONTRIB

The metrics are those of the snapshot file, with labels made hostile; counters grow from scrape to
scrape. To be run in a network namespace of its own, where any port is free."""
import http.server
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import servers
from exporter import Exporter
from loopback import raise_loopback

PROMETHEUS, ZEBMON, SNAPSHOT = sys.argv[1:4]
CONTRIB = pathlib.Path(sys.argv[4]).resolve()
HOSTILE = "<script>alert(1)</script>"
PORT, SCRAPED = 9090, 9847
RECORDED = re.findall(r"record: (\S+)", (CONTRIB / "prometheus" / "zeb.rules.yml").read_text())


def metrics():
    """Of the snapshot; a flow's label is what a page must not take for a part of itself."""
    events = "".join(f'zeb_events_observed_total{{broker="SHOPBROKER",kind="{kind}"}} 1\n'
                     for kind in ("exception", "message"))
    text = events + subprocess.run([ZEBMON, "metrics", "--from", SNAPSHOT], check=True, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    return text.replace('flow="Payment"', f'flow="{HOSTILE}"')


class Scraped(Exporter):
    text = metrics()
    scrapes = 0

    def metrics(self):
        Scraped.scrapes += 1
        grown = re.sub(r"^(\w+_total\{.*\}) ([\d.]+)$",
                       lambda line: f"{line[1]} {float(line[2]) + 7 * self.scrapes}", self.text,
                       flags=re.MULTILINE)
        return re.sub(r"^(zebmon_snapshot_timestamp_seconds) .*$", rf"\1 {time.time()}", grown,
                      flags=re.MULTILINE)


def get(path, **arguments):
    return servers.get(PORT, path, **arguments)


def result(expression):
    return servers.result(PORT, expression)


def expressions():
    """Every expression of every board, with all that its variables may be."""
    for board in sorted((CONTRIB / "grafana").glob("*.json")):
        parsed = json.loads(board.read_text())
        parts = [target for panel in parsed["panels"] for target in panel["targets"]]
        for part in parts + parsed["annotations"]["list"]:
            yield board.name, re.sub(r"\$\w+", ".*", part["expr"])


class Fleet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        raise_loopback()
        cls.directory = tempfile.TemporaryDirectory()
        cls.server = http.server.ThreadingHTTPServer(("127.0.0.1", SCRAPED), Scraped)
        threading.Thread(target=cls.server.serve_forever, daemon=True).start()
        example = (CONTRIB / "prometheus" / "file_sd.example.yml").read_text()
        targets = re.sub(r"targets: \[.*?\]", f"targets: ['127.0.0.1:{SCRAPED}']", example)
        cls.prometheus = servers.Prometheus(PROMETHEUS, CONTRIB, pathlib.Path(cls.directory.name),
                                            PORT, targets)
        try:
            servers.until(lambda: all(result(name) for name in RECORDED))
        except TimeoutError:
            print(cls.prometheus.log.read_text())
            cls.tearDownClass()
            raise

    @classmethod
    def tearDownClass(cls):
        cls.prometheus.end()
        cls.server.shutdown()
        cls.server.server_close()
        cls.directory.cleanup()

    def test_all_families_arrive_and_nothing_else(self):
        names = set(json.loads(get("/api/v1/label/__name__/values"))["data"])
        written = set(re.findall(r"^(zeb\w+)[ {]", Scraped.text, flags=re.MULTILINE))
        self.assertLessEqual(written, names)
        others = {name for name in names if not name.startswith(("zeb", "ALERTS"))}
        self.assertLessEqual(others, {"up"} | {n for n in others if n.startswith("scrape_")})

    def test_rules_have_no_errors(self):
        groups = json.loads(get("/api/v1/rules"))["data"]["groups"]
        rules = [rule for group in groups for rule in group["rules"]]
        self.assertLessEqual(20, len(rules))
        for rule in rules:
            self.assertEqual("", rule.get("lastError", ""), rule["name"])

    def test_the_page_shows_the_broker_and_runs_nothing(self):
        page = servers.until(lambda: "SHOP" in (text := get("/consoles/zeb.html")) and text)
        self.assertIn("Brokers of all machines", page)
        self.assertIn("&lt;script&gt;alert(1)&lt;/script&gt;", page)
        self.assertNotIn("<script", page)
        self.assertIn(f"<td>127.0.0.1:{SCRAPED}</td>", page)

    def test_every_expression_of_the_boards_has_an_answer(self):
        asked = list(expressions())
        self.assertLessEqual(20, len(asked))
        empty = [(board, text) for board, text in asked if not result(text)]
        # Nothing was reset, no lock is held, and one scrape comes too soon for the oldest figures.
        allowed = ("changes(", "zeb_lock_oldest_hold_seconds", "zeb_findings")
        self.assertEqual([], [pair for pair in empty if not pair[1].startswith(allowed)])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
