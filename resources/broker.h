// SPDX-License-Identifier: Apache-2.0
// ZEB_Broker: the root of a resource tree, and the one resource that knows where records live.
#ifndef ZEB_RESOURCES_BROKER_H
#define ZEB_RESOURCES_BROKER_H

#include <initializer_list>
#include <mutex>
#include <optional>
#include <vector>

#include "records/broker_record.h"
#include "records/stored_image.h"
#include "resources/execution_group.h"
#include "resources/stored_tree.h"
#include "store/events_area.h"
#include "store/shared_memory.h"
#include "store/statistics_area.h"

// The way to one node of the tree. The identifiers belong to whoever made it.
struct ZEB_Node_Path {
  const ZEB_Resource_ID* executionGroup;
  const ZEB_Resource_ID* messageFlow;
  const ZEB_Resource_ID* node;
};

// Each monitoring node instance has a broker of its own. The trees of all instances and processes
// meet only in the statistics area, so whatever must see the others reads that first.
//
// Locks: the area's around the reading and rewriting of a whole tree and around the mark of a
// deleted node; a record's around the read-modify-write of one statistics record. The record's is
// taken before the area's. Message threads call updateStatistics, postEvent and setEventTemplate,
// several at once; everything else belongs to the thread that sets the node up.
class ZEB_Broker : public ZEB_ORVA_Resource, public ZEB_Statistics_Store {
 public:
  // Attaches the segment of the broker named by the identifier and opens the statistics area. Not
  // OK when that fails. The events area is made when it is first needed.
  explicit ZEB_Broker(const ZEB_Resource_ID* id);
  ~ZEB_Broker() override;

  // The directory of the key files; it ends in "/".
  static ZEB_String getTempDirectory();

  // --- tree ---
  ZEB_Execution_Group* findExecutionGroup(const ZEB_Resource_ID* id) const;  // null: none
  // In this process only: the next populateStatsArea stores it. Null when it can't be made.
  ZEB_Execution_Group* insertExecutionGroup(const ZEB_Resource_ID* id);
  ZEB_Execution_Group* insertExecutionGroup(const ZEB_EGIR* record);
  // Rebuilds the groups from stored records, those without flows only with keepEmpty. Code 3 for
  // null, 1 when a group could not be made.
  ZEB_ReturnCode findExecutionGroups(const ZEB_Record_Set* records, int keepEmpty);
  // Marks the node as deleted, here and in the statistics area. Takes the area's lock.
  void deleteNode(ZEB_Node* node);
  ZEB_ReturnCode getRecords(ZEB_Record_Set* out) override;
  void print() override;
  // A monitoring node needs its own way through the tree only. With keepTo, the rest need not be
  // made into objects when the area is read; it is put aside as it is stored, and the trees of a
  // process share that. setAside does so with what was made all the same, but for the node and what
  // is above it; so does each later reset. Whatever asks for the tree as a whole takes it back
  // first. The identifiers of the path must outlive the tree.
  void keepTo(const ZEB_Node_Path& path);
  void setAside(const ZEB_Node* node);
  void dump();   // both areas, to the log, while tracing is on
  void flush();  // forgets the groups of this process, not the stored ones

  // --- store ---
  // Without a statistics area these are a silent success.
  ZEB_ReturnCode putRecord(ZEB_Record* record);
  ZEB_ReturnCode getRecord(ZEB_Record* record);
  // Rebuilds the tree from the statistics area. Takes no lock. When the area can't be read, its
  // code comes back and the tree stays as it is.
  ZEB_ReturnCode readStatsArea(int keepEmpty);
  // Writes every record of the tree; whether each could be written is not told.
  ZEB_ReturnCode populateStatsArea();
  std::uint32_t isEmpty();  // the statistics area holds no record, or can't be used
  std::uint32_t isEventAreaEmpty();

  // --- statistics ---
  void initStatistics() override;
  ZEB_ReturnCode getStatistics(ZEB_STIR* first, ZEB_STIR* second, ZEB_STIR* third) override;
  // Folds one message into the record, under its lock. Code 8 when not OK, 3 for null. A record
  // that can't be written is a success all the same.
  ZEB_ReturnCode updateStatistics(ZEB_STIR* record, _TimeStamp queued, _TimeStamp elapsed,
                                  int size);
  // Reads the tree, resets all its statistics, stamps the reset time and writes it all. With
  // perRecord non-zero each record is reset under its own lock instead; nobody asks for that, since
  // it takes record locks inside the area's.
  [[gnu::noinline]] void resetStatistics(int perRecord);
  ZEB_ReturnCode resetStatistics(ZEB_STIR* record) override;  // code 8 when not OK, 3 for null
  std::uint32_t lastResetTime() const;                        // calendar time, 0 without a record

  // --- events ---
  // What ZEB_Events_Area::setEventTemplate returns; null when it could not be asked.
  ZEB_EVTR* setEventTemplate(ZEB_EVTR* eventTemplate);
  // Code 8 when not OK or while there is no usable events area, 4 for null.
  ZEB_ReturnCode postEvent(ZEB_EVDR* event);
  // Code 8 when not OK or the events area is not, 6 when that could not be made, 3 for null.
  ZEB_ReturnCode getEvents(ZEB_Ordered_Record_Set* out);

  void init(const ZEB_Resource_ID* id);
  void cleanup();  // detaches; what is stored stays

 private:
  void createStatisticsArea();
  void createEventsArea();
  ZEB_Events_Area* eventsArea();
  ZEB_Events_Area* usableEventsArea();
  void adopt(const ZEB_Record_Set& records);
  bool readPath(ZEB_Record_Set* records, int keepEmpty);
  bool takePath(ZEB_Record_Set* records, int keepEmpty);
  bool samePath(const ZEB_Stored_Tree::Entry* group, const ZEB_Stored_Tree::Entry* flow,
                const ZEB_Stored_Tree::Entry* node) const;
  bool sameAside(const std::vector<const ZEB_Stored_Tree::Entry*>& rest) const;
  bool clearAside();
  bool putAside(const ZEB_ORVA_Resource& parent, const ZEB_ORVA_Resource& child,
                std::initializer_list<ZEB_Record*> records);
  void takeBack();
  ZEB_ReturnCode gatherObjects(ZEB_Record_Set* out);
  void putObjects();

  std::unique_ptr<ZEB_Shared_Memory> sharedMemory_;
  std::unique_ptr<ZEB_Stats_Area> statisticsArea_;
  std::unique_ptr<ZEB_Events_Area> ownedEventsArea_;
  std::atomic<ZEB_Events_Area*> eventsArea_ = nullptr;  // what is owned, once it is ready for use
  std::mutex makingEventsArea_;
  ZEB_Execution_Group_Set executionGroups_;
  std::optional<ZEB_Node_Path> path_;
  std::shared_ptr<ZEB_Stored_Tree> catalogue_;
  const ZEB_Node* needed_ = nullptr;
  std::vector<ZEB_Stored_Image> aside_;  // what else belongs to the tree
};

#endif  // ZEB_RESOURCES_BROKER_H
