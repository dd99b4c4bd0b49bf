// SPDX-License-Identifier: Apache-2.0
// ZEB_EGIR: the information record of an execution group. Stored: the common part, then the process
// ID.
#ifndef ZEB_RECORDS_EXECUTION_GROUP_RECORD_H
#define ZEB_RECORDS_EXECUTION_GROUP_RECORD_H

#include "records/resource_record.h"

// The parent of its message flows. A value, as ZEB_BRIR is.
class ZEB_EGIR : public ZEB_REIR {
 public:
  // A new record named by the identifier, or for null a blank one. Its process ID is 0.
  explicit ZEB_EGIR(const ZEB_Resource_ID* id);
  ZEB_EGIR(const ZEB_EGIR&) = default;
  // Copies what is stored, and the address; nothing when this record is not OK. This record fails
  // when memory runs out for a string.
  ZEB_EGIR& operator=(const ZEB_EGIR& other);

  // In bytes: 56, and 2 for each unit of uuid and label; 0 when not OK.
  std::uint32_t size() const override;
  // As ZEB_Record says.
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;

  // The process in which the group runs, 0 when not known. Setting it changes the object only,
  // until the next `put`. A stored ID may belong to a process that ended long ago.
  void setProcessId(int processId);
  int getProcessId() const;

 private:
  std::int32_t processId_ = 0;  // of the operating system, 0 = not known
};

#endif  // ZEB_RECORDS_EXECUTION_GROUP_RECORD_H
