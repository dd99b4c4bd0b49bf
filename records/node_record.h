// SPDX-License-Identifier: Apache-2.0
// ZEB_NOIR: the information record of a node. Stored: the common part, node type, sub-flow name.
#ifndef ZEB_RECORDS_NODE_RECORD_H
#define ZEB_RECORDS_NODE_RECORD_H

#include "records/node_type.h"
#include "records/resource_record.h"

// The parent of its statistics record. A value, as ZEB_BRIR is.
class ZEB_NOIR : public ZEB_REIR {
 public:
  // A new record named by the identifier, or for null a blank one. Its type is ZEB_OTHER_NODE, its
  // sub-flow name empty.
  explicit ZEB_NOIR(const ZEB_Resource_ID* id);
  ZEB_NOIR(const ZEB_NOIR&) = default;
  // Copies what is stored, and the address; nothing when this record is not OK. This record fails
  // when memory runs out for a string.
  ZEB_NOIR& operator=(const ZEB_NOIR& other);

  // In bytes: 62, and 2 for each unit of uuid, label and sub-flow name; 0 when not OK.
  std::uint32_t size() const override;
  // As ZEB_Record says. `getFrom` takes a stored type of any number.
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;  // without the sub-flow name, on purpose

  // In the object only: the next `put` stores them. A sub-flow name of another length than the
  // stored one would shift the records behind this one, so the caller then takes a new record.
  void setNodeType(ZEB_NodeType nodeType);
  ZEB_NodeType getNodeType() const;
  // Null changes nothing; a name that is not OK makes the record not OK.
  void setSubFlowName(const ZEB_String* name);
  // A copy; the caller asks it whether it is OK.
  ZEB_String getSubFlowName() const;

 private:
  ZEB_NodeType nodeType_ = ZEB_OTHER_NODE;
  ZEB_String subFlowName_;
};

#endif  // ZEB_RECORDS_NODE_RECORD_H
