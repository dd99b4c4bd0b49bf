// SPDX-License-Identifier: Apache-2.0
#include "resources/resource_set.h"

#include <algorithm>
#include <new>

#include "base/trace.h"

ZEB_ORVA_Resource_Set::ZEB_ORVA_Resource_Set() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set::ZEB_ORVA_Resource_Set");
}

ZEB_ORVA_Resource_Set::~ZEB_ORVA_Resource_Set() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set::~ZEB_ORVA_Resource_Set");
  cleanup();
}

// The set owns a member already that comes again.
bool ZEB_ORVA_Resource_Set::insert(std::unique_ptr<ZEB_ORVA_Resource> member) {
  if (member->set_ == this) {
    member.release();  // NOLINT(bugprone-unused-return-value)
    return true;
  }
  try {
    members_.push_back(std::move(member));
  } catch (const std::bad_alloc&) {
    return false;
  }
  members_.back()->set_ = this;
  return true;
}

std::unique_ptr<ZEB_ORVA_Resource> ZEB_ORVA_Resource_Set::remove(const ZEB_ORVA_Resource* member) {
  const auto found = std::ranges::find(members_, member, &std::unique_ptr<ZEB_ORVA_Resource>::get);
  if (found == members_.end()) return nullptr;
  std::unique_ptr<ZEB_ORVA_Resource> removed = std::move(*found);
  members_.erase(found);
  removed->set_ = nullptr;
  return removed;
}

void ZEB_ORVA_Resource_Set::moveFirst(std::size_t places) {
  if (members_.empty()) return;
  const auto behind = static_cast<std::ptrdiff_t>(std::min(places, members_.size() - 1)) + 1;
  std::rotate(members_.begin(), members_.begin() + 1, members_.begin() + behind);
}

void ZEB_ORVA_Resource_Set::print() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set::print");
  for (const auto& member : members_) member->print();
}

void ZEB_ORVA_Resource_Set::cleanup() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set::cleanup");
  members_.clear();
}

ZEB_ORVA_Resource* ZEB_ORVA_Resource_Set::find(const ZEB_Resource_ID* id) const {
  if (!id) return nullptr;
  for (const auto& member : members_)
    if (member->alike(id) != 0) return member.get();
  return nullptr;
}

ZEB_ORVA_Resource_Set_Iterator::ZEB_ORVA_Resource_Set_Iterator(const ZEB_ORVA_Resource_Set& set)
    : set_(set) {
  ZEB_Trace trace(kResourceSetUnit,
                  "ZEB_ORVA_Resource_Set_Iterator::ZEB_ORVA_Resource_Set_Iterator");
}

ZEB_ORVA_Resource_Set_Iterator::~ZEB_ORVA_Resource_Set_Iterator() {
  ZEB_Trace trace(kResourceSetUnit,
                  "ZEB_ORVA_Resource_Set_Iterator::~ZEB_ORVA_Resource_Set_Iterator");
}

ZEB_ORVA_Resource* ZEB_ORVA_Resource_Set_Iterator::getNext() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set_Iterator::getNext");
  return trace.leave(next_ < set_.entries() ? set_.at(next_++) : nullptr);
}
