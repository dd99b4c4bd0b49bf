// SPDX-License-Identifier: Apache-2.0
#include "host/run/tally.h"

#include <sys/mman.h>

#include <cerrno>
#include <new>
#include <system_error>

namespace host {

static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "processes share these");

void raiseTo(std::atomic<std::uint64_t>& value, std::uint64_t candidate) {
  std::uint64_t known = value.load();
  while (known < candidate && !value.compare_exchange_weak(known, candidate)) {
  }
}

void lowerTo(std::atomic<std::uint64_t>& value, std::uint64_t candidate) {
  std::uint64_t known = value.load();
  while (known > candidate && !value.compare_exchange_weak(known, candidate)) {
  }
}

void NodeCount::add(std::uint64_t size) {
  ++messages;
  bytes += size;
  raiseTo(largest, size);
  lowerTo(smallest, size);
}

Tally::Tally(const flowfile::File& file) {
  bytes_ = sizeof(LogCount);
  for (const flowfile::ExecutionGroup& group : file.groups) {
    for (const flowfile::Flow& flow : group.flows) {
      bytes_ += sizeof(FlowCount) + flow.nodes.size() * sizeof(NodeCount);
    }
  }
  memory_ = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory_ == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");

  auto* at = static_cast<std::byte*>(memory_);
  const auto place = [&at]<typename T>(T*& made) {
    made = new (at) T{};
    at += sizeof(T);
  };
  place(log_);
  for (const flowfile::ExecutionGroup& group : file.groups) {
    auto& flows = places_.emplace_back();
    for (const flowfile::Flow& flow : group.flows) {
      Place& counts = flows.emplace_back();
      place(counts.flow);
      counts.nodes = reinterpret_cast<NodeCount*>(at);
      for (std::size_t i = 0; i < flow.nodes.size(); ++i) {
        NodeCount* node = nullptr;
        place(node);
        node->smallest = UINT64_MAX;
      }
    }
  }
}

Tally::~Tally() {
  munmap(memory_, bytes_);
}

}  // namespace host
