// SPDX-License-Identifier: Apache-2.0
// ZEB_Attributes_List: the attributes that the host has set, in the order of setting.
#ifndef ZEB_NODE_ATTRIBUTES_LIST_H
#define ZEB_NODE_ATTRIBUTES_LIST_H

#include <memory>
#include <vector>

#include "node/attribute.h"

// Owns its elements. A name may be in it several times: reading back finds the first. Not locked:
// it belongs to the thread that sets the node up.
class ZEB_Attributes_List {
 public:
  ZEB_Attributes_List();
  ~ZEB_Attributes_List();

  // Adds at the end; the attribute is not null. False when memory ran out: the attribute is
  // destroyed then.
  bool append(std::unique_ptr<ZEB_Attribute> attribute);

  // The first attribute of exactly that name, or null. Valid until the list changes.
  const ZEB_Attribute* find(const ZEB_String& name) const;

  // Destroys every element.
  void cleanup();

 private:
  std::vector<std::unique_ptr<ZEB_Attribute>> attributes_;
};

#endif  // ZEB_NODE_ATTRIBUTES_LIST_H
