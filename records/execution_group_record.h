// SPDX-License-Identifier: Apache-2.0
// ZEB_EGIR: the information record of an execution group. Stored: the common part, then the process
// ID.
#ifndef ZEB_RECORDS_EXECUTION_GROUP_RECORD_H
#define ZEB_RECORDS_EXECUTION_GROUP_RECORD_H

#include "records/resource_record.h"

class ZEB_EGIR : public ZEB_REIR {
 public:
  // A new record named by the identifier, or for null a blank one.
  explicit ZEB_EGIR(const ZEB_Resource_ID* id);
  ZEB_EGIR(const ZEB_EGIR&) = default;
  // Copies what is stored, and the address; nothing when this record is not OK.
  ZEB_EGIR& operator=(const ZEB_EGIR& other);

  std::uint32_t size() const override;  // 56 + 2 for each unit of its strings; 0 when not OK
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;

  // The process in which the group runs; in the object only, until the next `put`.
  void setProcessId(int processId);
  int getProcessId() const;

 private:
  std::int32_t processId_ = 0;  // of the operating system, 0 = not known
};

#endif  // ZEB_RECORDS_EXECUTION_GROUP_RECORD_H
