#include "resources/resource_set.h"

#include <algorithm>
#include <new>

#include "base/trace.h"

ZEB_ORVA_Resource_Set::ZEB_ORVA_Resource_Set() {
  Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set::ZEB_ORVA_Resource_Set");
}

ZEB_ORVA_Resource_Set::~ZEB_ORVA_Resource_Set() {
  Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set::~ZEB_ORVA_Resource_Set");
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
  std::unique_ptr<ZEB_ORVA_Resource> removed = std::move(*found);
  members_.erase(found);
  return removed;
}

void ZEB_ORVA_Resource_Set::print() {
  Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set::print");
  for (const auto& member : members_) member->print();
}

void ZEB_ORVA_Resource_Set::cleanup() {
  Trace trace(kResourceSetUnit, "ZEB_ORVA_Resource_Set::cleanup");
  members_.clear();
}

ZEB_ORVA_Resource* ZEB_ORVA_Resource_Set::find(const ZEB_Resource_ID* id) const {
  for (const auto& member : members_)
    if (member->alike(id) != 0) return member.get();
  return nullptr;
}
