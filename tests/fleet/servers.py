# SPDX-License-Identifier: Apache-2.0
"""A real Prometheus with what contrib/ offers, in short intervals."""
import json
import re
import subprocess
import time
import urllib.parse
import urllib.request

TRIES = 600


def get(port, path, **arguments):
    query = "?" + urllib.parse.urlencode(arguments) if arguments else ""
    opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
    with opener.open(f"http://127.0.0.1:{port}{path}{query}", timeout=10) as answer:
        return answer.read().decode()


def result(port, expression):
    return json.loads(get(port, "/api/v1/query", query=expression))["data"]["result"]


def until(asked):
    """Asks until there is an answer; not for ever."""
    for _ in range(TRIES):
        try:
            if answer := asked():
                return answer
        except OSError:
            pass
        time.sleep(0.1)
    raise TimeoutError("no answer")


class Prometheus:
    """`targets` is the text of a file_sd file; rules and alerts are those in the folder `rules`."""

    def __init__(self, program, contrib, directory, port, targets, rules=None, alertmanager=None):
        rules = rules or contrib / "prometheus"
        (directory / "machines.yml").write_text(targets)
        config = (contrib / "prometheus" / "scrape.yml").read_text()
        config = (config.replace("scrape_interval: 1m", "scrape_interval: 1s")
                  .replace("/etc/prometheus/zeb/*.yml", str(directory / "machines.yml"))
                  .replace("/etc/prometheus/", f"{rules}/"))
        if alertmanager:
            config += ("\nalerting:\n  alertmanagers:\n    - static_configs:\n"
                       f"        - targets: ['127.0.0.1:{alertmanager}']\n")
        (directory / "prometheus.yml").write_text("global: {evaluation_interval: 1s}\n" + config)
        self.log = directory / "prometheus.log"
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(
                [program, f"--config.file={directory}/prometheus.yml",
                 f"--storage.tsdb.path={directory}/data",
                 f"--web.listen-address=127.0.0.1:{port}",
                 f"--web.console.templates={contrib}/prometheus/consoles",
                 "--web.console.libraries=/nonexistent"], stdout=log, stderr=log)

    def end(self):
        self.process.terminate()
        self.process.wait()
