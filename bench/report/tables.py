# SPDX-License-Identifier: Apache-2.0
"""The tables of docs/performance.md, made of what the benchmarks found and of nothing else."""


def _table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + " --- |" * len(head)]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines)


def _ratio(found):
    return f"{found['ratio']:.2f} ({found['lowerQuartile']:.2f} to {found['upperQuartile']:.2f})"


def _nanoseconds(value):
    return f"{value:,.0f}" if value >= 100 else f"{value:.1f}"


def _step(steps, key, value):
    return next(step for step in steps if step[key] == value)


class _Goals:
    def __init__(self):
        self.rows = []

    def at_most(self, figure, goal, value, unit="", digits=2):
        text = f"{goal:.{digits}f}" if goal < 10 and digits else f"{goal:g}"
        self._add(figure, f"≤ {text}{unit}", f"{value:.{digits}f}{unit}", value <= goal)

    def at_least(self, figure, goal, value):
        self._add(figure, f"≥ {goal:.2f}", f"{value:.2f}", value >= goal)

    def told(self, figure, goal, text):
        self.rows.append((figure, goal, text, ""))

    def _add(self, figure, goal, measured, met):
        self.rows.append((figure, goal, measured, "yes" if met else "**no**"))


def _message_goals(goals, found):
    messages = found["messages"]
    goals.at_most("one message ÷ floor", 1.10, messages["message"]["ratio"])
    goals.at_most("message of an input node ÷ floor of one message", 1.15, messages["input"]["ratio"])
    goals.at_most("message with event ÷ floor of both", 1.10, messages["withEvent"]["ratio"])
    goals.at_most("one message ÷ lean floor", 1.12, messages["messageLean"]["ratio"])
    goals.at_most("message of an input node ÷ lean floor of one message", 1.18,
                  messages["inputLean"]["ratio"])
    goals.at_most("message with event ÷ lean floor of both", 1.12,
                  messages["withEventLean"]["ratio"])
    allocations = found["allocations"]
    goals.at_most("allocations a message", 0, allocations["message"], digits=0)
    goals.at_most("allocations a message with event", 0, allocations["withEvent"], digits=0)
    goals.at_most("trace points off ÷ removed", 1.02, found["tracePoints"]["ratio"], digits=3)


def _thread_goals(goals, found):
    def ratio(kind, threads):
        return _step(found["threads"][kind], "threads", threads)["ratio"]

    goals.at_least("2 threads on one node ÷ one thread", 0.80, ratio("oneNode", 2))
    goals.at_least("8 threads on one node ÷ one thread", 0.75, ratio("oneNode", 8))
    goals.at_least("2 threads on two nodes ÷ one thread", 1.85, ratio("ownNodes", 2))
    goals.at_least("2 threads on two nodes, each message with an event, ÷ one thread", 0.75,
                   ratio("ownNodesWithEvents", 2))
    waits = found["waits"]
    goals.told(
        f"longest wait of any of {waits['threads']} threads on one node in {waits['seconds']:.0f} s",
        "no thread starves", _longest_wait(waits))
    goals.told("the same in `SCHED_FIFO`, for a second at most", "no thread starves",
               _longest_wait(waits.get("realTime", {"leftOut": "not measured"})))


def _longest_wait(waits):
    if "leftOut" in waits:
        return f"left out: {waits['leftOut']}"
    return (f"{max(waits['longestMilliseconds']):.1f} ms; {waits['fewest']:,} to {waits['most']:,} "
            "messages a thread")


def _deployment_goals(goals, found):
    kinds = [found["deployment"][kind] for kind in ("oneFlow", "spread")]
    most = max(step["nodes"] for step in found["deployment"]["oneFlow"])
    last = [_step(steps, "nodes", most) for steps in kinds]
    for figure, goal, key, unit, digits in (
            (f"{most} nodes deployed in one process", 150, "milliseconds", " ms", 0),
            (f"exponent from {most // 2} to {most} nodes", 2.1, "exponent", "", 2),
            (f"memory of {most} nodes, more than of one", 16, "grownMiB", " MiB", 1)):
        goals.at_most(figure, goal, max(step[key] for step in last), unit, digits)
    at_once = found["deployment"]["atOnce"]
    goals.at_most(f"{at_once['processes']} processes that deploy {at_once['nodes']} nodes each at "
                  "once: memory of the largest, more than with one node", 16, at_once["peakMiB"],
                  " MiB", 1)


def _function_goals(goals, found):
    functions = found["functions"]
    goals.at_most("`readStatsArea` of 10,000 records", 3, functions["readStatsArea"] / 1e6, " ms")
    goals.at_most("agent: copy and decode of a full 1 MiB segment", 2,
                  functions["copyAndDecodeSegment"] / 1e6, " ms")
    goals.at_most("agent: a look at a segment of 2 GiB with 800 nodes", 20,
                  functions["lookAt2GiB"] / 1e6, " ms")
    goals.at_most("agent: a look of the doctor at 2,000 locks", 100,
                  functions["doctorWith2000Locks"] / 1e6, " ms")
    ratios = found["ratios"]
    goals.at_most("agent: one look at 800 nodes ÷ two plain copies and a walk", 1.5,
                  ratios["lookAtNodes"])
    for nodes, goal in ((800, 4), (10000, 50)):
        name = f"metricsOf{nodes}Nodes"
        goals.at_most(f"agent: metrics of {nodes:,} nodes, 12 families", goal,
                      functions[name] / 1e6, " ms")
        goals.at_most("the same ÷ as many lines by compiled formats", 2, ratios[name])
    for nodes, goal in ((800, 20), (10000, 150)):
        figure, name = f"agent: the same of {nodes:,} nodes compressed", f"gzipOf{nodes}Nodes"
        if name in functions:
            goals.at_most(figure, goal, functions[name] / 1e6, " ms")
        else:
            goals.told(figure, f"≤ {goal} ms", "not measured yet")


_FOLLOWED = {
    "threads": "2 threads of one process at 100,000 a second",
    "processes": "2 processes as fast as they can",
}


def _following_goals(goals, found):
    for kind, text in _FOLLOWED.items():
        figure = f"events lost by `zebmon events --follow` of {text}, 1 MiB ring"
        if "following" in found:
            goals.at_most(figure, 0, found["following"][kind]["lost"], digits=0)
        else:
            goals.told(figure, "≤ 0", "not measured yet")


def _watching_goals(goals, found):
    figure, goal = "agent: `zebmon top` at one look a second at 800 nodes, of a core", 0.5
    if "watching" in found:
        goals.at_most(figure, goal, 100 * found["watching"]["coreShare"], " %")
    else:
        goals.told(figure, f"≤ {goal:.2f} %", "not measured yet")


def goals(found):
    table = _Goals()
    _message_goals(table, found)
    _thread_goals(table, found)
    _deployment_goals(table, found)
    _function_goals(table, found)
    _following_goals(table, found)
    _watching_goals(table, found)
    return _table(("figure", "goal", "measured", "met"), table.rows)


def conditions(found):
    machine = found["machine"]
    lines = [f"{machine['processor']}, {machine['cores']} cores; {machine['system']}, kernel "
             f"{machine['kernel']}; {machine['compiler']}; {machine['date']}."]
    if found["busy"]:
        lines.insert(0, "**Taken on a busy machine: others used "
                        f"{found['othersBefore']:.2f} cores before the run and "
                        f"{found['othersDuring']:.2f} cores during it. Nothing can be concluded from "
                        "these figures.**\n")
    return "\n".join(lines)


def messages(found):
    part = found["messages"]
    names = {"message": "message", "input": "message of an input node",
             "withEvent": "message with event", "messageLean": "message, lean floor",
             "inputLean": "message of an input node, lean floor",
             "withEventLean": "message with event, lean floor"}
    rows = [(text, _nanoseconds(part[name]["floor"]), _nanoseconds(part[name]["library"]),
             _ratio(part[name])) for name, text in names.items()]
    points = found["tracePoints"]
    rows.append(("message, without and with trace points", _nanoseconds(points["removed"]),
                 _nanoseconds(points["off"]), _ratio(points)))
    rows.append(("semaphore -1, +1 alone", _nanoseconds(part["lockPair"]), "", ""))
    rows.append(("event alone", _nanoseconds(part["eventFloor"]), "", ""))
    return _table(("work", "floor, ns", "library, ns", "ratio (quartiles)"), rows)


_WORKERS = {
    "oneNode": "one node",
    "ownNodes": "a node each",
    "oneNodeWithEvents": "one node, with events",
    "ownNodesWithEvents": "a node each, with events",
    "floorOneLock": "floor, one semaphore",
    "floorOwnLocks": "floor, a semaphore each",
}


def _workers(kinds, key, one, several):
    counts = [step[key] for step in next(iter(kinds.values()))]
    head = ["thousand messages a second"]
    head += [f"{count} {one if count == 1 else several}" for count in counts]
    rows = [[text] + [f"{step['perSecond'] / 1000:,.0f} ({step['ratio']:.2f})" for step in kinds[kind]]
            for kind, text in _WORKERS.items() if kind in kinds]
    return _table(head, rows)


def threads(found):
    return _workers(found["threads"], "threads", "thread", "threads")


def processes(found):
    return _workers(found["processes"], "processes", "process", "processes")


def waits(found):
    part = found["waits"]
    rows = [(str(number + 1), f"{part['messages'][number]:,}", f"{longest:.2f}")
            for number, longest in enumerate(part["longestMilliseconds"])]
    return _table(("thread", "messages", "longest wait, ms"), rows)


def deployment(found):
    rows = []
    for kind, text in (("oneFlow", "one flow"), ("spread", "flows of ten nodes")):
        for step in found["deployment"][kind]:
            exponent = f"{step['exponent']:.2f}" if "exponent" in step else ""
            rows.append((text, str(step["nodes"]), f"{step['milliseconds']:.1f}", exponent,
                         f"{step['grownMiB']:.1f}", f"{step['removedMilliseconds']:.1f}"))
    return _table(("nodes in", "nodes", "deployed in, ms", "exponent", "memory grown, MiB",
                   "removed in, ms"), rows)


def following(found):
    if "following" not in found:
        return "Not measured yet."
    rows = []
    for kind, text in _FOLLOWED.items():
        part = found["following"][kind]
        rows.append((text, f"{part['posted']:,} in {part['seconds']:.0f} s",
                     f"{part['perSecond']:,.0f}", f"{part['lost']:,}", str(part["gaps"]),
                     f"{100 * part['coreShare']:.0f} %", f"{part['megabytes']:,.0f} MB"))
    return _table(("events of", "posted", "a second", "lost", "gap records", "follower, of a core",
                   "written"), rows)


def _time(nanoseconds):
    if nanoseconds >= 1e5:
        return f"{nanoseconds / 1e6:.2f} ms"
    return f"{_nanoseconds(nanoseconds)} ns"


def functions(found):
    return _table(("function", "time"),
                  [(f"`{name}`", _time(value)) for name, value in found["functions"].items()])


def peers(found):
    names = {
        "prometheus": "prometheus-cpp: three histograms and a counter, in the process only",
        "lttng": "LTTng-UST: one tracepoint with three fields, recorded",
        "statsd": "StatsD: one datagram with four values to a local daemon",
    }
    rows = []
    for name, text in names.items():
        peer = found["peers"][name]
        if "leftOut" in peer:
            rows.append((text, f"left out: {peer['leftOut']}", "", "", ""))
        else:
            rows.append((text, _nanoseconds(peer["peer"]), _nanoseconds(peer["library"]),
                         _ratio(peer), f"{peer['twoThreads']:.2f}"))
    return _table(("peer", "a message, ns", "the library in turn, ns", "library ÷ peer (quartiles)",
                   "2 threads ÷ one"), rows)


ALL = {make.__name__: make for make in (conditions, goals, messages, threads, waits, processes,
                                        deployment, following, functions, peers)}
