// SPDX-License-Identifier: Apache-2.0
// Draws the operations of a sequence. The same seed and setting give the same sequence.
#ifndef ZEB_TESTS_REFERENCE_SEQUENCE_H
#define ZEB_TESTS_REFERENCE_SEQUENCE_H

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/reference/model.h"

namespace reference {

struct Setting {
  int processes = 1;
  std::vector<std::uint32_t> areaSizes{32768};
  int longestLabel = 3;  // units of a label; long ones fill a small area soon
  // Of a hundred deeds of strangers, how many give a record another label, and how many of the
  // others give it the ID of another record.
  std::size_t strange = 3;
};

class Sequence {
 public:
  Sequence(std::uint64_t seed, const Setting& setting);

  std::uint32_t areaSize() const { return areaSize_; }
  // The next operation, drawn with a look at what there is; nothing at the end, when every instance
  // is deleted.
  std::optional<Operation> next(const Model& model);

 private:
  // What an earlier draw has decided to happen next.
  struct Due {
    Kind kind;
    int instance;
  };

  Operation draw(const Model& model);
  Operation create();
  Operation deploy(const Model& model, int instance, int busy = -1);
  Operation send(const Model& model, int instance);
  Operation end(const Model& model, int instance);
  Operation otherwise(const Model& model, int busy);
  std::optional<Operation> raiseCount(const Model& model);
  std::optional<Operation> disturb(const Model& model);
  void disturbRecord(Operation& operation, const Area& area);
  NodePlan drawPlan();

  Operation of(Kind kind, const Model& model, int instance) const;
  std::int64_t drawTime(std::int64_t now);
  // A number from 0 to n - 1, and whether one of a hundred is below n.
  std::size_t below(std::size_t n);
  bool in100(std::size_t n) { return below(100) < n; }
  template <class Items>
  const auto& any(const Items& items) {
    return *std::next(std::begin(items), static_cast<std::ptrdiff_t>(below(std::size(items))));
  }
  // Any instance but `busy` that is deployed or not; -1 when there is none.
  int anyInstance(const Model& model, bool deployed, int busy = -1);
  std::vector<std::size_t> recordsOfType(const Area& area, std::uint32_t type) const;

  std::mt19937_64 random_;
  const int processes_;
  const std::size_t strange_;
  std::uint32_t areaSize_;
  std::vector<std::string> brokers_;
  std::vector<std::string> groups_;
  std::vector<std::string> flows_;
  std::vector<std::string> labels_;
  std::size_t left_;  // operations before the instances are deleted
  int instances_ = 0;
  std::vector<Due> due_;
};

}  // namespace reference

#endif  // ZEB_TESTS_REFERENCE_SEQUENCE_H
