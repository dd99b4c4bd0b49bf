// SPDX-License-Identifier: Apache-2.0
// ZEB_Message_Flow: one message flow deployed to an execution group, with its monitoring nodes.
#ifndef ZEB_RESOURCES_MESSAGE_FLOW_H
#define ZEB_RESOURCES_MESSAGE_FLOW_H

#include "records/message_flow_record.h"
#include "resources/node.h"

// Never touches shared memory itself: the broker reads and writes the records. Not locked: the tree
// belongs to one node instance.
class ZEB_Message_Flow : public ZEB_ORVA_Resource {
 public:
  // A new flow, with a record ID of its own; or one with a copy of the record, as it is stored.
  // Null makes a flow without a name, or a generic resource. Not OK when memory ran out.
  explicit ZEB_Message_Flow(const ZEB_Resource_ID* id);
  explicit ZEB_Message_Flow(const ZEB_MFIR* record);
  ~ZEB_Message_Flow() override;

  // The nodes belong to this flow. Null for a null identifier or none found.
  ZEB_Node* findNode(const ZEB_Resource_ID* id) const;

  // Adds a node, whether or not one is alike: callers look first. Null when it can't be made, and
  // for a null record.
  ZEB_Node* insertNode(const ZEB_Resource_ID* id);
  ZEB_Node* insertNode(const ZEB_NOIR* record);

  // Rebuilds the nodes from stored records. With keepEmpty 0, deleted nodes that are not known yet
  // are left out. A node lives when it lives here or in the records. Always success.
  ZEB_ReturnCode findNodes(const ZEB_Record_Set* records, int keepEmpty);

  // The flow's record, then those of each node. Code 3 for null, 10 without a record.
  ZEB_ReturnCode getRecords(ZEB_Record_Set* out) override;
  // Statistics as in ZEB_ORVA_Resource, gathered from the nodes once until initStatistics.
  void initStatistics() override;
  ZEB_ReturnCode getStatistics(ZEB_STIR* first, ZEB_STIR* second, ZEB_STIR* third) override;
  void print() override;
  void resetStatistics(ZEB_Statistics_Store* store);  // of all nodes, see ZEB_Node

  std::uint32_t nodes() const;  // how many
  ZEB_Node_Set& getNodes();     // to take a node out of it, for instance
  void cleanup();               // destroys the nodes

 private:
  ZEB_Node* rebuildNode(const ZEB_NOIR* stored, int keepEmpty);

  ZEB_Node_Set nodes_;
};

// The flows of an execution group.
class ZEB_Message_Flow_Set : public ZEB_Typed_Resource_Set<ZEB_Message_Flow> {
 public:
  ZEB_Message_Flow_Set();
  ~ZEB_Message_Flow_Set();
  // The first member alike to the identifier; null for null or none.
  ZEB_Message_Flow* findMessageFlow(const ZEB_Resource_ID* id) const;
};

#endif  // ZEB_RESOURCES_MESSAGE_FLOW_H
