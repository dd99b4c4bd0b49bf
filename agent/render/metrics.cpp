// SPDX-License-Identifier: Apache-2.0
#include "agent/render/metrics.h"

#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include "agent/model/capacity.h"
#include "agent/model/checked.h"
#include "agent/model/condition.h"
#include "agent/model/load.h"
#include "agent/model/lock_view.h"
#include "agent/model/series.h"
#include "agent/render/exposition.h"
#include "agent/render/words.h"

namespace render {
namespace {

using Type = Family::Type;
using reader::Statistics;

// A broker with what of it is asked more than once.
struct Broker {
  model::BrokerSeries series;
  std::string label;  // broker="..."
};

// One node's labels and numbers; nothing while they can't be relied on.
struct Node {
  std::string labels;
  std::uint32_t type = 0;
  std::optional<Statistics> statistics;
  const model::NodeSeries* series = nullptr;
};

enum class Amount { whole, milliseconds };
enum class Of { allNodes, inputNodes };  // queued times are of input nodes

struct NodeFamily {
  Family family;
  Amount amount;
  Of of;
  reader::Number (*value)(const Statistics&);
};

// What a record holds before its first message means nothing.
reader::Number extreme(const Statistics& s, std::int32_t value) {
  return s.messageCount.value_or(0) > 0 ? reader::Number(value) : reader::Number();
}

constexpr NodeFamily kNumbers[] = {
    {{"zeb_node_messages", Type::counter, "", "Messages that the node measured."},
     Amount::whole,
     Of::allNodes,
     [](const Statistics& s) { return s.messageCount; }},
    {{"zeb_node_message_size_bytes", Type::counter, "bytes", "Sizes of these messages, added up."},
     Amount::whole,
     Of::allNodes,
     [](const Statistics& s) { return s.sumSize; }},
    {{"zeb_node_elapsed_seconds", Type::counter, "seconds",
      "Time that these messages spent in the node and behind it, added up."},
     Amount::milliseconds,
     Of::allNodes,
     [](const Statistics& s) { return s.sumElapsed; }},
    {{"zeb_node_queued_seconds", Type::counter, "seconds",
      "Time that these messages had waited before the node took them, added up."},
     Amount::milliseconds,
     Of::inputNodes,
     [](const Statistics& s) { return s.sumQueued; }},
    {{"zeb_node_last_collection_timestamp_seconds", Type::gauge, "seconds",
      "When the node measured its last message."},
     Amount::whole,
     Of::allNodes,
     [](const Statistics& s) { return s.lastCollection; }},
};

constexpr NodeFamily kExtremes[] = {
    {{"zeb_node_message_size_min_bytes", Type::gauge, "bytes",
      "The smallest message since the last reset."},
     Amount::whole,
     Of::allNodes,
     [](const Statistics& s) { return extreme(s, s.minSize); }},
    {{"zeb_node_message_size_max_bytes", Type::gauge, "bytes",
      "The largest message since the last reset."},
     Amount::whole,
     Of::allNodes,
     [](const Statistics& s) { return extreme(s, s.maxSize); }},
    {{"zeb_node_elapsed_min_seconds", Type::gauge, "seconds",
      "The shortest time in and behind the node since the last reset."},
     Amount::milliseconds,
     Of::allNodes,
     [](const Statistics& s) { return extreme(s, s.minElapsed); }},
    {{"zeb_node_elapsed_max_seconds", Type::gauge, "seconds",
      "The longest time in and behind the node since the last reset."},
     Amount::milliseconds,
     Of::allNodes,
     [](const Statistics& s) { return extreme(s, s.maxElapsed); }},
    {{"zeb_node_queued_min_seconds", Type::gauge, "seconds",
      "The shortest wait since the last reset."},
     Amount::milliseconds,
     Of::inputNodes,
     [](const Statistics& s) { return extreme(s, s.minQueued); }},
    {{"zeb_node_queued_max_seconds", Type::gauge, "seconds",
      "The longest wait since the last reset."},
     Amount::milliseconds,
     Of::inputNodes,
     [](const Statistics& s) { return extreme(s, s.maxQueued); }},
};

constexpr Family kNodeInfo{"zeb_node", Type::info, "", "The node's record and sub-flow."};

reader::Number valueOf(const NodeFamily& family, const Node& node) {
  if (!node.statistics || (family.of == Of::inputNodes && node.type != model::kInputNode))
    return {};
  return family.value(*node.statistics);
}

class Writer {
 public:
  Writer(const MetricsSource& source, const MetricsOptions& options);

  std::string text();

 private:
  void addNodes(const Broker& broker);
  void dropNodes();

  void begin(const char* name, Type type, const char* unit, const char* help);
  void writeNumbers(const NodeFamily& family);
  void writeNodes();
  void writeGroups();
  void writeBrokers();
  void writeAreas();
  void writeRecords();
  void writeLocks();
  void writeEvents();
  void writeFindings();
  void writeObjects();
  void writeAgent();

  // One sample a broker, where `value` returns something.
  template <class Value>
  void eachBroker(Value value) {
    for (const Broker& broker : brokers_) {
      const auto number = value(broker);
      if (number) text_.add(broker.label, *number);
    }
  }

  MetricsSource source_;
  MetricsOptions options_;
  std::vector<NodeFamily> families_;
  std::vector<Broker> brokers_;
  std::vector<Node> nodes_;
  std::size_t dropped_ = 0;  // series
  Family family_{};          // the present one, unless it is in a table
  ExpositionText text_;
};

Writer::Writer(const MetricsSource& source, const MetricsOptions& options)
    : source_(source),
      options_(options),
      families_(std::begin(kNumbers), std::end(kNumbers)),
      text_(options.exposition) {
  if (options.extremes) {
    families_.insert(families_.end(), std::begin(kExtremes), std::end(kExtremes));
  }
  for (model::BrokerSeries& series : model::seriesOf(source.snapshot)) {
    std::string label = labelled({{"broker", series.name}});
    brokers_.push_back({std::move(series), std::move(label)});
  }
  std::ranges::sort(brokers_, {}, [](const Broker& broker) { return broker.series.name; });
  for (const Broker& broker : brokers_) addNodes(broker);
  dropNodes();
}

void Writer::addNodes(const Broker& broker) {
  for (const model::NodeSeries& series : broker.series.nodes) {
    Node& node = nodes_.emplace_back();
    node.labels = labelled({{"broker", broker.series.name},
                            {"execution_group", series.group},
                            {"flow", series.flow},
                            {"node", series.node},
                            {"node_type", nodeTypeName(series.type)}});
    node.type = series.type;
    node.statistics = series.statistics();
    node.series = &series;
  }
}

void Writer::dropNodes() {
  std::size_t kept = 0;
  std::size_t series = 0;
  for (const Node& node : nodes_) {
    const auto has = [&node](const NodeFamily& family) {
      return valueOf(family, node).has_value();
    };
    const auto its = static_cast<std::size_t>(std::ranges::count_if(families_, has)) + 1;
    if (dropped_ == 0 && its <= options_.mostSeries - series) {
      ++kept;
      series += its;
    } else {
      dropped_ += its;
    }
  }
  nodes_.resize(kept);
}

void Writer::begin(const char* name, Type type, const char* unit, const char* help) {
  family_ = {name, type, unit, help};
  text_.begin(family_);
}

void Writer::writeNumbers(const NodeFamily& family) {
  text_.begin(family.family);
  for (const Node& node : nodes_) {
    const reader::Number value = valueOf(family, node);
    if (!value) continue;
    if (family.amount == Amount::milliseconds) {
      text_.addMilliseconds(node.labels, *value);
    } else {
      text_.add(node.labels, *value);
    }
  }
}

void Writer::writeNodes() {
  for (const NodeFamily& family : families_) writeNumbers(family);
  text_.begin(kNodeInfo);
  for (const Node& node : nodes_) {
    const reader::Node& first = *node.series->nodes.front();
    text_.add(
        node.labels + "," +
            labelled({{"record_id", first.recordId.hex()}, {"sub_flow_name", first.subFlowName}}),
        std::int64_t{1});
  }
}

void Writer::writeGroups() {
  const auto each = [this](auto add) {
    for (const Broker& broker : brokers_) {
      for (const model::GroupSeries& group : broker.series.groups) {
        add(labelled({{"broker", broker.series.name}, {"execution_group", group.group}}), group);
      }
    }
  };
  begin("zeb_execution_group_up", Type::gauge, "",
        "1 when the group's process lives and uses the broker's shared memory.");
  each([this](const std::string& labels, const model::GroupSeries& group) {
    if (group.up) text_.add(labels, std::int64_t{*group.up});
  });
  begin("zeb_execution_group_process_start_time_seconds", Type::gauge, "seconds",
        "When the group's process started.");
  each([this](const std::string& labels, const model::GroupSeries& group) {
    if (group.started) text_.addMilliseconds(labels, *group.started);
  });
}

void Writer::writeBrokers() {
  begin("zeb_brokers", Type::gauge, "", "Brokers whose shared memory could be read.");
  text_.add("", static_cast<std::int64_t>(brokers_.size()));
  begin("zeb_broker", Type::info, "", "The broker's uuid and record.");
  for (const Broker& broker : brokers_) {
    const model::SeenBroker& seen = *broker.series.broker;
    const std::string record = seen.tree ? seen.tree->recordId.hex() : "";
    text_.add(broker.label + "," + labelled({{"uuid", seen.uuid()}, {"record_id", record}}),
              std::int64_t{1});
  }
  begin("zeb_broker_last_reset_timestamp_seconds", Type::gauge, "seconds",
        "When the statistics of all nodes were last set to zero.");
  eachBroker([](const Broker& broker) {
    const auto& tree = broker.series.broker->tree;
    return tree ? tree->resetTime : reader::Time();
  });
  begin("zeb_broker_attached_processes", Type::gauge, "",
        "Processes that have the broker's shared memory attached.");
  eachBroker([](const Broker& broker) {
    return reader::Number(static_cast<std::int64_t>(broker.series.broker->segment.attached));
  });
}

void Writer::writeAreas() {
  const auto each = [this](auto valueOf) {
    for (const Broker& broker : brokers_) {
      for (const reader::Area& area : broker.series.broker->segment.copy.areas) {
        const reader::Number value = valueOf(broker, area);
        if (value) {
          text_.add(labelled({{"broker", broker.series.name}, {"area", area.name}}), *value);
        }
      }
    }
  };
  begin("zeb_area_size_bytes", Type::gauge, "bytes", "Size of an area of shared memory.");
  each([](const Broker&, const reader::Area& area) { return reader::Number(area.size); });
  begin("zeb_area_used_bytes", Type::gauge, "bytes",
        "How much of the area was ever used. Event areas begin again when they are full.");
  each([](const Broker&, const reader::Area& area) { return reader::Number(area.last); });
  begin("zeb_area_room_nodes", Type::gauge, "",
        "How many nodes like the broker's largest one the area still has room for.");
  each([](const Broker& broker, const reader::Area& area) {
    if (area.name != reader::kStatistics) return reader::Number();
    const std::uint64_t room =
        model::roomFor({.units = model::largestNode(*broker.series.broker)}, area);
    return reader::Number(static_cast<std::int64_t>(room));
  });
}

void Writer::writeRecords() {
  begin("zeb_records", Type::gauge, "",
        "Groups, flows and nodes in shared memory; damaged is places that can't be read.");
  for (const Broker& broker : brokers_) {
    const model::BrokerSeries& series = broker.series;
    const std::pair<const char*, std::size_t> states[] = {
        {"live", series.live},
        {"deleted", series.deleted},
        {"duplicate", series.duplicates},
        {"damaged", series.broker->damage.list().size()}};
    for (const auto& [state, count] : states) {
      text_.add(labelled({{"broker", series.name}, {"state", state}}),
                static_cast<std::int64_t>(count));
    }
  }
}

const char* stateOf(const model::LockView& lock) {
  switch (lock.lock.semaphore.presence) {
    case reader::Presence::there:
      if (!lock.held()) return "free";
      return lock.lastUser.gone() ? "stuck" : "held";
    case reader::Presence::absent:
      return "absent";
    case reader::Presence::refused:
    case reader::Presence::failed:
      break;
  }
  return "unreadable";
}

// Of one broker's locks.
struct LockTotals {
  std::map<std::string, std::int64_t> states = {
      {"absent", 0}, {"free", 0}, {"held", 0}, {"stuck", 0}, {"unreadable", 0}};
  std::int64_t waiting = 0;
  std::optional<std::int64_t> oldestHold;  // seconds
};

void add(LockTotals& totals, const model::LockView& lock, std::int64_t now) {
  const reader::Semaphore& semaphore = lock.lock.semaphore;
  ++totals.states[stateOf(lock)];
  totals.waiting += semaphore.waiting;
  if (!lock.held()) return;
  const model::Number held = model::difference(now, semaphore.lastUsed());
  totals.oldestHold = std::max(totals.oldestHold.value_or(0), held.value_or(0));
}

void Writer::writeLocks() {
  const model::Snapshot& snapshot = source_.snapshot;
  if (!snapshot.machine) return;
  std::map<std::string, LockTotals> all;  // by key file
  for (const Broker& broker : brokers_) all[broker.series.broker->segment.keyFile];
  for (const model::LockView& lock : model::locksOf(snapshot, snapshot, false)) {
    const auto totals = all.find(lock.guarded.broker->segment.keyFile);
    if (totals != all.end()) add(totals->second, lock, model::secondsOf(snapshot));
  }
  const auto of = [&all](const Broker& broker) -> const LockTotals& {
    return all.at(broker.series.broker->segment.keyFile);
  };
  begin("zeb_locks", Type::gauge, "",
        "Locks of the broker; a stuck one is held by a process that is gone.");
  for (const Broker& broker : brokers_) {
    for (const auto& [state, count] : of(broker).states) {
      text_.add(labelled({{"broker", broker.series.name}, {"state", state}}), count);
    }
  }
  begin("zeb_lock_waiters", Type::gauge, "", "Processes that wait for one of the locks.");
  eachBroker([&of](const Broker& broker) { return reader::Number(of(broker).waiting); });
  begin("zeb_lock_oldest_hold_seconds", Type::gauge, "seconds",
        "How long the one that is held longest has been held.");
  eachBroker([&of](const Broker& broker) { return of(broker).oldestHold; });
}

void Writer::writeEvents() {
  if (source_.events == nullptr) return;
  const auto each = [this](auto add) {
    for (const Broker& broker : brokers_) {
      const auto totals = source_.events->find(broker.series.broker->segment.keyFile);
      if (totals != source_.events->end()) add(broker, totals->second);
    }
  };
  begin("zeb_events_observed", Type::counter, "", "Events that nodes posted and the agent saw.");
  each([this](const Broker& broker, const model::EventTotals& totals) {
    const std::pair<const char*, std::uint64_t> kinds[] = {{"exception", totals.exceptions},
                                                           {"message", totals.messages},
                                                           {"unknown", totals.unknown}};
    for (const auto& [kind, count] : kinds) {
      text_.add(labelled({{"broker", broker.series.name}, {"kind", kind}}),
                static_cast<std::int64_t>(count));
    }
  });
  begin("zeb_events_missed", Type::counter, "",
        "Events that were overwritten before the agent saw them, at least.");
  each([this](const Broker& broker, const model::EventTotals& totals) {
    text_.add(broker.label, static_cast<std::int64_t>(totals.missed));
  });
}

void Writer::writeFindings() {
  if (source_.findings == nullptr) return;
  std::map<const model::SeenBroker*, std::string> names;
  for (const Broker& broker : brokers_) names[broker.series.broker.get()] = broker.series.name;
  std::map<std::string, std::int64_t> counts;
  for (const model::Finding& finding : source_.findings->found) {
    const bool critical = finding.severity == model::Severity::critical;
    ++counts[labelled({{"broker", names[finding.broker.get()]},
                       {"severity", critical ? "critical" : "warning"},
                       {"finding", finding.id}})];
  }
  begin("zeb_findings", Type::gauge, "", "What is wrong, by kind: zebmon doctor tells more.");
  for (const auto& [labels, count] : counts) text_.add(labels, count);
  begin("zeb_findings_unchecked", Type::gauge, "",
        "What could not be looked at, by kind: sudo zebmon doctor may.");
  for (const auto& [kind, count] : source_.findings->unchecked) {
    text_.add(labelled({{"finding", kind}}), static_cast<std::int64_t>(count));
  }
}

// Objects of one kind by what they are: those of the brokers here, and of these the ones that
// nobody will use again.
struct Objects {
  std::int64_t brokers = 0;
  std::int64_t leftover = 0;
};

// By the name of their kind.
std::map<std::string, Objects> objectsOf(const model::Snapshot& snapshot,
                                         const model::Findings* findings) {
  std::map<std::string, Objects> kinds;
  const auto isLeft = [findings](const std::string& id, const std::string& of) {
    return findings != nullptr && std::ranges::any_of(findings->found, [&](const auto& finding) {
             return finding.id == id && finding.of == of;
           });
  };
  for (const reader::Lock& lock : snapshot.machine->locks.locks) {
    const bool left = isLeft("leftover.lock", lock.file.path);
    const auto count = [&](const char* kind, std::int64_t number) {
      kinds[kind].brokers += number;
      if (left) kinds[kind].leftover += number;
    };
    const bool semaphore = lock.semaphore.presence == reader::Presence::there;
    count("semaphore_sets", semaphore);
    count("semaphores", semaphore ? static_cast<std::int64_t>(lock.semaphore.semaphores) : 0);
    count("queues", lock.queue.presence == reader::Presence::there);
  }
  for (const auto& broker : model::distinct(snapshot).brokers) {
    if (broker->segment.size == 0) continue;
    ++kinds["segments"].brokers;
    if (isLeft("segment.abandoned", broker->segment.keyFile)) ++kinds["segments"].leftover;
  }
  return kinds;
}

void Writer::writeObjects() {
  if (!source_.snapshot.machine) return;
  const reader::Limits& limits = source_.snapshot.machine->limits;
  struct Kind {
    const char* name;
    reader::Limits::Count used;
    reader::Limits::Count most;
  };
  const Kind kinds[] = {{"queues", limits.usedQueues, limits.queues},
                        {"segment_pages", limits.usedPages, limits.memoryPages},
                        {"segments", limits.usedSegments, limits.segments},
                        {"semaphore_sets", limits.usedSemaphoreSets, limits.semaphoreSets},
                        {"semaphores", limits.usedSemaphores, limits.semaphores}};
  begin("zeb_ipc_objects", Type::gauge, "",
        "Objects that exist: used by anybody, of brokers, and of these left over.");
  auto own = objectsOf(source_.snapshot, source_.findings);
  for (const Kind& kind : kinds) {
    const auto add = [this, &kind](const char* state, double number) {
      text_.add(labelled({{"kind", kind.name}, {"state", state}}), number);
    };
    const auto objects = own.find(kind.name);
    if (objects != own.end()) {
      add("broker", static_cast<double>(objects->second.brokers));
      if (source_.findings) add("leftover", static_cast<double>(objects->second.leftover));
    }
    if (kind.used) add("used", static_cast<double>(*kind.used));
  }
  begin("zeb_ipc_limit", Type::gauge, "", "How many of them the kernel allows.");
  for (const Kind& kind : kinds) {
    if (kind.most) text_.add(labelled({{"kind", kind.name}}), static_cast<double>(*kind.most));
  }
}

void Writer::writeAgent() {
  begin("zebmon_snapshot_timestamp_seconds", Type::gauge, "seconds",
        "When all this was looked at.");
  const auto wall = std::chrono::floor<std::chrono::milliseconds>(source_.snapshot.wall);
  text_.addMilliseconds("", wall.time_since_epoch().count());
  begin("zebmon_snapshot_duration_seconds", Type::gauge, "seconds", "How long the look took.");
  if (source_.took) text_.add("", std::chrono::duration<double>(*source_.took).count());
  begin("zebmon_snapshot_brokers_left_out", Type::gauge, "",
        "Brokers that were not looked at, as there are too many.");
  text_.add("", static_cast<std::int64_t>(source_.snapshot.leftOut.tooMany));
  begin("zebmon_start_time_seconds", Type::gauge, "seconds", "When the agent began to look.");
  if (source_.started) {
    const auto started = std::chrono::floor<std::chrono::milliseconds>(*source_.started);
    text_.addMilliseconds("", started.time_since_epoch().count());
  }
  begin("zebmon_series_dropped", Type::gauge, "",
        "Series of nodes that were left out, as there are too many.");
  text_.add("", static_cast<std::int64_t>(dropped_));
  begin("zebmon_build", Type::info, "", "The version of the agent.");
  if (!source_.version.empty()) {
    text_.add(labelled({{"version", source_.version}}), std::int64_t{1});
  }
}

std::string Writer::text() {
  writeBrokers();
  writeGroups();
  writeNodes();
  writeAreas();
  writeRecords();
  writeLocks();
  writeEvents();
  writeFindings();
  writeObjects();
  writeAgent();
  return text_.end();
}

}  // namespace

std::string metrics(const MetricsSource& source, const MetricsOptions& options) {
  return Writer(source, options).text();
}

}  // namespace render
