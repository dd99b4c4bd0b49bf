// SPDX-License-Identifier: Apache-2.0
// The identity of a monitored resource, as the host names it.
#ifndef ZEB_BASE_RESOURCE_ID_H
#define ZEB_BASE_RESOURCE_ID_H

#include <cstdint>

#include "base/string.h"

// A value. Both strings start empty. Two identifiers name the same resource when both strings are
// equal. It has no status: ask the strings whether they are OK.
class ZEB_Resource_ID {
 public:
  // A null argument leaves its string empty. The order is uuid, label.
  explicit ZEB_Resource_ID(const ZEB_String* uuid = nullptr, const ZEB_String* label = nullptr);

  ZEB_Resource_ID(const ZEB_Resource_ID& other);
  ZEB_Resource_ID& operator=(const ZEB_Resource_ID& other);
  ~ZEB_Resource_ID();

  // Copy the string. Null changes nothing.
  void setLabel(const ZEB_String* label);
  void setUuid(const ZEB_String* uuid);

  // The members themselves, valid as long as this object.
  const ZEB_String& getLabel() const;
  const ZEB_String& getUuid() const;

  // 1 when both strings equal those of the other, which may be null (0).
  std::uint32_t alike(const ZEB_Resource_ID* other) const;

 private:
  ZEB_String label_;
  ZEB_String uuid_;
};

#endif  // ZEB_BASE_RESOURCE_ID_H
