// SPDX-License-Identifier: Apache-2.0
#include "host/cost/variants.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <variant>

#include "host/sources/source.h"

namespace host {
namespace {

namespace fs = std::filesystem;

bool isMonitor(const flowfile::Node& node) {
  return std::holds_alternative<flowfile::MonitorNode>(node);
}

bool hasContent(const fs::path& path) {
  std::error_code error;
  const bool empty = fs::is_empty(path, error);
  return !error && !empty;
}

bool isReplaced(const Lines& lines) {
  std::error_code error;
  return lines.standardInput() || !fs::is_regular_file(lines.path, error) ||
         !hasContent(lines.path);
}

bool isReplaced(const Files& files) {
  return !hasContent(files.path);
}

bool isReplaced(const Generated&) {
  return false;
}

SourceSettings repeated(SourceSettings settings) {
  const bool replaced = std::visit([](const auto& source) { return isReplaced(source); }, settings);
  if (replaced) settings = Generated{0, {flowfile::Distribution::Kind::constant, 100, 0}};
  return withoutEnd(std::move(settings));
}

template <typename Change>
flowfile::File changed(flowfile::File file, const Change& change) {
  for (flowfile::ExecutionGroup& group : file.groups) {
    for (flowfile::Flow& flow : group.flows) change(flow);
  }
  return file;
}

double usualMost(const flowfile::Distribution& distribution) {
  return distribution.kind == flowfile::Distribution::Kind::uniform ? distribution.second
                                                                    : distribution.first;
}

}  // namespace

// So few wait that a round ends soon after its time.
flowfile::File endless(flowfile::File file) {
  file.drills.clear();
  return changed(std::move(file), [](flowfile::Flow& flow) {
    flow.input.source = repeated(settingsOf(flow.input));
    flow.input.queue = std::min<std::size_t>(flow.input.queue, flow.threads);
    flow.output.reset();
  });
}

std::vector<std::string> replacedInputs(const flowfile::File& file) {
  std::vector<std::string> replaced;
  for (const flowfile::ExecutionGroup& group : file.groups) {
    for (const flowfile::Flow& flow : group.flows) {
      const bool other =
          std::visit([](const auto& source) { return isReplaced(source); }, settingsOf(flow.input));
      if (other) replaced.push_back(group.label + "/" + flow.label);
    }
  }
  return replaced;
}

flowfile::Flow withoutMonitors(flowfile::Flow flow) {
  std::erase_if(flow.nodes, isMonitor);
  return flow;
}

flowfile::File withoutMonitors(flowfile::File file) {
  return changed(std::move(file),
                 [](flowfile::Flow& flow) { flow = withoutMonitors(std::move(flow)); });
}

flowfile::Flow bare(flowfile::Flow flow) {
  flow.input.rate = 0;
  for (flowfile::Node& node : flow.nodes) {
    if (auto* const work = std::get_if<flowfile::WorkNode>(&node)) {
      work->latency = {};
      work->failure.reset();
    }
  }
  return flow;
}

std::size_t monitorsOf(const flowfile::Flow& flow) {
  return static_cast<std::size_t>(std::ranges::count_if(flow.nodes, isMonitor));
}

double longestWay(const flowfile::File& file) {
  double longest = 0;
  for (const flowfile::ExecutionGroup& group : file.groups) {
    for (const flowfile::Flow& flow : group.flows) {
      double way = 0;
      for (const flowfile::Node& node : flow.nodes) {
        if (const auto* const work = std::get_if<flowfile::WorkNode>(&node)) {
          way += usualMost(work->latency);
        }
      }
      longest = std::max(longest, way);
    }
  }
  return longest;
}

}  // namespace host
