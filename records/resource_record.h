// SPDX-License-Identifier: Apache-2.0
// ZEB_REIR: what the information records of all resources have in common.
#ifndef ZEB_RECORDS_RESOURCE_RECORD_H
#define ZEB_RECORDS_RESOURCE_RECORD_H

#include "base/resource_id.h"
#include "records/record.h"

// Stored: header, uuid, label, then what the derived class adds.
class ZEB_REIR : public ZEB_Record {
 public:
  // A new record named by the identifier, or for null a blank one with empty strings.
  ZEB_REIR(ZEB_RecordType type, const ZEB_Resource_ID* id);
  ZEB_REIR(const ZEB_REIR&) = default;
  ZEB_REIR& operator=(const ZEB_REIR& other);

  std::uint32_t size() const override;
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;

  // Null changes nothing.
  void setUuid(const ZEB_String* uuid);
  void setLabel(const ZEB_String* label);

  ZEB_String getUuid() const;
  ZEB_String getLabel() const;
  ZEB_Resource_ID getResourceId() const;
  std::uint32_t alike(const ZEB_Resource_ID* id) const;  // both strings are equal; 0 for null

 private:
  ZEB_String uuid_;
  ZEB_String label_;
};

#endif  // ZEB_RECORDS_RESOURCE_RECORD_H
