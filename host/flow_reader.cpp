// SPDX-License-Identifier: Apache-2.0
#include "host/flow_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "host/toml_section.h"

namespace host {

const std::string& labelOf(const Node& node) {
  return std::visit([](const auto& any) -> const std::string& { return any.label; }, node);
}

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kMaxThreads = 256;
constexpr std::int64_t kMaxCount = 1'000'000'000'000;
constexpr double kMaxBody = 256.0 * 1024 * 1024;
constexpr std::int64_t kMaxQueue = 10'000'000;
constexpr std::size_t kWaitingMessages = 1000;      // of a source that can be held back
constexpr std::size_t kWaitingOnSchedule = 10'000;  // of a source that keeps a rate
constexpr std::size_t kMaxApplicationName = 28;     // bytes in the descriptor
constexpr std::size_t kLongestSetting = 400;        // a configuration line ends below 511
constexpr std::int64_t kSmallestMemory = 4096;      // anything less silently becomes this
constexpr std::int64_t kLargestMemory = 2147483647;

bool printable(std::string_view text) {
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
                                    label, first->second));
  }

 private:
  std::map<std::string, unsigned> lines_;
};

class FlowReader {
 public:
  explicit FlowReader(const fs::path& path) : folder_(fs::absolute(path).parent_path()) {
    result_.file.path = path;
  }

  ReadResult read(std::string_view text) {
    try {
      const toml::table root = toml::parse(text);
      readRoot(root);
    } catch (const toml::parse_error& error) {
      const toml::source_position at = error.source().begin;
      result_.findings.push_back(
          {at.line, at.column, fmt::format("syntax error: {}", error.description())});
    }
    std::stable_sort(result_.findings.begin(), result_.findings.end(),
                     [](const Finding& a, const Finding& b) {
                       return std::pair(a.line, a.column) < std::pair(b.line, b.column);
                     });
    return std::move(result_);
  }

 private:
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
    root.finish();
  }

  void readBroker(Section& section) {
    Broker& broker = result_.file.broker;
    broker.label = section.requiredText("label");
    if (!printable(broker.label) || broker.label.find('/') != std::string::npos ||
        broker.label == "." || broker.label == ".." || broker.label.size() > kLongestSetting / 2) {
      section.note(*section.find("label"),
                   "the broker's label names a folder of the registry; expected printable ASCII "
                   "characters without '/'");
    }
    broker.uuid = section.text("uuid");
    if (broker.uuid) requireWord(section, "uuid", *broker.uuid, true);
    if (const auto path = section.text("temp-directory")) readTempDirectory(section, *path);
    broker.memorySize = section.bytes("memory-size", kSmallestMemory, kLargestMemory);
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
    const bool word = !value.empty() && printable(value) && value.front() != '=' &&
                      value.find(' ') == std::string::npos && value.size() < kLongestSetting;
    if (word && !(name && value.find('/') != std::string::npos)) return;
    section.note(
        *section.find(key),
        fmt::format("'{}' is \"{}\", of which the nodes would take something else; expected "
                    "one word of printable ASCII characters{}",
                    key, value, name ? " without '/'" : ""));
  }

  void readTempDirectory(Section& section, const std::string& text) {
    const fs::path path = resolved(text);
    result_.file.broker.tempDirectory = path;
    requireWord(section, "temp-directory", path.string(), false);
    if (!fs::is_directory(path)) {
      section.note(*section.find("temp-directory"),
                   fmt::format("no folder {}; expected one that exists", path.string()));
    }
  }

  void readGroup(Section& section, Labels& labels) {
    ExecutionGroup group;
    group.label = section.requiredText("label");
    labels.add(section, "label", group.label);
    Labels flowLabels;
    for (Section& flow : section.children("flow", "[[execution-group.flow]]")) {
      group.flows.push_back(readFlow(flow, flowLabels));
    }
    if (section.find("flow") == nullptr) {
      section.note("[[execution-group]] has no [[execution-group.flow]]; expected at least one");
    }
    section.finish();
    result_.file.groups.push_back(std::move(group));
  }

  Flow readFlow(Section& section, Labels& labels) {
    Flow flow;
    flow.label = section.requiredText("label");
    labels.add(section, "label", flow.label);
    flow.threads = static_cast<unsigned>(section.integer("threads", 1, kMaxThreads).value_or(1));
    if (auto input = section.child("input", "[execution-group.flow.input]")) {
      flow.input = readInput(*input);
    } else if (section.find("input") == nullptr) {
      section.note("[[execution-group.flow]] has no [execution-group.flow.input]; expected one");
    }
    Labels nodeLabels;
    for (Section& node : section.children("node", "[[execution-group.flow.node]]")) {
      readNode(node, nodeLabels, flow.nodes);
    }
    if (auto output = section.child("output", "[execution-group.flow.output]")) {
      readOutput(*output, flow);
    }
    section.finish();
    return flow;
  }

  Input readInput(Section& section) {
    Input input;
    const auto lines = section.text("lines");
    const auto files = section.text("files");
    auto generated = section.child("generated", "generated");
    if ((lines ? 1 : 0) + (files ? 1 : 0) + (generated ? 1 : 0) != 1) {
      section.note("expected exactly one of lines, files, generated");
    } else if (lines) {
      readLines(section, *lines, input);
    } else if (files) {
      input.kind = Input::Kind::files;
      input.path = resolved(*files);
      if (!fs::is_directory(input.path)) missing(section, "files", "folder", input.path);
    }
    if (generated) readGenerated(*generated, input);
    input.repeat = static_cast<std::uint64_t>(section.integer("repeat", 1, kMaxCount).value_or(1));
    if ((generated || input.standardInput()) && section.find("repeat") != nullptr) {
      section.note(*section.find("repeat"), "'repeat' goes with a file or a folder only");
    }
    readSchedule(section, input);
    readDescriptor(section, input);
    section.finish();
    return input;
  }

  void readLines(Section& section, const std::string& text, Input& input) {
    input.kind = Input::Kind::lines;
    input.path = text == "-" ? fs::path(text) : resolved(text);
    if (!input.standardInput()) {
      if (!fs::exists(input.path) || fs::is_directory(input.path)) {
        missing(section, "lines", "file", input.path);
      }
      return;
    }
    if (standardInputTaken_) {
      section.note(*section.find("lines"),
                   "standard input feeds another flow already; expected a "
                   "file");
    }
    standardInputTaken_ = true;
  }

  void readGenerated(Section& section, Input& input) {
    input.kind = Input::Kind::generated;
    input.count = static_cast<std::uint64_t>(section.integer("count", 1, kMaxCount).value_or(0));
    input.size = section.sizes("size", kMaxBody)
                     .value_or(Distribution{Distribution::Kind::constant, 100, 0});
    section.finish();
  }

  void readSchedule(Section& section, Input& input) {
    constexpr double kSlowest = 0.001;
    constexpr double kFastest = 1e6;
    input.rate = section.number("rate", kSlowest, kFastest).value_or(0);
    if (const auto arrival = section.oneOf("arrival", {"constant", "poisson"})) {
      input.arrival = *arrival == "poisson" ? Input::Arrival::poisson : Input::Arrival::constant;
      if (section.find("rate") == nullptr) {
        section.note(*section.find("arrival"), "'arrival' without 'rate'; expected both");
      }
    }
    const auto waiting = input.rate > 0 ? kWaitingOnSchedule : kWaitingMessages;
    input.queue = static_cast<std::size_t>(
        section.integer("queue", 1, kMaxQueue).value_or(static_cast<std::int64_t>(waiting)));
  }

  void readDescriptor(Section& section, Input& input) {
    input.application = section.text("application").value_or("zebhost");
    if (input.application.size() > kMaxApplicationName) {
      section.note(*section.find("application"),
                   fmt::format("'application' has {} bytes; expected at most {}",
                               input.application.size(), kMaxApplicationName));
    }
    input.applicationType = static_cast<std::int32_t>(
        section.integer("application-type", INT32_MIN, INT32_MAX).value_or(0));
    input.lazy = section.oneOf("serialise", {"eager", "lazy"}).value_or("eager") == "lazy";
  }

  void readNode(Section& section, Labels& labels, std::vector<Node>& nodes) {
    const bool monitor = section.find("monitor") != nullptr;
    const bool work = section.find("work") != nullptr;
    if (monitor == work) {
      section.note("expected exactly one of monitor = \"label\" and work = \"label\" in a node");
    } else if (monitor) {
      nodes.emplace_back(readMonitor(section, labels));
    } else {
      nodes.emplace_back(readWork(section, labels));
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
    return node;
  }

  WorkNode readWork(Section& section, Labels& labels) {
    WorkNode node;
    node.label = section.requiredText("work");
    labels.add(section, "work", node.label);
    node.latency = section.durations("latency").value_or(Distribution{});
    if (auto failure = section.child("failure", "failure")) {
      node.failure = readFailure(*failure, node.label);
    }
    section.finish();
    return node;
  }

  Failure readFailure(Section& section, const std::string& label) {
    Failure failure;
    failure.probability = section.number("probability", 0, 1).value_or(0);
    failure.every = static_cast<std::uint64_t>(section.integer("every", 1, kMaxCount).value_or(0));
    if (section.find("probability") == nullptr && section.find("every") == nullptr) {
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

  void readOutput(Section& section, Flow& flow) {
    flow.output = resolved(section.requiredText("lines"));
    const fs::path folder = flow.output.parent_path();
    if (!fs::is_directory(folder)) missing(section, "lines", "folder", folder);
    section.finish();
  }

  void missing(Section& section, std::string_view key, const char* kind, const fs::path& path) {
    section.note(*section.find(key),
                 fmt::format("no {} {}; expected one that exists", kind, path.string()));
  }

  fs::path resolved(const std::string& text) const { return (folder_ / text).lexically_normal(); }

  fs::path folder_;
  ReadResult result_;
  bool standardInputTaken_ = false;
};

}  // namespace

ReadResult readFlows(std::string_view text, const std::filesystem::path& path) {
  return FlowReader(path).read(text);
}

std::string findingText(const std::filesystem::path& path, const Finding& finding) {
  return fmt::format("{}:{}:{}: {}", path.string(), finding.line, finding.column, finding.text);
}

}  // namespace host
