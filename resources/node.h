// SPDX-License-Identifier: Apache-2.0
// ZEB_Node: one monitoring node placed in a message flow, the leaf of the tree.
#ifndef ZEB_RESOURCES_NODE_H
#define ZEB_RESOURCES_NODE_H

#include "records/node_record.h"
#include "resources/resource_set.h"
#include "resources/statistics_store.h"

// Owns a statistics record beside its information record; the former is the latter's child in the
// statistics area. Its records outlive the node instance there: a node is marked deleted and may be
// revived.
class ZEB_Node : public ZEB_ORVA_Resource {
 public:
  // A new node, with a record ID of its own; or one with a copy of the record, as it is stored.
  // Either gets a new statistics record. Null makes a node without a name, or a generic resource.
  // Not OK when memory ran out.
  explicit ZEB_Node(const ZEB_Resource_ID* id);
  explicit ZEB_Node(const ZEB_NOIR* record);
  ~ZEB_Node() override;

  ZEB_STIR* getStatsRecord() const;  // owned here; null when it could not be made

  // Information record, then statistics record. Code 3 for null, 10 when one of them is missing.
  ZEB_ReturnCode getRecords(ZEB_Record_Set* out) override;

  // Copies the first statistics record of the set that belongs to this node. Code 1 when none does;
  // a null or empty set is a success.
  ZEB_ReturnCode findStatistics(const ZEB_Record_Set* records);

  // Copies the record, identifiers included, over the node's; null copies nothing. Returns the
  // node's record in every case.
  ZEB_STIR* insertStatistics(const ZEB_STIR* record);

  // Adds the node's statistics to one of the three: input nodes to the first, output nodes to the
  // second, all others to the third.
  void initStatistics() override;
  ZEB_ReturnCode getStatistics(ZEB_STIR* first, ZEB_STIR* second, ZEB_STIR* third) override;

  // Resets the statistics: in the store, or for null only the copy in this process.
  void resetStatistics(ZEB_Statistics_Store* store);

  // All of these concern the information record and reach the area when it is written next. Without
  // a record the setters do nothing; null changes nothing.
  void markDeleted();
  void undelete();
  std::uint32_t isDeleted() const;   // 0 without a record
  ZEB_NodeType getNodeType() const;  // 3 without a record, on purpose
  void setNodeType(ZEB_NodeType nodeType);
  ZEB_String getSubFlowName() const;  // a copy, empty without a record
  void setSubFlowName(const ZEB_String* name);
  void setLabel(const ZEB_String* label);
  void assign(const ZEB_NOIR& record);  // over the information record
  void cleanup();                       // destroys the statistics record

 private:
  void init();

  std::unique_ptr<ZEB_STIR> statistics_;
};

// The nodes of a message flow.
class ZEB_Node_Set : public ZEB_Typed_Resource_Set<ZEB_Node> {
 public:
  ZEB_Node_Set();
  ~ZEB_Node_Set();
  // The first member alike to the identifier; null for null or none.
  ZEB_Node* findNode(const ZEB_Resource_ID* id) const;
};

#endif  // ZEB_RESOURCES_NODE_H
