// SPDX-License-Identifier: Apache-2.0
// ZEB_Broker: the root of a resource tree, and the one resource that knows where records live.
#ifndef ZEB_RESOURCES_BROKER_H
#define ZEB_RESOURCES_BROKER_H

#include <mutex>

#include "records/broker_record.h"
#include "resources/broker_tree.h"
#include "store/events_area.h"
#include "store/shared_memory.h"

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
  // The groups belong to the broker. Null for null or none.
  ZEB_Execution_Group* findExecutionGroup(const ZEB_Resource_ID* id);
  // In this process only: the next populateStatsArea stores it. Callers look first: another group
  // that is alike stays. Null when it can't be made, and for a null record.
  ZEB_Execution_Group* insertExecutionGroup(const ZEB_Resource_ID* id);
  ZEB_Execution_Group* insertExecutionGroup(const ZEB_EGIR* record);
  // Rebuilds the groups from stored records, those without flows only with keepEmpty. Code 3 for
  // null, 1 when a group could not be made; the others are rebuilt all the same.
  ZEB_ReturnCode findExecutionGroups(const ZEB_Record_Set* records, int keepEmpty);
  // Marks the node as deleted, here and in the statistics area, under the area's lock. Null does
  // nothing.
  void deleteNode(ZEB_Node* node);
  // The broker's record, then those of each group and what is below it. The records stay the
  // tree's. Code 3 for null, 10 without a record.
  ZEB_ReturnCode getRecords(ZEB_Record_Set* out) override;
  void print() override;
  // From here on only the way to this node is made into objects, and what else the tree has stays
  // as it is stored (see ZEB_Broker_Tree). Ask the group and the flow of the way for nothing else.
  // Whatever asks the broker for more, makes all of it into objects for good. Call it before the
  // first reading. The identifiers of the path must outlive the broker.
  void keepTo(const ZEB_Node_Path& path);
  void dump();   // both areas, to the log, while tracing is on
  void flush();  // forgets the groups of this process, not the stored ones

  // --- store ---
  // Write a record to its place or append it, and read it from its place: see ZEB_Shared_Area.
  // Without a statistics area both are a silent success.
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
  // Folds one message into the record, under its lock; times as ZEB_STIR takes them, size in bytes.
  // At the maximum everything is reset first, with a message; a record that this does not reach is
  // reset by itself. Code 8 when not OK, or when the broker failed while it reset, 3 for null. A
  // record that can't be written is a success all the same.
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
  ZEB_Execution_Group_Set& wholeTree();
  ZEB_Execution_Group_Set& treeWith(const ZEB_Resource_ID& group);
  bool mayKeepToPath() const;
  ZEB_ReturnCode rebuild(ZEB_Execution_Group_Set& groups, const ZEB_Record_Set* records,
                         int keepEmpty);
  void adopt(const ZEB_Execution_Group_Set& groups, const ZEB_Record_Set& records);
  void populatePartially();
  void putAll(const ZEB_Execution_Group_Set& groups);
  ZEB_ReturnCode updateAlone(ZEB_STIR* record, _TimeStamp queued, _TimeStamp elapsed, int size);

  std::unique_ptr<ZEB_Shared_Memory> sharedMemory_;
  std::unique_ptr<ZEB_Stats_Area> statisticsArea_;
  std::unique_ptr<ZEB_Events_Area> ownedEventsArea_;
  std::atomic<ZEB_Events_Area*> eventsArea_ = nullptr;  // what is owned, once it is ready for use
  std::mutex makingEventsArea_;
  ZEB_Broker_Tree tree_;  // ask wholeTree for all groups
};

#endif  // ZEB_RESOURCES_BROKER_H
