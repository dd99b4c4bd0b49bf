// SPDX-License-Identifier: Apache-2.0
// ZEB_ORVA_Resource: what brokers, execution groups, message flows and nodes have in common.
#ifndef ZEB_RESOURCES_RESOURCE_H
#define ZEB_RESOURCES_RESOURCE_H

#include <atomic>
#include <memory>
#include <typeinfo>

#include "base/resource_id.h"
#include "base/trace.h"
#include "records/record_set.h"
#include "records/resource_record.h"
#include "records/statistics_record.h"

class ZEB_ORVA_Resource_Set;

// A resource owns its information record, the copy of itself that is stored in the statistics area,
// and three accumulators in which statistics are gathered up the tree: input nodes, output nodes
// and all others. It has no equality: sets hold it by identity. The tree is used by one node
// instance and not locked.
class ZEB_ORVA_Resource {
 public:
  // With a new record of that type, made for the identifier. Status 301, and no record, when memory
  // ran out, with message 1. The accumulators come with initStatistics.
  ZEB_ORVA_Resource(ZEB_RecordType type, const ZEB_Resource_ID* id);
  // With a copy of the record, its record and parent IDs included; null makes a generic resource.
  // Status 301 as above.
  explicit ZEB_ORVA_Resource(const ZEB_REIR* record);
  virtual ~ZEB_ORVA_Resource();
  ZEB_ORVA_Resource(const ZEB_ORVA_Resource&) = delete;
  ZEB_ORVA_Resource& operator=(const ZEB_ORVA_Resource&) = delete;

  // Empties the accumulators, making them on first use. One that can't be made is message 1 only,
  // and the status stays. The next getStatistics gathers again.
  virtual void initStatistics();

  // Adds the accumulators to the arguments, pair by pair: input nodes, output nodes, others. Code 4
  // when one of a pair is missing; the others are added all the same. A second call adds the same
  // again. Null arguments are allowed, and count as missing.
  virtual ZEB_ReturnCode getStatistics(ZEB_STIR* first, ZEB_STIR* second, ZEB_STIR* third);

  // Logs type, label and uuid, whether or not tracing is on.
  virtual void print();

  // Inserts this resource's records and those below it; they stay the tree's, so the set must not
  // destroy them, nor outlive the tree. The base has none: code 1.
  virtual ZEB_ReturnCode getRecords(ZEB_Record_Set* out);

  // Destroys the record and the accumulators. The resource stays, without a record.
  void cleanup();

  // What is stored of this resource. Owned here and valid as long as it; null when it could not be
  // made.
  ZEB_REIR* getInformationRecord() const;
  const ZEB_Record_ID* getRecordId() const;  // null without a record
  const ZEB_Record_ID* getParentId() const;  // likewise
  // The other's record ID becomes this record's parent ID, in this process. Nothing happens for
  // null or when a record is missing.
  void setParent(const ZEB_ORVA_Resource* parent);
  // 1 when the parent ID is the other's record ID; 0 for null and without a record.
  std::uint32_t isChildOf(const ZEB_ORVA_Resource* other) const;

  // How every resource is found: uuid and label together. 0 for null or without a record.
  std::uint32_t alike(const ZEB_Resource_ID* id) const;

  // Copies; empty without a record.
  ZEB_Resource_ID getResourceId() const;
  ZEB_String getLabel() const;
  ZEB_String getUuid() const;

  std::uint32_t getType() const;  // of the record, 0 without one
  // 0, or 301 when something failed for good. Any thread may ask.
  int getStatus() const;
  bool OK() const;

 protected:
  // Any thread may call it.
  void setStatus(int status) { status_ = status; }
  void setInformationRecord(ZEB_RecordType type, const ZEB_Resource_ID* id);

  // The record as exactly that class, or null when it is missing or of another class.
  template <class Record>
  Record* recordAs() const {
    ZEB_REIR* const record = record_.get();  // a generic resource has another record
    return record && typeid(*record) == typeid(Record) ? static_cast<Record*>(record) : nullptr;
  }

  // Gathers the statistics of the children into the accumulators, once until initStatistics.
  template <class Children>
  void collect(const Children& children) {
    if (collected_ == 0)
      for (ZEB_ORVA_Resource* child : children)
        child->getStatistics(first_.get(), second_.get(), third_.get());
    collected_ = 1;
  }

  // This resource's record and those of the children, in order. Code 3 for null, 10 without a
  // record, 6 when memory ran out; else the last child's.
  template <class Children>
  ZEB_ReturnCode gather(ZEB_Record_Set* out, const Children& children) const {
    if (!out) return ZEB_NULL_ARGUMENT;
    if (!record_) return ZEB_NO_RECORD;
    ZEB_ReturnCode code = out->insert(record_.get()) ? ZEB_SUCCESS : ZEB_NOT_ALLOCATED;
    for (ZEB_ORVA_Resource* child : children) code = child->getRecords(out);
    return code;
  }

  std::unique_ptr<ZEB_STIR> first_;
  std::unique_ptr<ZEB_STIR> second_;
  std::unique_ptr<ZEB_STIR> third_;
  std::uint32_t collected_ = 0;

 private:
  friend class ZEB_ORVA_Resource_Set;

  void copyInformationRecord(const ZEB_REIR& record);
  void requireRecord(const ZEB_Trace& trace);

  const ZEB_ORVA_Resource_Set* set_ = nullptr;  // whose member it is
  std::atomic<int> status_ = ZEB_STATUS_OK;     // message threads may set it
  std::unique_ptr<ZEB_REIR> record_;
};

#endif  // ZEB_RESOURCES_RESOURCE_H
