// SPDX-License-Identifier: Apache-2.0
#include "node/attributes_list.h"

#include <new>

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebpattr";

}  // namespace

ZEB_Attributes_List::ZEB_Attributes_List() {
  ZEB_Trace trace(kUnit, "ZEB_Attributes_List::ZEB_Attributes_List");
}

ZEB_Attributes_List::~ZEB_Attributes_List() {
  ZEB_Trace trace(kUnit, "ZEB_Attributes_List::~ZEB_Attributes_List");
  cleanup();
}

bool ZEB_Attributes_List::append(std::unique_ptr<ZEB_Attribute> attribute) {
  ZEB_Trace trace(kUnit, "ZEB_Attributes_List::append");
  try {
    attributes_.push_back(std::move(attribute));
    return trace.leave(true);
  } catch (const std::bad_alloc&) {
    return trace.leave(false);
  }
}

const ZEB_Attribute* ZEB_Attributes_List::find(const ZEB_String& name) const {
  ZEB_Trace trace(kUnit, "ZEB_Attributes_List::find");
  for (const auto& attribute : attributes_) {
    if (!(attribute->getName() == name)) continue;
    trace.text("Attribute %s found", name);
    return trace.leave(static_cast<const ZEB_Attribute*>(attribute.get()));
  }
  return trace.leave(static_cast<const ZEB_Attribute*>(nullptr));
}

void ZEB_Attributes_List::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Attributes_List::cleanup");
  attributes_.clear();
}
