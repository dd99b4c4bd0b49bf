// SPDX-License-Identifier: Apache-2.0
#include "tests/agent/grown.h"

#include <array>
#include <cstring>

reader::RecordId recordId(std::uint32_t type, std::uint32_t number) {
  const std::array<std::uint32_t, 4> numbers{type, 1000, 1, number};
  std::array<std::uint8_t, reader::RecordId::kBytes> bytes;
  std::memcpy(bytes.data(), numbers.data(), bytes.size());
  return reader::RecordId(bytes);
}

reader::Node nodeWith(const std::string& label, std::uint32_t number, const Look& look) {
  reader::Node node;
  node.label = label;
  node.type = 3;
  node.recordId = recordId(5, number);
  node.statistics = reader::Statistics{};
  reader::Statistics& s = *node.statistics;
  s.recordId = recordId(6, number);
  s.messageCount = look.messages;
  s.sumSize = look.bytes;
  s.sumElapsed = look.elapsed;
  s.sumQueued = look.queued;
  s.maxSize = s.maxElapsed = s.maxQueued = 20;
  s.minSize = s.minElapsed = s.minQueued = 10;
  s.firstCollection = 1000;
  s.lastCollection = 2000;
  return node;
}

GrownFlow::GrownFlow(const std::vector<Grown>& nodes) : growth_{"orders", "Fulfil", {}} {
  std::uint32_t number = 0;
  for (const Grown& grown : nodes) {
    ++number;
    for (const Look* look : {&grown.before, &grown.after}) {
      reader::Node node = nodeWith(grown.label, number, *look);
      node.type = grown.type;
      node.deleted = grown.deleted;
      node.statistics->maxElapsed = grown.maxElapsed;
      nodes_.push_back(std::make_unique<reader::Node>(std::move(node)));
    }
    const auto& after = nodes_.back();
    growth_.nodes.push_back(model::growthOf(*nodes_[nodes_.size() - 2], *after, false));
  }
}
