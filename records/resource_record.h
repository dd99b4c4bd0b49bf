// SPDX-License-Identifier: Apache-2.0
// ZEB_REIR: what the information records of all resources have in common.
#ifndef ZEB_RECORDS_RESOURCE_RECORD_H
#define ZEB_RECORDS_RESOURCE_RECORD_H

#include "base/resource_id.h"
#include "records/record.h"

// Stored: header (40 bytes), uuid, label, then what the derived class adds. A value of one thread,
// or of many while none of them changes it; only `lock` and `unlock` may be called at any time.
class ZEB_REIR : public ZEB_Record {
 public:
  // A new record named by the identifier, or for null a blank one with empty strings. Not OK when
  // memory ran out for a string, or the identifier has one that is not OK.
  ZEB_REIR(ZEB_RecordType type, const ZEB_Resource_ID* id);
  ZEB_REIR(const ZEB_REIR&) = default;
  // Copies header, address and both strings; nothing when this record is not OK.
  ZEB_REIR& operator=(const ZEB_REIR& other);

  // In bytes: 52, and 2 for each unit of both strings; 0 when not OK.
  std::uint32_t size() const override;
  // As ZEB_Record says. A string for which there is no memory makes the record not OK.
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;

  // Null changes nothing; a string that is not OK makes the record not OK. A stored record must
  // keep its size: in place, only a string of the same length may follow.
  void setUuid(const ZEB_String* uuid);
  void setLabel(const ZEB_String* label);

  // Copies; the caller asks them whether they are OK.
  ZEB_String getUuid() const;
  ZEB_String getLabel() const;
  ZEB_Resource_ID getResourceId() const;
  // 1 when uuid and label both equal those of the identifier; 0 for null.
  std::uint32_t alike(const ZEB_Resource_ID* id) const;

 private:
  ZEB_String uuid_;
  ZEB_String label_;
};

#endif  // ZEB_RECORDS_RESOURCE_RECORD_H
