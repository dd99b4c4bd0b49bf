// SPDX-License-Identifier: Apache-2.0
// What is wrong in a segment, and where.
#ifndef ZEB_AGENT_READER_DAMAGE_H
#define ZEB_AGENT_READER_DAMAGE_H

#include <cstdint>
#include <string>
#include <vector>

namespace reader {

struct Damage {
  std::string area;      // "segment", "statistics", "eventTemplates" or "eventData"
  std::uint64_t offset;  // bytes from the start of that area
  std::string reason;
  bool orphan = false;  // a record whose parent is not there: it may not have fitted
};

// Hostile bytes can be wrong in millions of places: the list stops growing at kMost.
class DamageList {
 public:
  static constexpr std::size_t kMost = 100;

  void add(std::string area, std::uint64_t offset, std::string reason, bool orphan = false) {
    if (list_.size() < kMost) list_.push_back({std::move(area), offset, std::move(reason), orphan});
  }
  bool empty() const { return list_.empty(); }
  const std::vector<Damage>& list() const { return list_; }

 private:
  std::vector<Damage> list_;
};

}  // namespace reader

#endif  // ZEB_AGENT_READER_DAMAGE_H
