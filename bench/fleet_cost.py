# SPDX-License-Identifier: Apache-2.0
"""What the figures of many machines cost one Prometheus: series, memory, processor, disk.

    unshare --user --map-root-user --net -- python3 bench/fleet_cost.py [SECONDS] [INTERVAL]

One process serves the made figures of 20 machines of 800 input nodes on ports of their own, and a
Prometheus collects them every INTERVAL (15) seconds for SECONDS (420), with our rules."""
import http.server
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.append(str(ROOT / "tests" / "fleet"))
from exporter import Exporter  # noqa: E402
from loopback import raise_loopback  # noqa: E402

PROMETHEUS = ROOT / "build" / "tools" / "usr" / "bin" / "prometheus"
MACHINES, NODES, FIRST_PORT = 20, 800, 9900
FAMILIES = ("zeb_node_messages_total", "zeb_node_message_size_bytes_total",
            "zeb_node_elapsed_seconds_total", "zeb_node_queued_seconds_total",
            "zeb_node_last_collection_timestamp_seconds", "zeb_node_info")
LABELS = [f'broker="SHOPBROKER",execution_group="group {node // 100}",flow="Flow number {node // 10}",'
          f'node="Node number {node}",node_type="input"' for node in range(NODES)]
BEGIN = time.time()


class Machine(Exporter):
    def metrics(self):
        age = int(time.time() - BEGIN)
        lines = (f"{family}{{{labels}}} {1 if family.endswith('info') else node + (node % 7 + 1) * age}\n"
                 for family in FAMILIES for node, labels in enumerate(LABELS))
        return "".join(lines)


def configuration(interval):
    targets = ", ".join(f"'127.0.0.1:{FIRST_PORT + machine}'" for machine in range(MACHINES))
    rules = ", ".join(str(ROOT / "contrib" / "prometheus" / name)
                      for name in ("zeb.rules.yml", "zeb.alerts.yml"))
    return (f"global: {{scrape_interval: {interval}s, evaluation_interval: {interval}s}}\n"
            f"rule_files: [{rules}]\n"
            f"scrape_configs: [{{job_name: zeb, static_configs: [{{targets: [{targets}]}}]}}]\n")


def processor_seconds(process):
    fields = pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def own_figure(name):
    text = urllib.request.urlopen("http://127.0.0.1:9090/metrics").read().decode()
    return float(re.search(rf"^{name}(?:{{.*}})? (\S+)", text, re.MULTILINE)[1])


def main():
    seconds, interval = (int(text) for text in (sys.argv[1:] + ["420", "15"][len(sys.argv) - 1:]))
    raise_loopback()
    for machine in range(MACHINES):
        server = http.server.ThreadingHTTPServer(("127.0.0.1", FIRST_PORT + machine), Machine)
        threading.Thread(target=server.serve_forever, daemon=True).start()
    with tempfile.TemporaryDirectory() as directory:
        config = pathlib.Path(directory) / "prometheus.yml"
        config.write_text(configuration(interval))
        prometheus = subprocess.Popen(
            [PROMETHEUS, f"--config.file={config}", f"--storage.tsdb.path={directory}/data",
             "--web.listen-address=127.0.0.1:9090"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        time.sleep(2 * interval)
        begin, used = time.time(), processor_seconds(prometheus.pid)
        time.sleep(max(interval, seconds - 2 * interval))
        cores = (processor_seconds(prometheus.pid) - used) / (time.time() - begin)
        status = pathlib.Path(f"/proc/{prometheus.pid}/status").read_text()
        resident, peak = (int(re.search(rf"{name}:\s+(\d+)", status)[1]) / 1024
                          for name in ("VmRSS", "VmHWM"))
        print(f"{own_figure('prometheus_tsdb_head_series'):.0f} series with those of the rules, "
              f"{own_figure('prometheus_tsdb_head_samples_appended_total'):.0f} samples; "
              f"{resident:.0f} MiB resident, {peak:.0f} MiB at most; {cores:.2f} cores")
        prometheus.terminate()
        prometheus.wait()


main()
