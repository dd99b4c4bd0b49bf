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

bool ZEB_ORVA_Resource_Set::insert(std::unique_ptr<ZEB_ORVA_Resource> member) {
  try {
    members_.push_back(std::move(member));
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

std::unique_ptr<ZEB_ORVA_Resource> ZEB_ORVA_Resource_Set::remove(const ZEB_ORVA_Resource* member) {
  const auto found =
      std::find_if(members_.begin(), members_.end(),
                   [member](const auto& candidate) { return candidate.get() == member; });
  if (found == members_.end()) return nullptr;
  byId_.clear();
  std::unique_ptr<ZEB_ORVA_Resource> removed = std::move(*found);
  members_.erase(found);
  return removed;
}

void ZEB_ORVA_Resource_Set::print() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set::print");
  for (const auto& member : members_) member->print();
}

void ZEB_ORVA_Resource_Set::cleanup() {
  ZEB_Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set::cleanup");
  byId_.clear();
  members_.clear();
}

ZEB_ORVA_Resource* ZEB_ORVA_Resource_Set::find(const ZEB_Resource_ID* id) const {
  if (!id) return nullptr;
  if (!index()) {
    for (const auto& member : members_)
      if (member->alike(id) != 0) return member.get();
    return nullptr;
  }
  std::size_t first = entries();
  const auto [begin, end] = byId_.equal_range(id->hash());
  for (auto place = begin; place != end; ++place)
    if (place->second < first && at(place->second)->alike(id) != 0) first = place->second;
  return first == entries() ? nullptr : at(first);
}

void ZEB_ORVA_Resource_Set::sortByAddress() {
  const auto address = [](const std::unique_ptr<ZEB_ORVA_Resource>& member) {
    const ZEB_REIR* const record = member->getInformationRecord();
    const void* const stored = record ? record->getAddress() : nullptr;
    return stored ? reinterpret_cast<std::uintptr_t>(stored) : UINTPTR_MAX;
  };
  byId_ = {};
  std::stable_sort(members_.begin(), members_.end(),
                   [&](const auto& a, const auto& b) { return address(a) < address(b); });
}

// False when memory ran out.
bool ZEB_ORVA_Resource_Set::index() const {
  try {
    for (std::size_t place = byId_.size(); place < entries(); ++place) {
      const ZEB_REIR* const record = at(place)->getInformationRecord();
      byId_.emplace(record ? record->hash() : 0, place);
    }
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}
