// SPDX-License-Identifier: Apache-2.0
// How much fits into shared memory, how much is needed, and when it will be full. All sizes are in
// bytes; an area's size, "ZEBMemorySize", includes its header. Texts are counted in 16-bit units.
#ifndef ZEB_AGENT_MODEL_CAPACITY_H
#define ZEB_AGENT_MODEL_CAPACITY_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/model/snapshot.h"
#include "flowfile/file.h"
#include "format/sizes.h"

namespace model {

// A node to be deployed.
struct NewNode {
  std::uint64_t units = 0;       // of its label and sub-flow name
  std::uint64_t flowUnits = 0;   // of its flow's label
  std::uint64_t groupUnits = 0;  // of its group's label
  bool newFlow = false;          // the flow is not there yet
  bool newGroup = false;         // nor is the group
};

// How many such nodes of one flow an area still has room for. A node whose record fits and whose
// statistics don't is not counted: nobody would see its figures.
std::uint64_t roomFor(const NewNode& node, const reader::Area& statistics);

// What such a node takes of the statistics area, with what is new around it.
std::uint64_t bytesOf(const NewNode& node);

// Units of label and sub-flow name of the largest node that the broker has; 16 when it has none.
std::uint64_t largestNode(const SeenBroker& broker);

// A node like that, in a flow and a group whose labels are as long as the longest there.
NewNode largestNewNode(const SeenBroker& broker);

// Units of the longest text that an event template in an area of that size can have, its group's,
// flow's and node's labels included. A longer one would be tried again without end.
std::uint64_t longestText(std::uint32_t area);

// How many events an area of that size holds before new ones take their place.
std::uint64_t eventsIn(std::uint32_t area);

// The largest "ZEBMemorySize". Above it the segment's size wraps, so it is too small for its areas.
inline constexpr std::uint32_t kLargestArea = layout::kLargestUnwrapped;

// What is to be in shared memory.
struct Plan {
  std::uint64_t groups = 0;
  std::uint64_t nodes = 0;
  std::uint64_t records = 0;      // of broker, groups, flows and nodes, with statistics
  std::uint64_t templates = 0;    // one of each event message and each exception
  std::uint64_t longestText = 0;  // units in the largest template
  double eventsPerSecond = 0;     // all nodes together
  double keepSeconds = 0;         // how long an event shall stay before it is overwritten
  bool rateUnknown = false;       // some flow runs as fast as it can
};

// So many nodes with labels of so many units, in one flow of one group of a broker. All labels are
// taken to be as long, and the broker's uuid to be one of 36 units.
Plan planOf(std::uint64_t nodes, std::uint64_t labelUnits);

// What a flow file makes the library store when all of its nodes are active.
Plan planOf(const flowfile::File& file);

struct Need {
  std::uint64_t records = 0;  // in each area, without its header
  std::uint64_t templates = 0;
  std::uint64_t events = 0;
  std::uint64_t area = 0;     // "ZEBMemorySize" that fits all of them
  std::uint64_t segment = 0;  // what the broker's segment takes then
  bool tooMuch = false;       // no size up to kLargestArea is large enough
};

// Nothing overflows: what is more than 64 bits counts as the largest number.
Need needOf(const Plan& plan);

// One of the kernel's limits beside what a plan needs of it.
struct KernelNeed {
  std::string name;             // "kernel.shmmax"; a number of kernel.sem by its place behind it
  std::uint64_t needed = 0;     //
  reader::Limits::Count used;   // by what is there already; nothing where limits don't add up
  reader::Limits::Count limit;  // nothing when it can't be read

  // True also when nobody knows.
  bool enough() const;
};

// Of the kernel, for one broker that is not there yet: one lock a node's statistics, one a process,
// one of the segment and one of each area.
std::vector<KernelNeed> kernelNeeds(const Plan& plan, const Need& need,
                                    const reader::Limits& limits);

// Time until `used` bytes of an area have grown to its size, at the growth seen from a look before.
// Nothing while it doesn't grow, or when that takes more than a thousand years.
using Seconds = std::chrono::duration<double>;
std::optional<Seconds> untilFull(std::uint64_t usedBefore, std::uint64_t used, std::uint64_t size,
                                 Seconds interval);

// How an area filled up over a time that somebody recorded. Times are milliseconds since 1970.
struct AreaGrowth {
  std::int64_t from = 0;
  std::int64_t until = 0;
  std::uint64_t before = 0;  // bytes in use then
  std::uint64_t used = 0;    // and at the end
  std::uint64_t size = 0;

  // What less than a day tells would be a guess.
  bool isEnough() const;

  // Nothing when that is not enough, or it doesn't grow.
  std::optional<Seconds> untilFull() const;
};

// That of one segment between two looks, of which the second was at `until`, in milliseconds since
// 1970, and `time` after the first. Nothing when it is another segment, or its area isn't there at
// both.
std::optional<AreaGrowth> growthBetween(const SeenBroker& before, const SeenBroker& after,
                                        std::int64_t until, Seconds time);

// The count at which the library resets all statistics, and the time until a node's count is there.
inline constexpr std::int64_t kForcedReset = 2147483647;
std::optional<Seconds> untilForcedReset(reader::Number before, reader::Number now,
                                        Seconds interval);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_CAPACITY_H
