// SPDX-License-Identifier: Apache-2.0
// ZEB_Execution_Group: one execution-group process of the broker, with its message flows.
#ifndef ZEB_RESOURCES_EXECUTION_GROUP_H
#define ZEB_RESOURCES_EXECUTION_GROUP_H

#include "records/execution_group_record.h"
#include "resources/message_flow.h"

// Never touches shared memory itself: the broker reads and writes the records. Not locked: the tree
// belongs to one node instance.
class ZEB_Execution_Group : public ZEB_ORVA_Resource {
 public:
  // A new group, with a record ID of its own; or one with a copy of the record, as it is stored.
  // Null makes a group without a name, or a generic resource. Not OK when memory ran out.
  explicit ZEB_Execution_Group(const ZEB_Resource_ID* id);
  explicit ZEB_Execution_Group(const ZEB_EGIR* record);
  ~ZEB_Execution_Group() override;

  // The flows belong to this group. Null for a null identifier or none found.
  ZEB_Message_Flow* findMessageFlow(const ZEB_Resource_ID* id) const;

  // Adds a flow, whether or not one is alike: callers look first. Null when it can't be made, and
  // for a null record.
  ZEB_Message_Flow* insertMessageFlow(const ZEB_Resource_ID* id);
  ZEB_Message_Flow* insertMessageFlow(const ZEB_MFIR* record);

  // Rebuilds the flows and their nodes from stored records; a flow without nodes is dropped unless
  // keepEmpty is set. Code 3 for null, 1 when a flow could not be made.
  ZEB_ReturnCode findMessageFlows(const ZEB_Record_Set* records, int keepEmpty);

  // The group's record, then those of each flow. Code 3 for null, 10 without a record.
  ZEB_ReturnCode getRecords(ZEB_Record_Set* out) override;
  // Statistics as in ZEB_ORVA_Resource, gathered from the flows once until initStatistics.
  void initStatistics() override;
  ZEB_ReturnCode getStatistics(ZEB_STIR* first, ZEB_STIR* second, ZEB_STIR* third) override;
  void print() override;
  void resetStatistics(ZEB_Statistics_Store* store);  // of all nodes, see ZEB_Node

  std::uint32_t messageFlows() const;  // how many
  ZEB_Message_Flow_Set& getMessageFlows() { return messageFlows_; }
  // The operating system's identifier of the group's process. 0 when it is not known, and without a
  // record; then it can't be set.
  int getProcessId() const;
  void setProcessId(int processId);
  void cleanup();  // destroys the flows

 private:
  ZEB_Message_Flow_Set messageFlows_;
};

// The groups of a broker.
class ZEB_Execution_Group_Set : public ZEB_Typed_Resource_Set<ZEB_Execution_Group> {
 public:
  ZEB_Execution_Group_Set();
  ~ZEB_Execution_Group_Set();
  // The first member alike to the identifier; null for null or none.
  ZEB_Execution_Group* findExecutionGroup(const ZEB_Resource_ID* id) const;
};

#endif  // ZEB_RESOURCES_EXECUTION_GROUP_H
