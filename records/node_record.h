// SPDX-License-Identifier: Apache-2.0
// ZEB_NOIR: the information record of a node. Stored: the common part, node type, sub-flow name.
#ifndef ZEB_RECORDS_NODE_RECORD_H
#define ZEB_RECORDS_NODE_RECORD_H

#include "records/node_type.h"
#include "records/resource_record.h"

class ZEB_NOIR : public ZEB_REIR {
 public:
  // A new record named by the identifier, or for null a blank one.
  explicit ZEB_NOIR(const ZEB_Resource_ID* id);
  ZEB_NOIR(const ZEB_NOIR&) = default;
  // Copies what is stored, and the address; nothing when this record is not OK.
  ZEB_NOIR& operator=(const ZEB_NOIR& other);

  std::uint32_t size() const override;  // 62 + 2 for each unit of its strings; 0 when not OK
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;  // without the sub-flow name, on purpose

  // In the object only: the next `put` stores them. A sub-flow name of another length than the
  // stored one would shift what stands behind the record, so the caller then takes a new record.
  void setNodeType(ZEB_NodeType nodeType);
  ZEB_NodeType getNodeType() const;
  void setSubFlowName(const ZEB_String* name);  // null changes nothing
  ZEB_String getSubFlowName() const;            // a copy

 private:
  ZEB_NodeType nodeType_ = ZEB_OTHER_NODE;
  ZEB_String subFlowName_;
};

#endif  // ZEB_RECORDS_NODE_RECORD_H
