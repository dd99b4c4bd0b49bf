// SPDX-License-Identifier: Apache-2.0
// What a follower of events can't show: gaps between two looks, and how many events are in them.
#ifndef ZEB_AGENT_MODEL_GAPS_H
#define ZEB_AGENT_MODEL_GAPS_H

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "agent/model/flow_view.h"
#include "agent/model/missed.h"
#include "agent/model/snapshot.h"

namespace model {

// Events that were posted and not seen, between those of one look and those of the next.
struct Gap {
  enum class Cause {
    overwritten,  // the ring turned
    restart,  // the broker's shared memory is another one: its last events may have gone with it
  };

  Cause cause = Cause::overwritten;

  // Of which node, by labels as they were stored; all empty: of all of the broker's. What is told
  // of nodes is a part of what is told of the broker.
  std::string group = {};
  std::string flow = {};
  std::string node = {};

  Missed missed = {};
  std::uint64_t perTurn = 0;  // so many more for each further turn of the ring; 0: not known

  bool operator==(const Gap&) const = default;
};

// Message counts by the IDs of statistics records; unknown where one is damaged or was torn.
using MessageCounts = std::unordered_map<reader::RecordId, reader::Number, reader::RecordIdHash>;
MessageCounts messageCountsOf(const reader::Broker& tree);

// One look at a broker whose nodes were counted before its events were copied, and again after:
// that is in the broker's tree.
struct CountedLook {
  std::shared_ptr<const SeenBroker> broker;  // never null
  MessageCounts before;
  std::chrono::system_clock::time_point wall;
};

// Follows one broker from look to look.
class GapCounter {
 public:
  // Events that a look between two counted ones brought. They must have no gap before them.
  void see(std::span<const reader::Event> events);

  // The gaps before the events of this look, `batch`; none where there can't be any. `known` may
  // tell the threads of flows. Without these a count is only said of nodes that are quiet: for
  // longer than any message of the node took since the reset, nothing was posted and nothing
  // counted.
  std::vector<Gap> count(const CountedLook& look, const reader::EventLog::Batch& batch,
                         const FlowKnowledge& known);

 private:
  using Place = std::tuple<std::string, std::string, std::string>;  // group, flow, node

  // Message events of one template, which is of one node.
  struct Followed {
    std::shared_ptr<const reader::EventTemplate> origin;
    std::uint64_t seen = 0;   // since the last counted look
    std::int64_t newest = 0;  // when the newest of all was posted, in seconds since 1970
  };

  // The same of all templates of a node.
  struct Seen {
    std::uint64_t events = 0;
    std::int64_t newest = 0;
  };

  std::vector<Gap> nodeGaps(const CountedLook& look, const FlowKnowledge& known) const;
  Missed missedOfNode(const CountedLook& look, const NodeGrowth& node, const Seen& seen,
                      std::optional<unsigned> threads) const;
  std::map<Place, Seen> seenByPlace() const;
  void goOn(const CountedLook& look);

  std::unordered_map<reader::RecordId, Followed, reader::RecordIdHash> templates_;
  bool allGiven_ = true;                  // since the last counted look
  std::optional<std::int64_t> newestMs_;  // when the newest event was made; nothing: there was none
  std::optional<CountedLook> last_;
  std::optional<std::int64_t> newestOfLastMs_;  // the same at the last counted look
};

}  // namespace model

#endif  // ZEB_AGENT_MODEL_GAPS_H
