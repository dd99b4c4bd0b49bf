# SPDX-License-Identifier: Apache-2.0
"""The reader in Python, beside zebmon, on segments that don't change: python_test.py ZEBMON"""
import calendar
import json
import subprocess
import sys
import time
import unittest

import zebread

ZEBMON = sys.argv.pop(1)
DIRECTORY = "/tmp"


def zebmon(*arguments):
    """All that it says of them; what is damaged makes it end with another code."""
    return subprocess.run([ZEBMON, *arguments, "--temp-directory", DIRECTORY], text=True, check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout


def seconds(text):
    return None if text is None else calendar.timegm(time.strptime(text, "%Y-%m-%dT%H:%M:%SZ"))


def milliseconds(text):
    whole, part = text.rstrip("Z").split(".")
    return seconds(whole + "Z") * 1000 + int(part)


def shown(text):
    return None if text is None else zebread.printable(text)


def statistics(of):
    return of and {
        "recordId": of.record_id, "messageCount": of.message_count,
        "sizeSumBytes": of.size_sum_bytes, "sizeMaxBytes": of.size_max_bytes,
        "sizeMinBytes": of.size_min_bytes, "elapsedSumMs": of.elapsed_sum_ms,
        "elapsedMaxMs": of.elapsed_max_ms, "elapsedMinMs": of.elapsed_min_ms,
        "queuedSumMs": of.queued_sum_ms, "queuedMaxMs": of.queued_max_ms,
        "queuedMinMs": of.queued_min_ms, "firstCollection": of.first_collection,
        "lastCollection": of.last_collection}


def node(of):
    return {"label": shown(of.label), "type": of.type_name, "nodeType": of.type,
            "subFlowName": shown(of.sub_flow), "deleted": of.deleted, "recordId": of.record_id,
            "statistics": statistics(of.statistics)}


def group(of):
    return {"label": shown(of.label), "uuid": shown(of.uuid), "processId": of.process_id,
            "deleted": of.deleted, "recordId": of.record_id,
            "messageFlows": [{"label": shown(flow.label), "deleted": flow.deleted,
                              "recordId": flow.record_id, "nodes": [node(one) for one in flow.nodes]}
                             for flow in of.flows]}


def identity(broker):
    found = {"label": shown(broker.label), "uuid": shown(broker.uuid), "state": broker.state,
             "keyFile": shown(broker.key_file), "resetTime": broker.reset_time}
    if broker.problem:
        found["problem"] = broker.problem
    if broker.damage:
        found["damage"] = [{"area": one.area, "offset": one.offset, "reason": shown(one.reason)}
                           for one in broker.damage]
    return found


def segment(broker):
    return broker.segment_bytes and {
        "id": broker.segment_id, "sizeBytes": broker.segment_bytes,
        "group": shown(broker.reading_group), "attached": broker.attached,
        "areas": [{"name": area.name, "sizeBytes": area.size_bytes, "usedBytes": area.used_bytes,
                   "usedPercent": area.used_bytes * 100 // area.size_bytes, "wrapped": area.wrapped}
                  for area in broker.areas]}


def event(broker, of):
    return {"broker": {"label": shown(broker.label), "uuid": shown(broker.uuid)}, "kind": of.kind,
            "time": of.time, "recordId": of.record_id, "created": of.created_ms,
            "threadId": of.thread_id, "messageId": of.message_id, "correlationId": of.correlation_id,
            "putApplicationType": of.put_application_type,
            "putApplicationName": shown(of.put_application_name), "putDate": shown(of.put_date),
            "putTime": shown(of.put_time),
            "template": None if of.text is None else {
                "recordId": of.template_id, "executionGroup": shown(of.group),
                "messageFlow": shown(of.flow), "node": shown(of.node),
                "type": (["unknown", "input", "output", "other", "subFlowInput", "subFlowOutput"]
                         [of.node_type if of.node_type < 6 else 0]),
                "nodeType": of.node_type, "text": shown(of.text)}}


class Agreement(unittest.TestCase):
    maxDiff = 2000

    def test_statistics_of_every_broker_are_those_that_zebmon_tells(self):
        theirs = json.loads(zebmon("stats", "--format", "json"))["brokers"]
        for broker in theirs:
            broker["resetTime"] = seconds(broker["resetTime"])
            for one in broker["executionGroups"]:
                for flow in one["messageFlows"]:
                    for member in flow["nodes"]:
                        for key in ("firstCollection", "lastCollection"):
                            if member["statistics"]:
                                member["statistics"][key] = seconds(member["statistics"][key])
        ours = [{**identity(broker), "executionGroups": [group(one) for one in broker.groups]}
                for broker in zebread.snapshot(DIRECTORY).brokers]
        self.assertGreater(len(ours), 100)
        self.assertEqual(len(ours), len(theirs))
        for our, their in zip(ours, theirs):
            self.assertEqual(our, their)

    def test_states_and_areas_of_every_broker_are_those_that_zebmon_tells(self):
        theirs = json.loads(zebmon("brokers", "--format", "json"))["brokers"]
        for broker in theirs:
            broker["resetTime"] = seconds(broker["resetTime"])
            for key in ("executionGroupCount", "messageFlowCount", "nodeCount", "lastCollection",
                        "lastCollectionAgeSeconds"):
                del broker[key]
        ours = [{**identity(broker), "segment": segment(broker)}
                for broker in zebread.snapshot(DIRECTORY).brokers]
        self.assertLess({"noProcess", "damaged", "noSegment", "notInitialised"},
                        {broker["state"] for broker in ours} | {"one more"})
        for our, their in zip(ours, theirs):
            self.assertEqual(our, their)
        self.assertEqual(len(ours), len(theirs))

    def test_events_of_every_broker_are_those_that_zebmon_tells(self):
        theirs = [json.loads(line) for line in zebmon("events", "--format", "jsonl").splitlines()]
        for one in theirs:
            one["time"] = seconds(one["time"])
            one["created"] = milliseconds(one["created"])
            for key in ("schema", "version", "collectedAt"):
                del one[key]
        ours = [event(broker, one) for broker, one in zebread.events(DIRECTORY)]
        self.assertGreater(len(ours), 400)
        self.assertEqual({"message", "exception", "unknown"}, {one["kind"] for one in ours})
        for our, their in zip(sorted(map(json.dumps, ours)), sorted(map(json.dumps, theirs))):
            self.assertEqual(json.loads(our), json.loads(their))
        self.assertEqual(len(ours), len(theirs))

    def test_what_is_damaged_is_named_and_is_not_zero(self):
        damaged = [(one.statistics, name) for broker in zebread.snapshot(DIRECTORY).brokers
                   for of in broker.groups for flow in of.flows for one in flow.nodes if one.statistics
                   for name in one.statistics.unreadable]
        self.assertGreater(len(damaged), 10)
        for numbers, name in damaged:
            self.assertIsNone(getattr(numbers, name))


class Use(unittest.TestCase):
    def test_a_directory_that_is_not_there_raises_a_sentence(self):
        with self.assertRaisesRegex(zebread.Error, "^can't read the directory /tmp/no/: No such file"):
            zebread.snapshot("/tmp/no")

    def test_one_broker_is_looked_at_by_its_uuid(self):
        [broker] = zebread.snapshot(DIRECTORY, broker="full").brokers
        self.assertEqual(("BRK1", "BRK1", 0), (broker.label, broker.name, len(broker.events)))

    def test_an_event_is_told_once_by_a_reader_and_by_the_next_one(self):
        with zebread.Reader(DIRECTORY, broker="full", events=True) as reader:
            self.assertEqual([28, 0], [len(reader.look().brokers[0].events) for _ in range(2)])
            cursor = reader.cursor
        with zebread.Reader(DIRECTORY, broker="full", events=True, cursor=cursor) as reader:
            self.assertEqual(0, len(reader.look().brokers[0].events))

    def test_a_closed_reader_raises_and_a_wrong_cursor_too(self):
        reader = zebread.Reader(DIRECTORY)
        reader.close()
        for use in (reader.look, lambda: reader.cursor):
            with self.assertRaisesRegex(zebread.Error, "^the reader is closed"):
                use()
        with self.assertRaisesRegex(zebread.Error, "^that is no cursor"):
            zebread.Reader(DIRECTORY, cursor="x")

    def test_texts_become_printable(self):
        self.assertEqual("a\\x1B\\x00\\xFFö", zebread.printable("a\x1b\0\udcffö"))
        self.assertEqual("", zebread.printable(""))
        self.assertEqual("\\x1B" * 1000, zebread.printable("\x1b" * 1000))


unittest.main()
