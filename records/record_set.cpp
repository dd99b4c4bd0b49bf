// SPDX-License-Identifier: Apache-2.0
#include "records/record_set.h"

#include <new>
#include <span>
#include <utility>

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcrcst";

// A tree is rebuilt with a few steps for each record; some records of one ID may come on top.
constexpr std::size_t kStepsOfEach = 16;
constexpr std::size_t kStepsOfAll = 10000;

ZEB_Record* takeFirst(std::span<ZEB_Record* const>& left) {
  if (left.empty()) return nullptr;
  ZEB_Record* const first = left.front();
  left = left.subspan(1);
  return first;
}

}  // namespace

bool ZEB_Record_Collection::insert(ZEB_Record* record) {
  try {
    records_.push_back(record);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void ZEB_Record_Collection::clearAndDestroy() {
  for (const ZEB_Record* record : records_) delete record;
  clear();
}

void ZEB_Record_Collection::printAll(const ZEB_Trace& trace) const {
  int position = 0;
  for (const ZEB_Record* record : records_) {
    trace.print("Record %d of %d", ++position, static_cast<int>(entries()));
    record->print();
  }
}

ZEB_Record_Set::ZEB_Record_Set() {
  ZEB_Trace trace(kUnit, "ZEB_Record_Set::ZEB_Record_Set");
}

ZEB_Record_Set::~ZEB_Record_Set() {
  ZEB_Trace trace(kUnit, "ZEB_Record_Set::~ZEB_Record_Set");
}

// A record that was in no set yet can't be in this one. So a set of records that were just read
// needs no index of its members.
bool ZEB_Record_Set::insert(ZEB_Record* record) {
  try {
    if (record->wasInSet_ && has(record)) return true;
    if (!members_.empty()) members_.insert(record);
  } catch (const std::bad_alloc&) {
    return false;
  }
  if (!ZEB_Record_Collection::insert(record)) {
    members_.erase(record);
    return false;
  }
  record->wasInSet_ = true;
  return true;
}

bool ZEB_Record_Set::has(const ZEB_Record* record) {
  if (members_.empty()) members_ = {begin(), end()};
  return members_.contains(record);
}

void ZEB_Record_Set::clear() {
  members_.clear();
  ZEB_Record_Collection::clear();
}

// From the last to the first, so that each record finds its next sibling at the head of its parent.
void ZEB_Record_Set::index() const {
  if (nextSibling_.size() == entries()) return;
  try {
    firstChild_.clear();
    nextSibling_.clear();
    firstChild_.reserve(entries());
    std::vector<std::size_t> next(entries(), entries());
    for (std::size_t at = entries(); at-- > 0;) {
      const auto [head, alone] =
          firstChild_.try_emplace(*begin()[static_cast<long>(at)]->getParentId(), at);
      if (!alone) next[at] = std::exchange(head->second, at);
    }
    nextSibling_.swap(next);
  } catch (const std::bad_alloc&) {
  }
}

ZEB_Record_Set::Children::Children(const ZEB_Record_Set& records, const ZEB_Record* parent)
    : records_(records), parent_(parent), first_(records.entries()) {
  if (!parent || records.isTangled()) return;
  records.index();
  if (records.nextSibling_.size() != records.entries()) {
    first_ = walk(0);
    return;
  }
  const auto head = records.firstChild_.find(*parent->getRecordId());
  if (head != records.firstChild_.end()) first_ = head->second;
}

std::size_t ZEB_Record_Set::Children::after(std::size_t at) const {
  ++records_.steps_;
  if (records_.isTangled()) return records_.entries();
  return at < records_.nextSibling_.size() ? records_.nextSibling_[at] : walk(at + 1);
}

std::size_t ZEB_Record_Set::Children::walk(std::size_t at) const {
  while (at < records_.entries() &&
         records_.begin()[static_cast<long>(at)]->isChildOf(parent_) == 0)
    ++at;
  return at;
}

bool ZEB_Record_Set::isTangled() const {
  return steps_ > kStepsOfAll && (steps_ - kStepsOfAll) / kStepsOfEach > entries();
}

void ZEB_Record_Set::print() const {
  ZEB_Trace trace(kUnit, "ZEB_Record_Set::print");
  printAll(trace);
}

ZEB_Ordered_Record_Set::ZEB_Ordered_Record_Set() {
  ZEB_Trace trace(kUnit, "ZEB_Ordered_Record_Set::ZEB_Ordered_Record_Set");
}

ZEB_Ordered_Record_Set::~ZEB_Ordered_Record_Set() {
  ZEB_Trace trace(kUnit, "ZEB_Ordered_Record_Set::~ZEB_Ordered_Record_Set");
}

void ZEB_Ordered_Record_Set::print() const {
  ZEB_Trace trace(kUnit, "ZEB_Ordered_Record_Set::print");
  printAll(trace);
}

ZEB_Record_Set_Iterator::ZEB_Record_Set_Iterator(const ZEB_Record_Set& records)
    : left_(records.begin(), records.end()) {
  ZEB_Trace trace(kUnit, "ZEB_Record_Set_Iterator::ZEB_Record_Set_Iterator");
}

ZEB_Record_Set_Iterator::~ZEB_Record_Set_Iterator() {
  ZEB_Trace trace(kUnit, "ZEB_Record_Set_Iterator::~ZEB_Record_Set_Iterator");
}

ZEB_Record* ZEB_Record_Set_Iterator::getNext() {
  ZEB_Trace trace(kUnit, "ZEB_Record_Set_Iterator::getNext");
  return trace.leave(takeFirst(left_));
}

ZEB_Ordered_Record_Set_Iterator::ZEB_Ordered_Record_Set_Iterator(
    const ZEB_Ordered_Record_Set& records)
    : left_(records.begin(), records.end()) {
  ZEB_Trace trace(kUnit, "ZEB_Ordered_Record_Set_Iterator::ZEB_Ordered_Record_Set_Iterator");
}

ZEB_Ordered_Record_Set_Iterator::~ZEB_Ordered_Record_Set_Iterator() {
  ZEB_Trace trace(kUnit, "ZEB_Ordered_Record_Set_Iterator::~ZEB_Ordered_Record_Set_Iterator");
}

ZEB_Record* ZEB_Ordered_Record_Set_Iterator::getNext() {
  ZEB_Trace trace(kUnit, "ZEB_Ordered_Record_Set_Iterator::getNext");
  return trace.leave(takeFirst(left_));
}
