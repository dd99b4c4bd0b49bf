# SPDX-License-Identifier: Apache-2.0
"""Whether a reader in another language and zebmon see the same in a live segment, field by field.

usage: agreement.py ZEBHOST ZEBMON FLOW-FILE, in an IPC namespace of its own
"""
import json, pathlib, struct, subprocess, sys, tempfile
import reader

KINDS = ["unknown", "input", "output", "other", "subFlowInput", "subFlowOutput"]
UUID = "interop"
LINES = 39  # the last of them passes, so nothing is posted once all are counted

def resource(one, **more):
    return {"label": one["fields"][1], "deleted": one["deleted"],
            "recordId": one["id"].hex().upper(), **more}

def statistics(one):
    values = [value if isinstance(value, int) else int(value.rstrip(b"\0") or b"0")
              for value in one["fields"]]
    names = ["messageCount", "sizeSumBytes", "sizeMaxBytes", "sizeMinBytes", "elapsedSumMs", "elapsedMaxMs",
             "elapsedMinMs", "queuedSumMs", "queuedMaxMs", "queuedMinMs"]
    return {"recordId": one["id"].hex().upper(), **dict(zip(names, values)),
            "firstCollection": reader.calendar(values[10]),
            "lastCollection": reader.calendar(values[11])}

def tree(records):
    def children(parent, kind):
        return [one for one in records if one["type"] == kind and one["parent"] == parent["id"]]
    def node(one):
        kind, sub_flow = one["fields"][2:]
        return resource(one, type=KINDS[kind], nodeType=kind, subFlowName=sub_flow,
                        statistics=statistics(children(one, 6)[0]))
    def flow(one):
        return resource(one, nodes=[node(child) for child in children(one, 5)])
    def group(one):
        return resource(one, uuid=one["fields"][0], processId=one["fields"][2],
                        messageFlows=[flow(child) for child in children(one, 4)])
    broker = next(one for one in records if one["type"] == 2)
    uuid, label, reset = broker["fields"]
    return {"label": label, "uuid": uuid, "resetTime": reader.calendar(reset),
            "executionGroups": [group(one) for one in children(broker, 3)]}

def event(one, templates):
    time, thread, message, correlation, application_type, *texts = one["fields"]
    application, date, put_time = (text.rstrip(b"\0").decode().rstrip(" ") for text in texts)
    _, seconds, milliseconds, _ = struct.unpack("IIII", one["id"])
    origin = templates[one["parent"]]
    group, flow, node, kind, text = origin["fields"]
    return {"kind": "exception" if text.startswith("Exception found in ") else "message",
            "time": reader.calendar(time), "recordId": one["id"].hex().upper(),
            "created": reader.calendar(seconds, 0).replace("Z", f".{milliseconds:03}Z"),
            "threadId": thread, "messageId": message.hex().upper(),
            "correlationId": correlation.hex().upper(), "putApplicationType": application_type,
            "putApplicationName": application, "putDate": date, "putTime": put_time,
            "template": {"recordId": origin["id"].hex().upper(), "executionGroup": group,
                         "messageFlow": flow, "node": node, "type": KINDS[kind],
                         "nodeType": kind, "text": text}}

def measured(zebmon):
    """zebmon's view once every message is in it."""
    while True:
        text = zebmon("stats", "--format", "json")
        if text:
            broker = json.loads(text)["brokers"][0]
            nodes = [node["statistics"]["messageCount"] for group in broker["executionGroups"]
                     for flow in group["messageFlows"] for node in flow["nodes"]]
            if nodes and all(count == LINES for count in nodes):
                return broker

def difference(path, ours, theirs):
    """Where two values differ first, in words; nothing when they are the same."""
    if isinstance(ours, dict) and isinstance(theirs, dict) and ours.keys() == theirs.keys():
        return next(filter(None, (difference(f"{path}.{key}", ours[key], theirs[key])
                                  for key in ours)), "")
    if isinstance(ours, list) and isinstance(theirs, list) and len(ours) == len(theirs):
        return next(filter(None, (difference(f"{path}[{at}]", ours[at], theirs[at])
                                  for at in range(len(ours)))), "")
    return "" if ours == theirs else f"{path}: this reader says {ours!r}, zebmon {theirs!r}"

def compare(zebhost, zebmon, flow_file, folder):
    """What differs, in words, and how much was compared."""
    host = subprocess.Popen([zebhost, "run", flow_file, "--log", folder / "log"], text=True,
                            stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)
    try:
        host.stdin.write("a line\n" * LINES)
        host.stdin.flush()
        theirs = measured(zebmon)
        their_events = [json.loads(line)
                        for line in zebmon("events", "--format", "jsonl").splitlines()]
        areas = reader.areas(reader.copy(str(folder / f"{UUID}.zebcshme")))
    finally:
        host.stdin.close()
        host.wait()
    for key in ("state", "keyFile"):
        del theirs[key]
    for one in their_events:
        for key in ("schema", "version", "collectedAt", "broker"):
            del one[key]
    kinds = {one["kind"] for one in their_events}
    if kinds != {"message", "exception"}:
        return f"the events are of the kinds {sorted(kinds)}", ""
    templates = {one["id"]: one for one in areas["zebcetar"]}
    ours = {"broker": tree(areas["zebcstar"]),
            "events": [event(one, templates) for one in areas["zebcedar"]]}
    return (difference("", ours, {"broker": theirs, "events": their_events}),
            f"{len(areas['zebcstar'])} records and {len(their_events)} events")

def main(zebhost, zebmon_program, flow_file):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        flow = pathlib.Path(flow_file).read_text(encoding="utf-8").replace("FOLDER", name)
        (folder / "flow.toml").write_text(flow, encoding="utf-8")

        def zebmon(*arguments):
            done = subprocess.run([zebmon_program, *arguments, "--temp-directory", name],
                                  capture_output=True, text=True, check=False)
            return done.stdout if done.returncode == 0 else ""

        told, amount = compare(zebhost, zebmon, folder / "flow.toml", folder)
    print(told or f"{amount} agree")
    return 1 if told else 0

if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
