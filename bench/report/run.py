# SPDX-License-Identifier: Apache-2.0
"""Runs the built benchmarks and writes what they found. scripts/bench calls this."""

import argparse
import json
import pathlib
import re
import subprocess
import sys

import machine
import plots
import tables

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "bench"
DOCS = ROOT / "docs"
UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def run(program, *arguments):
    result = subprocess.run([BUILD / program, *arguments], stdout=subprocess.PIPE, text=True)
    if result.returncode != 0:
        sys.exit(f"{program} failed with status {result.returncode}")
    return json.loads(result.stdout)


def functions(quick):
    """Nanoseconds by name, and where a floor was timed in turn the ratio to it: medians of several
    repetitions."""
    options = ["--benchmark_format=json"]
    options += ["--benchmark_min_time=0.05"] if quick else ["--benchmark_repetitions=5"]
    found, ratios = {}, {}
    for entry in run("zebfunctions", *options)["benchmarks"]:
        if entry.get("error_occurred"):
            sys.exit(f"{entry['name']}: {entry['error_message']}")
        if quick or entry.get("aggregate_name") == "median":
            name = entry["run_name"].split("/")[0]
            found[name] = entry["real_time"] * UNITS[entry["time_unit"]]
            if "ratio" in entry:
                ratios[name] = entry["ratio"]
    return found, ratios


def measure(quick):
    watch = machine.Watch()
    found = run("zebbench", "--effort", "quick" if quick else "full")
    print("zebfunctions", file=sys.stderr)
    found["functions"], found["ratios"] = functions(quick)
    found["othersDuring"] = watch.cores()
    return found


def refuse_when_busy(others, when, force):
    """True when the machine is busy and that was accepted."""
    if others <= machine.BUSY_CORES:
        return False
    text = f"Others used {others:.2f} cores {when}"
    if not force:
        sys.exit(f"{text}: no figures are quoted. Try again later, or --force.")
    print(f"{text}: the figures will be marked as taken on a busy machine.", file=sys.stderr)
    return True


def fill_in(document, found):
    for name, make in tables.ALL.items():
        begin, end = f"<!-- begin {name} -->", f"<!-- end {name} -->"
        pattern = re.compile(re.escape(begin) + ".*?" + re.escape(end), re.DOTALL)
        if not pattern.search(document):
            sys.exit(f"docs/performance.md has no place for {name}")
        content = make(found)
        document = pattern.sub(lambda _: f"{begin}\n{content}\n{end}", document)
    return document


def write(found):
    document = DOCS / "performance.md"
    document.write_text(fill_in(document.read_text(), found))
    (DOCS / "performance.json").write_text(json.dumps(found, indent=1) + "\n")
    (DOCS / "deployment.svg").write_text(plots.deployment(found))
    (DOCS / "throughput.svg").write_text(plots.throughput(found))
    print("Written: docs/performance.md, docs/performance.json, two plots.")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--force", action="store_true")
    options = parser.parse_args()

    before = machine.cores_of_others()
    busy = refuse_when_busy(before, "in the last second", options.force)
    found = measure(options.quick)
    busy |= refuse_when_busy(found["othersDuring"], "during the run", options.force)
    found |= {"machine": machine.describe(), "othersBefore": before, "busy": busy}
    if options.quick:
        (BUILD / "quick.json").write_text(json.dumps(found, indent=1) + "\n")
        for make in tables.ALL.values():
            print(make(found), end="\n\n")
    else:
        write(found)
        print(tables.goals(found))


if __name__ == "__main__":
    main()
