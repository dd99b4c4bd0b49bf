// SPDX-License-Identifier: Apache-2.0
#include "flowfile/reader.h"

#include <fmt/format.h>

#include <limits.h>

#include <algorithm>
#include <map>
#include <utility>

#include "flowfile/depth.h"
#include "flowfile/room.h"
#include "flowfile/section.h"
#include "flowfile/syntax.h"
#include "format/names.h"
#include "format/sizes.h"
#include "text/printable.h"

namespace flowfile {

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t kMaxThreads = 256;
constexpr std::int64_t kMaxCount = 1'000'000'000'000;
constexpr std::int64_t kMaxQueue = 10'000'000;
constexpr std::size_t kWaitingMessages = 1000;      // of a source that can be held back
constexpr std::size_t kWaitingOnSchedule = 10'000;  // of a source that keeps a rate
constexpr std::size_t kMaxApplicationName = 28;     // bytes in the descriptor
constexpr std::size_t kLongestSetting = 400;        // a configuration line ends below 511
constexpr std::size_t kLongestUuid = NAME_MAX -
                                     std::string_view(layout::kEventTemplatesSuffix).size() -
                                     std::string_view(layout::kLockSuffix).size();
constexpr std::size_t kLongestBroker = 200;  // its label is part of a key of that line

constexpr std::size_t kQuotedText = 60;  // columns of a text in a message

bool isFolder(const fs::path& path) {
  std::error_code none;
  return fs::is_directory(path, none);
}

bool ascii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// The labels of one level, to find those that are used twice.
class Labels {
 public:
  void add(Section& section, std::string_view key, const std::string& label) {
    const toml::node* node = section.find(key);
    if (node == nullptr || label.empty()) return;
    const auto [first, isNew] = lines_.emplace(label, node->source().begin.line);
    if (isNew) return;
    section.note(*node, fmt::format("label \"{}\" is used twice, first in line {}; expected a "
                                    "label of its own",
                                    text::shortened(label, kQuotedText), first->second));
  }

 private:
  std::map<std::string, unsigned> lines_;
};

class FlowReader {
 public:
  FlowReader(const fs::path& path, const SourceReader& readSource)
      : readSource_(readSource),
        context_{path == "-" ? fs::current_path() : fs::absolute(path).parent_path(),
                 path == "-" ? "the flow file" : nullptr} {
    result_.file.path = path;
  }

  ReadResult read(std::string_view text) {
    if (auto finding = tooDeep(text)) {
      result_.findings.push_back(*std::move(finding));
    } else {
      parse(text);
    }
    std::stable_sort(result_.findings.begin(), result_.findings.end(),
                     [](const Finding& a, const Finding& b) { return a.place < b.place; });
    return std::move(result_);
  }

 private:
  void parse(std::string_view text) {
    try {
      const toml::table root = toml::parse(text);
      readRoot(root);
    } catch (const toml::parse_error& error) {
      const toml::source_position at = error.source().begin;
      result_.findings.push_back({{at.line, at.column}, syntaxText(error.description())});
    }
  }

  void readRoot(const toml::table& table) {
    Section root(table, "the file", result_.findings);
    if (const auto seed = root.integer("seed", 0, kMaxCount)) {
      result_.file.seed = static_cast<std::uint64_t>(*seed);
    }
    if (auto broker = root.child("broker", "[broker]")) {
      readBroker(*broker);
    } else if (!table.contains("broker")) {
      root.note("the file has no [broker]; expected one with a label");
    }
    Labels labels;
    for (Section& section : root.children("execution-group", "[[execution-group]]")) {
      readGroup(section, labels);
    }
    if (!table.contains("execution-group")) {
      root.note("the file has no [[execution-group]]; expected at least one");
    }
    result_.file.drills = readDrills(root, result_.file.groups);
    root.finish();
  }

  void readBroker(Section& section) {
    Broker& broker = result_.file.broker;
    broker.label = section.requiredText("label");
    if (!ascii(broker.label) || broker.label.find('/') != std::string::npos ||
        broker.label == "." || broker.label == ".." || broker.label.size() > kLongestBroker) {
      section.noteAt("label",
                     "the broker's label names a folder of the registry; expected at most 200 "
                     "printable ASCII characters without '/'");
    }
    broker.uuid = section.text("uuid");
    if (broker.uuid) {
      requireWord(section, "uuid", *broker.uuid, true);
      if (broker.uuid->size() > kLongestUuid) {
        section.noteAt("uuid", fmt::format("the names of key files begin with the UUID, and a "
                                           "file's name has an end; expected at most {} characters",
                                           kLongestUuid));
      }
    }
    if (const auto path = section.text("temp-directory")) readTempDirectory(section, *path);
    broker.memorySize = section.bytes("memory-size", layout::kSmallestArea, layout::kLargestArea);
    broker.activate = activation(section, "activate");
    broker.activateForBroker = activation(section, "activate-for-broker");
    broker.trace = section.boolean("trace").value_or(false);
    section.finish();
  }

  std::optional<std::string> activation(Section& section, std::string_view key) {
    return section.oneOf(
        key, {"NoOverride", "Yes", "No", "EventOnly", "InputOutputOnly", "InputOutputAndEventOnly"},
        true);
  }

  // The library reads one word of a setting and drops a "=" in front of it.
  void requireWord(Section& section, std::string_view key, const std::string& value, bool name) {
    const bool word = !value.empty() && ascii(value) && value.front() != '=' &&
                      value.find(' ') == std::string::npos && value.size() < kLongestSetting;
    if (word && !(name && value.find('/') != std::string::npos)) return;
    section.noteAt(
        key, fmt::format("'{}' is \"{}\", of which the nodes would take something "
                         "else; expected one word of printable ASCII characters{}",
                         key, text::shortened(value, kQuotedText), name ? " without '/'" : ""));
  }

  void readTempDirectory(Section& section, const std::string& text) {
    const fs::path path = context_.resolved(text);
    result_.file.broker.tempDirectory = path;
    requireWord(section, "temp-directory", path.string(), false);
    if (!isFolder(path)) noteMissing(section, "temp-directory", "folder", path);
  }

  void readGroup(Section& section, Labels& labels) {
    ExecutionGroup group;
    group.label = section.requiredText("label");
    labels.add(section, "label", group.label);
    group_ = group.label;
    Labels flowLabels;
    for (Section& flow : section.children("flow", "[[execution-group.flow]]")) {
      group.flows.push_back(readFlow(flow, flowLabels));
    }
    if (!section.has("flow")) {
      section.note("[[execution-group]] has no [[execution-group.flow]]; expected at least one");
    }
    section.finish();
    result_.file.groups.push_back(std::move(group));
  }

  Flow readFlow(Section& section, Labels& labels) {
    Flow flow;
    flow.label = section.requiredText("label");
    labels.add(section, "label", flow.label);
    flow_ = flow.label;
    flow.threads = static_cast<unsigned>(section.integer("threads", 1, kMaxThreads).value_or(1));
    if (auto input = section.child("input", "[execution-group.flow.input]")) {
      flow.input = readInput(*input);
    } else if (!section.has("input")) {
      section.note("[[execution-group.flow]] has no [execution-group.flow.input]; expected one");
    }
    Labels nodeLabels;
    for (Section& node : section.children("node", "[[execution-group.flow.node]]")) {
      readNode(node, nodeLabels, flow.nodes);
    }
    if (auto output = section.child("output", "[execution-group.flow.output]")) {
      flow.output = readOutput(*output);
    }
    section.finish();
    return flow;
  }

  Input readInput(Section& section) {
    Input input;
    if (readSource_) input.source = readSource_(section, context_);
    readSchedule(section, input);
    readDescriptor(section, input);
    if (readSource_) section.finish();
    return input;
  }

  void readSchedule(Section& section, Input& input) {
    constexpr double kSlowest = 0.001;
    constexpr double kFastest = 1e6;
    input.rate = section.number("rate", kSlowest, kFastest).value_or(0);
    if (const auto arrival = section.oneOf("arrival", {"constant", "poisson"})) {
      input.arrival = *arrival == "poisson" ? Input::Arrival::poisson : Input::Arrival::constant;
      if (!section.has("rate")) {
        section.noteAt("arrival", "'arrival' without 'rate'; expected both");
      }
    }
    const auto waiting = input.rate > 0 ? kWaitingOnSchedule : kWaitingMessages;
    input.queue = static_cast<std::size_t>(
        section.integer("queue", 1, kMaxQueue).value_or(static_cast<std::int64_t>(waiting)));
  }

  void readDescriptor(Section& section, Input& input) {
    input.application = section.text("application").value_or("zebhost");
    if (input.application.size() > kMaxApplicationName) {
      section.noteAt("application", fmt::format("'application' has {} bytes; expected at most {}",
                                                input.application.size(), kMaxApplicationName));
    }
    input.applicationType = static_cast<std::int32_t>(
        section.integer("application-type", INT32_MIN, INT32_MAX).value_or(0));
    input.lazy = section.oneOf("serialise", {"eager", "lazy"}).value_or("eager") == "lazy";
  }

  void readNode(Section& section, Labels& labels, std::vector<Node>& nodes) {
    const bool monitor = section.has("monitor");
    const bool work = section.has("work");
    if (monitor == work) {
      section.note("expected exactly one of monitor = \"label\" and work = \"label\" in a node");
    } else if (monitor) {
      nodes.emplace_back(readMonitor(section, labels));
    } else {
      nodes.emplace_back(readWork(section, labels, nodes));
    }
  }

  MonitorNode readMonitor(Section& section, Labels& labels) {
    Section attributes = section;
    MonitorNode node;
    node.label = attributes.requiredText("monitor");
    labels.add(attributes, "monitor", node.label);
    node.type =
        attributes.oneOf("type", {"input", "output", "subFlowInput", "subFlowOutput", "other"});
    node.eventMessage = attributes.text("eventMessage");
    node.collectQueueTime = attributes.oneOf("collectQueueTime", {"yes", "no"});
    node.subFlowName = attributes.text("subFlowName");
    node.activateNode = attributes.oneOf(
        "activateNode", {"yes", "no", "eventOnly", "inputOutputOnly", "inputOutputAndEventOnly"},
        true);
    attributes.finish("attribute");
    requireRoom(attributes, node);
    return node;
  }

  // The template of its event message, or of an empty text, holds all of the node's labels.
  void requireRoom(Section& section, const MonitorNode& node) {
    const std::uint64_t message = unitsOf(node.eventMessage.value_or(""));
    const std::uint64_t subFlow = unitsOf(node.subFlowName.value_or(""));
    const std::uint64_t label = unitsOf(node.label);
    requireRoom(section, message > label ? "eventMessage" : "monitor", "event template",
                templateBytes(labelUnits() + label + message));
    requireRoom(section, subFlow > label ? "subFlowName" : "monitor", "node record",
                nodeBytes(label + subFlow));
  }

  void requireRoom(Section& section, std::string_view key, const char* record,
                   std::uint64_t bytes) {
    const std::uint64_t room = roomIn(result_.file.broker.memorySize);
    if (bytes <= room) return;
    const std::string text = fmt::format(
        "the {} takes {} bytes, but an area has room for {}; expected shorter texts or "
        "a larger memory-size",
        record, bytes, room);
    section.has(key) ? section.noteAt(key, text) : section.note(text);
  }

  std::uint64_t labelUnits() const { return unitsOf(group_) + unitsOf(flow_); }

  WorkNode readWork(Section& section, Labels& labels, const std::vector<Node>& before) {
    WorkNode node;
    node.label = section.requiredText("work");
    labels.add(section, "work", node.label);
    node.latency = section.durations("latency").value_or(Distribution{});
    if (auto failure = section.child("failure", "failure")) {
      node.failure = readFailure(*failure, node.label);
      requireRoom(*failure, *node.failure, before);
    }
    section.finish();
    return node;
  }

  // Every monitoring node before a failure posts it: the one with the longest label needs most.
  void requireRoom(Section& section, const Failure& failure, const std::vector<Node>& before) {
    std::uint64_t longest = 0;
    for (const Node& node : before) {
      if (std::holds_alternative<MonitorNode>(node)) {
        longest = std::max(longest, unitsOf(labelOf(node)));
      }
    }
    if (longest == 0) return;
    std::uint64_t units = 0;
    for (const std::string& text : failure.texts) {
      units = std::max(units, exceptionUnits(failure.origin, failure.code, text));
    }
    requireRoom(section, "text", "event template", templateBytes(labelUnits() + longest + units));
  }

  Failure readFailure(Section& section, const std::string& label) {
    Failure failure;
    failure.probability = section.number("probability", 0, 1).value_or(0);
    failure.every = static_cast<std::uint64_t>(section.integer("every", 1, kMaxCount).value_or(0));
    if (!section.has("probability") && !section.has("every")) {
      section.note("a failure that never happens; expected probability, every, or both");
    }
    failure.origin = section.text("origin").value_or(label);
    failure.code = section.text("code").value_or("1");
    readTexts(section, failure.texts);
    section.finish();
    return failure;
  }

  void readTexts(Section& section, std::vector<std::string>& texts) {
    const toml::node* node = section.find("text");
    if (node != nullptr && node->is_array()) {
      for (const toml::node& element : *node->as_array()) {
        const auto text = element.value_exact<std::string>();
        if (!text) section.note(element, "'text' holds something else than strings");
        texts.push_back(text.value_or(""));
      }
      if (texts.empty()) section.note(*node, "'text' is empty; expected at least one string");
    } else {
      texts.push_back(section.text("text").value_or("The working node failed the message"));
    }
  }

  std::optional<Output> readOutput(Section& section) {
    const std::string text = section.requiredText("lines");
    section.finish();
    if (text.empty()) return std::nullopt;
    const fs::path path = context_.resolved(text);
    const fs::path folder = path.parent_path();
    if (!isFolder(folder)) noteMissing(section, "lines", "folder", folder);
    if (isFolder(path)) noteMissing(section, "lines", "file", path);
    return Output{path, section.placeOf("lines")};
  }

  const SourceReader& readSource_;
  Context context_;
  ReadResult result_;
  std::string group_;  // labels of what is being read
  std::string flow_;
};

}  // namespace

const std::string& labelOf(const Node& node) {
  return std::visit([](const auto& any) -> const std::string& { return any.label; }, node);
}

fs::path Context::resolved(const std::string& text) const {
  return (folder / text).lexically_normal();
}

void noteMissing(Section& section, std::string_view key, const char* kind, const fs::path& path) {
  std::error_code none;
  const char* const text = !fs::exists(path, none) ? "no {1} {0}; expected one that exists"
                           : isFolder(path)        ? "{} is a folder; expected a {}"
                                                   : "{} is no folder; expected one";
  section.noteAt(key, fmt::format(fmt::runtime(text), path.string(), kind));
}

ReadResult read(std::string_view text, const fs::path& path, const SourceReader& readSource) {
  return FlowReader(path, readSource).read(text);
}

}  // namespace flowfile
