// SPDX-License-Identifier: Apache-2.0
// What the host itself counts, in memory that all processes of a run share. It is what --verify
// holds against the nodes' own statistics, so it owes nothing to the plug-in.
#ifndef ZEB_HOST_RUN_TALLY_H
#define ZEB_HOST_RUN_TALLY_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "flowfile/file.h"

namespace host {

// Of one node, monitoring or working. Several threads and processes count at once and nothing is
// locked: a reader may see one count without the other while messages flow.
struct NodeCount {
  // Messages that reached the node, and those of them that left it with an exception.
  std::atomic<std::uint64_t> messages;
  std::atomic<std::uint64_t> failures;
  // Bytes of their bit streams, descriptors included: of all, of the largest, and of the smallest,
  // which is UINT64_MAX before the first message.
  std::atomic<std::uint64_t> bytes;
  std::atomic<std::uint64_t> largest;
  std::atomic<std::uint64_t> smallest;

  // Counts one message of so many bytes.
  void add(std::uint64_t size);
};

// Of one message flow.
struct FlowCount {
  // Messages that were put into the queue; that ran to the end of the flow; that ended in an
  // exception.
  std::atomic<std::uint64_t> entered;
  std::atomic<std::uint64_t> handled;
  std::atomic<std::uint64_t> failed;
  // Exceptions that a monitoring node did not re-raise. The host raised them then.
  std::atomic<std::uint64_t> swallowed;
  // Milliseconds by which the latest message was behind the schedule; 0 without a rate.
  std::atomic<std::uint64_t> lagMillis;

  // Messages that have left the flow, one way or the other.
  std::uint64_t done() const { return handled + failed; }
};

// Of the whole run: log calls by message number, trace entries (0) in front. Numbers above the last
// count as the last.
struct LogCount {
  static constexpr int kNumbers = 4;
  std::array<std::atomic<std::uint64_t>, kNumbers> byNumber;
};

// All counts of a run, by the places of groups, flows and nodes in the flow file. Nothing checks
// these.
class Tally {
 public:
  // Made before any process is forked, with all counts at 0. Throws std::system_error without
  // memory.
  explicit Tally(const flowfile::File& file);
  ~Tally();
  Tally(const Tally&) = delete;
  Tally& operator=(const Tally&) = delete;

  // References live as long as the tally. A forked process sees the same counts.
  LogCount& log() { return *log_; }
  FlowCount& flow(std::size_t group, std::size_t flow) { return *at(group, flow).flow; }
  NodeCount& node(std::size_t group, std::size_t flow, std::size_t node) {
    return at(group, flow).nodes[node];
  }
  const LogCount& log() const { return *log_; }
  const FlowCount& flow(std::size_t group, std::size_t flow) const { return *at(group, flow).flow; }
  const NodeCount& node(std::size_t group, std::size_t flow, std::size_t node) const {
    return at(group, flow).nodes[node];
  }

 private:
  struct Place {
    FlowCount* flow;
    NodeCount* nodes;
  };

  const Place& at(std::size_t group, std::size_t flow) const { return places_[group][flow]; }

  void* memory_;
  std::size_t bytes_;
  LogCount* log_;
  std::vector<std::vector<Place>> places_;
};

// Makes `value` at least, or at most, the candidate. Other threads and processes may do so at once.
void raiseTo(std::atomic<std::uint64_t>& value, std::uint64_t candidate);
void lowerTo(std::atomic<std::uint64_t>& value, std::uint64_t candidate);

}  // namespace host

#endif  // ZEB_HOST_RUN_TALLY_H
