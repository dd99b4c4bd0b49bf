// SPDX-License-Identifier: Apache-2.0
// A snapshot as metrics.
#include "agent/render/metrics.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "agent/render/exposition.h"
#include "tests/agent/grown.h"
#include "tests/agent/zebmon.h"

namespace metrics_test {

namespace {

using reader::Node;
using render::Exposition;

std::shared_ptr<model::SeenBroker> readable(const std::vector<Node>& nodes) {
  auto broker = seenBroker(nodes);
  broker->segment.size = 4096;
  broker->segment.attached = 2;
  return broker;
}

Node inputNode() {
  Node node =
      nodeWith("Order in", 1, {.messages = 3, .elapsed = 12345, .queued = 50, .bytes = 600});
  node.type = 1;
  return node;
}

std::string metricsOf(const std::shared_ptr<model::SeenBroker>& broker,
                      const render::MetricsOptions& options = {}) {
  const model::Snapshot snapshot = lookAt(broker, std::chrono::milliseconds(250));
  return render::metrics({.snapshot = snapshot}, options);
}

void expectLine(const std::string& text, const std::string& line) {
  EXPECT_TRUE(contains("\n" + text, "\n" + line + "\n")) << line << "\n---\n" << text;
}

void expectNo(const std::string& text, const std::string& part) {
  EXPECT_FALSE(contains(text, part)) << part << "\n---\n" << text;
}

// What a program says that reads the text, as answerOf() has it.
std::string answer(const std::string& program, const std::string& text) {
  const std::string file = testing::TempDir() + "metrics";
  std::ofstream(file) << text;
  std::string said = answerOf(program + " <" + file);
  std::filesystem::remove(file);
  return said;
}

// The samples as readers of that text see them.
std::string parsed(const std::string& text, const std::string& as) {
  return answer("/usr/bin/python3 -B " ZEB_PARSE_METRICS " " + as, text);
}

const char kOrderIn[] =
    "{broker=\"SHOP\",execution_group=\"orders\",flow=\"Fulfil\",node=\"Order in\","
    "node_type=\"input\"} ";

}  // namespace

TEST(Metrics, ANodeHasItsCountersInBasicUnits) {
  const std::string text = metricsOf(readable({inputNode()}));
  expectLine(text, "# TYPE zeb_node_messages_total counter");
  expectLine(text, std::string("zeb_node_messages_total") + kOrderIn + "3");
  expectLine(text, std::string("zeb_node_message_size_bytes_total") + kOrderIn + "600");
  expectLine(text, std::string("zeb_node_elapsed_seconds_total") + kOrderIn + "12.345");
  expectLine(text, std::string("zeb_node_queued_seconds_total") + kOrderIn + "0.050");
  expectNo(text, "_min_");
}

TEST(Metrics, QueuedTimesAreOfInputNodesOnly) {
  Node other = inputNode();
  other.type = 3;
  const std::string text = metricsOf(readable({other}), {.extremes = true});
  expectNo(text, "queued");
  EXPECT_TRUE(contains(text, "zeb_node_elapsed_max_seconds{"));
}

TEST(Metrics, ExtremesAreThereOnDemandAndOnlyAfterAMessage) {
  Node node = inputNode();
  node.statistics->minSize = 5;
  node.statistics->maxQueued = 40;
  const std::string text = metricsOf(readable({node}), {.extremes = true});
  expectLine(text, std::string("zeb_node_message_size_min_bytes") + kOrderIn + "5");
  expectLine(text, std::string("zeb_node_queued_max_seconds") + kOrderIn + "0.040");
  node.statistics->messageCount = 0;
  expectNo(metricsOf(readable({node}), {.extremes = true}), "_min_");
}

TEST(Metrics, WhatCantBeReadIsAbsentAndNotZero) {
  Node node = inputNode();
  node.statistics->sumSize = {};
  node.statistics->lastCollection = {};
  const std::string text = metricsOf(readable({node}));
  expectNo(text, "zeb_node_message_size_bytes");
  expectNo(text, "zeb_node_last_collection");
  expectNo(text, "zeb_execution_group_up");
  expectNo(text, "zeb_locks");
  expectNo(text, "zeb_findings");
  EXPECT_TRUE(contains(text, "zeb_node_messages_total{"));
}

TEST(Metrics, StoredNumbersAreWrittenAsTheyAre) {
  Node node = inputNode();
  node.statistics->messageCount = -7;
  node.statistics->sumElapsed = std::numeric_limits<std::int64_t>::min();
  node.statistics->sumQueued = -1;
  const std::string text = metricsOf(readable({node}));
  expectLine(text, std::string("zeb_node_messages_total") + kOrderIn + "-7");
  expectLine(text,
             std::string("zeb_node_elapsed_seconds_total") + kOrderIn + "-9223372036854775.808");
  expectLine(text, std::string("zeb_node_queued_seconds_total") + kOrderIn + "-0.001");
}

TEST(Metrics, ABrokerTellsItsStateAndAreas) {
  auto broker = readable({inputNode()});
  reader::Area area;
  area.name = reader::kStatistics;
  area.size = 4096;
  area.last = 1000;
  area.next = 1000;
  broker->segment.copy.areas = {area};
  const std::string text = metricsOf(broker);
  expectLine(text, "zeb_brokers 1");
  expectLine(text, "zeb_broker_info{broker=\"SHOP\",uuid=\"1-2-3\",record_id=\"" +
                       reader::RecordId().hex() + "\"} 1");
  expectLine(text, "zeb_broker_last_reset_timestamp_seconds{broker=\"SHOP\"} 900");
  expectLine(text, "zeb_broker_attached_processes{broker=\"SHOP\"} 2");
  expectLine(text, "zeb_area_size_bytes{broker=\"SHOP\",area=\"statistics\"} 4096");
  expectLine(text, "zeb_area_used_bytes{broker=\"SHOP\",area=\"statistics\"} 1000");
  // Each takes 230 + 2 * 8 bytes: ("Order in").
  expectLine(text, "zeb_area_room_nodes{broker=\"SHOP\",area=\"statistics\"} 12");
  expectLine(text, "zeb_records{broker=\"SHOP\",state=\"live\"} 3");
  expectLine(text, "zebmon_snapshot_timestamp_seconds 1000000.250");
}

TEST(Metrics, WithoutABrokerTheNumberOfThemIsThere) {
  const std::string text = metricsOf(nullptr);
  expectLine(text, "zeb_brokers 0");
  expectNo(text, "broker=");
}

TEST(Metrics, LocksAreCountedByState) {
  auto broker = readable({});
  model::Snapshot snapshot = lookAt(broker, {});
  auto machine = std::make_shared<model::Machine>();
  reader::Lock free;
  free.name = "1-2-3.zebcshme";
  free.semaphore.presence = reader::Presence::there;
  free.semaphore.value = 1;
  reader::Lock stuck = free;
  stuck.name = "1-2-3.zebcstar";
  stuck.semaphore.value = 0;
  stuck.semaphore.waiting = 2;
  stuck.semaphore.lastProcess = 12;
  stuck.semaphore.lastOperation = 999900;
  reader::Lock held = stuck;
  held.name = "1-2-3.zebcedar";
  held.semaphore.lastProcess = 13;
  held.semaphore.lastOperation = 999990;
  machine->locks.locks = {free, stuck, held};
  machine->processes[12].id = 12;
  machine->processes[12].exists = false;
  snapshot.machine = machine;
  const std::string text = render::metrics({.snapshot = snapshot});
  expectLine(text, "zeb_locks{broker=\"SHOP\",state=\"free\"} 1");
  expectLine(text, "zeb_locks{broker=\"SHOP\",state=\"held\"} 1");
  expectLine(text, "zeb_locks{broker=\"SHOP\",state=\"stuck\"} 1");
  expectLine(text, "zeb_lock_waiters{broker=\"SHOP\"} 4");
  expectLine(text, "zeb_lock_oldest_hold_seconds{broker=\"SHOP\"} 100");
}

TEST(Metrics, FindingsAreCountedByKind) {
  const auto broker = readable({});
  const model::Snapshot snapshot = lookAt(broker, {});
  model::Findings findings;
  findings.found.resize(3);
  findings.found[0].id = findings.found[1].id = "lock.stuck";
  findings.found[0].broker = findings.found[1].broker = broker;
  findings.found[0].severity = findings.found[1].severity = model::Severity::critical;
  findings.found[2].id = "limits.near";
  const std::string text = render::metrics({.snapshot = snapshot, .findings = &findings});
  expectLine(text, "zeb_findings{broker=\"SHOP\",severity=\"critical\",finding=\"lock.stuck\"} 2");
  expectLine(text, "zeb_findings{broker=\"\",severity=\"warning\",finding=\"limits.near\"} 1");
}

TEST(Metrics, WhatWasNotCheckedIsCountedByKind) {
  const model::Snapshot snapshot = lookAt(readable({}), {});
  model::Findings findings;
  expectNo(render::metrics({.snapshot = snapshot, .findings = &findings}), "unchecked");
  findings.leaveUnchecked("lock", "locks: they belong to another user");
  findings.leaveUnchecked("lock", "locks: there are too many");
  const std::string text = render::metrics({.snapshot = snapshot, .findings = &findings});
  expectLine(text, "zeb_findings_unchecked{finding=\"lock\"} 2");
}

TEST(Metrics, EventsAreCountedByOneWhoFollows) {
  const model::Snapshot snapshot = lookAt(readable({}), {});
  const model::TotalsByKeyFile events = {
      {snapshot.brokers[0]->segment.keyFile,
       {.messages = 5, .exceptions = 2, .unknown = 0, .missed = 7}},
      {"/tmp/gone", {.messages = 1}}};
  expectNo(render::metrics({.snapshot = snapshot}), "zeb_events");
  const std::string text = render::metrics({.snapshot = snapshot, .events = &events});
  expectLine(text, "# TYPE zeb_events_observed_total counter");
  expectLine(text, "zeb_events_observed_total{broker=\"SHOP\",kind=\"exception\"} 2");
  expectLine(text, "zeb_events_observed_total{broker=\"SHOP\",kind=\"message\"} 5");
  expectLine(text, "zeb_events_observed_total{broker=\"SHOP\",kind=\"unknown\"} 0");
  expectLine(text, "zeb_events_missed_total{broker=\"SHOP\"} 7");
}

TEST(Metrics, ObjectsOfBrokersAreToldFromThoseLeftOver) {
  model::Snapshot snapshot = lookAt(readable({}), {});
  auto machine = std::make_shared<model::Machine>();
  machine->limits.usedQueues = 9;
  for (const char* const path : {"/tmp/a", "/tmp/b"}) {
    reader::Lock& lock = machine->locks.locks.emplace_back();
    lock.file.path = path;
    lock.semaphore.presence = lock.queue.presence = reader::Presence::there;
    lock.semaphore.semaphores = 1;
  }
  machine->locks.locks[0].queue.presence = reader::Presence::absent;
  snapshot.machine = machine;
  model::Findings findings;
  findings.found.resize(2);
  findings.found[0].id = "leftover.lock";
  findings.found[0].of = "/tmp/b";
  findings.found[1].id = "segment.abandoned";
  findings.found[1].of = snapshot.brokers[0]->segment.keyFile;
  const std::string text = render::metrics({.snapshot = snapshot, .findings = &findings});
  expectLine(text, "zeb_ipc_objects{kind=\"queues\",state=\"broker\"} 1");
  expectLine(text, "zeb_ipc_objects{kind=\"queues\",state=\"leftover\"} 1");
  expectLine(text, "zeb_ipc_objects{kind=\"queues\",state=\"used\"} 9");
  expectLine(text, "zeb_ipc_objects{kind=\"semaphore_sets\",state=\"broker\"} 2");
  expectLine(text, "zeb_ipc_objects{kind=\"semaphore_sets\",state=\"leftover\"} 1");
  expectLine(text, "zeb_ipc_objects{kind=\"segments\",state=\"broker\"} 1");
  expectLine(text, "zeb_ipc_objects{kind=\"segments\",state=\"leftover\"} 1");
}

TEST(Metrics, TheAgentSaysSinceWhenItLooksAndWhatItLeavesOut) {
  model::Snapshot snapshot = lookAt(readable({}), {});
  expectNo(render::metrics({.snapshot = snapshot}), "zebmon_start_time_seconds");
  snapshot.leftOut = {.foreign = 9, .tooMany = 3};
  const std::chrono::system_clock::time_point then(std::chrono::milliseconds(1500));
  const std::string text = render::metrics({.snapshot = snapshot, .started = then});
  expectLine(text, "zebmon_start_time_seconds 1.500");
  expectLine(text, "zebmon_snapshot_brokers_left_out 3");
}

TEST(Metrics, WholeNodesAreLeftOutInTheOrderOfTheirNames) {
  const auto broker =
      readable({nodeWith("c", 1, {.messages = 1}), nodeWith("a", 2, {.messages = 1}),
                nodeWith("b", 3, {.messages = 1})});
  const std::string all = metricsOf(broker);
  expectLine(all, "zebmon_series_dropped 0");
  const std::string some = metricsOf(broker, {.mostSeries = 11});
  EXPECT_TRUE(contains(some, "node=\"a\""));
  EXPECT_TRUE(contains(some, "node=\"b\""));
  expectNo(some, "node=\"c\"");
  expectLine(some, "zebmon_series_dropped 5");
  expectNo(metricsOf(broker, {.mostSeries = 9}), "node=\"b\"");
  expectLine(metricsOf(broker, {.mostSeries = 0}), "zebmon_series_dropped 15");
}

TEST(Metrics, LabelsAreEscapedAndWellFormed) {
  EXPECT_EQ("a=\"x\\\"y\\\\z\\nw\xEF\xBF\xBD\xC3\xB6\",b=\"\"",
            render::labelled({{"a", "x\"y\\z\nw\xFF\xC3\xB6"}, {"b", ""}}));
}

TEST(Metrics, HostileLabelsReachTheirReadersUnchanged) {
  Node node = inputNode();
  node.label = "\"} 1\n# EOF\n\\n\x1B[2J\xE2\x80\xAE";
  for (const Exposition exposition : {Exposition::prometheus, Exposition::openMetrics}) {
    const bool open = exposition == Exposition::openMetrics;
    const std::string samples =
        parsed(metricsOf(readable({node}), {.exposition = exposition, .extremes = true}),
               open ? "openmetrics" : "prometheus");
    EXPECT_TRUE(contains(samples, "node=\"} 1\\n# EOF\\n\\\\n\\x1b[2J\\u202e,node_type=input|3\n"))
        << samples;
    EXPECT_TRUE(contains(samples, "zeb_node_messages_total|")) << samples;
    EXPECT_TRUE(contains(samples, "zeb_broker_info|")) << samples;
  }
}

TEST(Metrics, OpenMetricsNamesFamiliesUnitsAndTheEnd) {
  const std::string text =
      metricsOf(readable({inputNode()}), {.exposition = Exposition::openMetrics});
  expectLine(text, "# TYPE zeb_node_elapsed_seconds counter");
  expectLine(text, "# UNIT zeb_node_elapsed_seconds seconds");
  expectLine(text, std::string("zeb_node_elapsed_seconds_total") + kOrderIn + "12.345");
  expectLine(text, "# TYPE zeb_node info");
  EXPECT_TRUE(text.ends_with("\n# EOF\n"));
}

TEST(Metrics, TheLinterHasNothingAgainstThem) {
  model::Findings findings;
  findings.found.resize(1);
  findings.found[0].id = "limits.near";
  model::Snapshot snapshot = lookAt(readable({inputNode()}), {});
  auto machine = std::make_shared<model::Machine>();
  machine->limits.queues = 7;
  machine->limits.usedQueues = 6;
  snapshot.machine = machine;
  findings.leaveUnchecked("lock", "locks: nobody may");
  const model::TotalsByKeyFile events = {{snapshot.brokers[0]->segment.keyFile, {}}};
  const std::string text = render::metrics({.snapshot = snapshot,
                                            .findings = &findings,
                                            .took = std::chrono::milliseconds(3),
                                            .version = "1.0.0",
                                            .events = &events,
                                            .started = snapshot.wall},
                                           {.extremes = true});
  expectLine(text, "zeb_ipc_limit{kind=\"queues\"} 7");
  expectLine(text, "zebmon_snapshot_duration_seconds 0.003");
  EXPECT_EQ("", answer(ZEB_PROMTOOL " check metrics", text));
}

}  // namespace metrics_test
