// SPDX-License-Identifier: Apache-2.0
#include "resources/broker.h"

#include <new>

#include "base/calendar.h"
#include "base/temp_directory.h"
#include "base/trace.h"
#include "resources/container.h"

namespace {

constexpr char kUnit[] = "zebcbrkr";

// The tests build a library for themselves in which the partial tree is traced as well.
#ifdef ZEB_PARTIAL_WHILE_TRACED
constexpr bool kPartialWhileTraced = true;
#else
constexpr bool kPartialWhileTraced = false;
#endif

}  // namespace

ZEB_Broker::ZEB_Broker(const ZEB_Resource_ID* id) : ZEB_ORVA_Resource(ZEB_BRIR_RECORD, id) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::ZEB_Broker");
  init(id);
  if (!OK()) cleanup();
}

ZEB_Broker::~ZEB_Broker() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::~ZEB_Broker");
  cleanup();
}

void ZEB_Broker::init(const ZEB_Resource_ID* id) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::init");
  if (!id) return;
  const ZEB_String& uuid = id->getUuid();
  // Whatever it was before, on purpose: a broker without an information record works on.
  setStatus(uuid.getStatus());
  sharedMemory_.reset(new (std::nothrow) ZEB_Shared_Memory(&uuid));
  if (!sharedMemory_) return;  // the status stays as it is, on purpose
  sharedMemory_->init();
  if (sharedMemory_->OK())
    createStatisticsArea();
  else
    setStatus(ZEB_STATUS_FAILED);
}

void ZEB_Broker::createStatisticsArea() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::createStatisticsArea");
  if (!sharedMemory_) return;
  statisticsArea_.reset(new (std::nothrow) ZEB_Stats_Area(sharedMemory_->getUuid()));
  if (!statisticsArea_) {
    setStatus(ZEB_STATUS_FAILED);
    trace.allocationError();
    return;
  }
  statisticsArea_->init(sharedMemory_.get());
}

// Message threads may be the first to need the area, several at once: one makes it, and the others
// see it when it is ready.
ZEB_Events_Area* ZEB_Broker::eventsArea() {
  if (ZEB_Events_Area* const ready = eventsArea_.load(std::memory_order_acquire)) return ready;
  const std::lock_guard guard(makingEventsArea_);
  if (!ownedEventsArea_) createEventsArea();
  eventsArea_.store(ownedEventsArea_.get(), std::memory_order_release);
  return ownedEventsArea_.get();
}

void ZEB_Broker::createEventsArea() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::createEventsArea");
  ownedEventsArea_.reset(new (std::nothrow) ZEB_Events_Area(getUuid()));
  if (ownedEventsArea_)
    ownedEventsArea_->init(sharedMemory_.get());
  else
    setStatus(ZEB_STATUS_FAILED);
}

ZEB_Events_Area* ZEB_Broker::usableEventsArea() {
  ZEB_Events_Area* const area = eventsArea();
  return area && area->OK() ? area : nullptr;
}

// Destroying these objects detaches from the store and removes nothing from it. The segment goes
// first: the areas' destructors never touch their blocks.
void ZEB_Broker::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::cleanup");
  sharedMemory_.reset();
  statisticsArea_.reset();
  eventsArea_ = nullptr;
  ownedEventsArea_.reset();
  tree_.clear();
}

void ZEB_Broker::flush() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::flush");
  tree_.clear();
}

ZEB_String ZEB_Broker::getTempDirectory() {
  return ZEB_GetTempDirectory();
}

// The only way to all groups: a partial tree becomes whole.
ZEB_Execution_Group_Set& ZEB_Broker::wholeTree() {
  tree_.makeWhole([this](const ZEB_Record_Set* records) { findExecutionGroups(records, 1); });
  return tree_.part();
}

ZEB_Execution_Group_Set& ZEB_Broker::treeWith(const ZEB_Resource_ID& group) {
  return tree_.partHas(group) ? tree_.part() : wholeTree();
}

ZEB_Execution_Group* ZEB_Broker::findExecutionGroup(const ZEB_Resource_ID* id) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::findExecutionGroup");
  return trace.leave(id ? treeWith(*id).findExecutionGroup(id) : nullptr);
}

ZEB_Execution_Group* ZEB_Broker::insertExecutionGroup(const ZEB_Resource_ID* id) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::insertExecutionGroup");
  const ZEB_EGIR record(id);
  return trace.leave(insertExecutionGroup(&record));
}

ZEB_Execution_Group* ZEB_Broker::insertExecutionGroup(const ZEB_EGIR* record) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::insertExecutionGroup2");
  if (!record) return trace.leave(static_cast<ZEB_Execution_Group*>(nullptr));
  ZEB_Execution_Group_Set& groups = treeWith(record->getResourceId());
  return trace.leave(ZEB_InsertChild(trace, *this, groups, record));
}

ZEB_ReturnCode ZEB_Broker::findExecutionGroups(const ZEB_Record_Set* records, int keepEmpty) {
  return rebuild(wholeTree(), records, keepEmpty);
}

ZEB_ReturnCode ZEB_Broker::rebuild(ZEB_Execution_Group_Set& groups, const ZEB_Record_Set* records,
                                   int keepEmpty) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::findExecutionGroups");
  if (!records) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  return trace.leave(ZEB_RebuildChildren<ZEB_EGIR>(
      *records, ZEB_EGIR_RECORD, *this, groups, keepEmpty,
      [this](const ZEB_Resource_ID* id) { return findExecutionGroup(id); },
      [this](const ZEB_EGIR* record) { return insertExecutionGroup(record); },
      [&](ZEB_Execution_Group* group) { group->findMessageFlows(records, keepEmpty); },
      [](const ZEB_Execution_Group* group) { return group->messageFlows() == 0; }));
}

void ZEB_Broker::deleteNode(ZEB_Node* node) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::deleteNode");
  if (!node) return;
  node->markDeleted();
  if (!statisticsArea_) return;
  statisticsArea_->lock();
  putRecord(node->getInformationRecord());
  statisticsArea_->unlock();
}

ZEB_ReturnCode ZEB_Broker::getRecords(ZEB_Record_Set* out) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::getRecords");
  return trace.leave(gather(out, wholeTree()));
}

void ZEB_Broker::keepTo(const ZEB_Node_Path& path) {
  tree_.keepTo(path);
}

void ZEB_Broker::print() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::print");
  ZEB_ORVA_Resource::print();
  wholeTree().print();
}

void ZEB_Broker::dump() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::dump");
  if (!statisticsArea_) createStatisticsArea();
  if (statisticsArea_ && statisticsArea_->usable()) {
    trace.text("Statistics area");
    statisticsArea_->dump();
  } else {
    trace.text("Statistics area unavailable");
  }
  if (ZEB_Events_Area* const events = usableEventsArea()) {
    trace.text("Events area");
    events->dump();
  } else {
    trace.text("Events area unavailable");
  }
}

ZEB_ReturnCode ZEB_Broker::putRecord(ZEB_Record* record) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::putRecord");
  return trace.leave(statisticsArea_ ? statisticsArea_->put(record) : ZEB_ReturnCode(ZEB_SUCCESS));
}

ZEB_ReturnCode ZEB_Broker::getRecord(ZEB_Record* record) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::getRecord");
  return trace.leave(statisticsArea_ ? statisticsArea_->get(record) : ZEB_ReturnCode(ZEB_SUCCESS));
}

// Each step is taken while it is traced. A broker that is not OK stores nothing of its tree.
bool ZEB_Broker::mayKeepToPath() const {
  return (kPartialWhileTraced || bZEBTracing == 0) && OK() && getInformationRecord();
}

ZEB_ReturnCode ZEB_Broker::readStatsArea(int keepEmpty) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::readStatsArea");
  if (!statisticsArea_) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  ZEB_Record_Set records;
  ZEB_ReturnCode code;
  const bool partial = mayKeepToPath() && tree_.read(*statisticsArea_, keepEmpty, &records);
  ZEB_Execution_Group_Set& groups = partial ? tree_.part() : wholeTree();
  if (!partial) code = statisticsArea_->read(&records);
  if (code == ZEB_SUCCESS) {
    adopt(groups, records);
    code = rebuild(groups, &records, keepEmpty);
    if (records.isTangled()) code = ZEB_NOT_READ;
  }
  records.clearAndDestroy();
  return trace.leave(code);
}

// Takes over the first stored broker record. Another process may have stored it since this tree
// was begun under a record of its own: groups that were never stored move below the stored one, or
// nobody would ever reach them.
void ZEB_Broker::adopt(const ZEB_Execution_Group_Set& groups, const ZEB_Record_Set& records) {
  auto* const own = recordAs<ZEB_BRIR>();
  if (!own) return;
  for (const ZEB_Record* record : records) {
    if (record->type() != ZEB_BRIR_RECORD) continue;
    *own = *static_cast<const ZEB_BRIR*>(record);
    break;
  }
  for (ZEB_Execution_Group* group : groups)
    if (!group->getInformationRecord()->getAddress()) group->setParent(this);
}

ZEB_ReturnCode ZEB_Broker::populateStatsArea() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::populateStatsArea");
  if (OK()) putAll(wholeTree());
  return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
}

// What populateStatsArea does, for a partial tree that was just read.
void ZEB_Broker::populatePartially() {
  if (!OK()) return;
  tree_.writeRest(*statisticsArea_);
  putAll(tree_.part());
}

void ZEB_Broker::putAll(const ZEB_Execution_Group_Set& groups) {
  ZEB_Record_Set records;
  gather(&records, groups);
  for (ZEB_Record* record : records) putRecord(record);
}

std::uint32_t ZEB_Broker::isEmpty() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::isEmpty");
  const bool usable = statisticsArea_ && statisticsArea_->usable();
  return trace.leave(static_cast<std::uint32_t>(!usable || statisticsArea_->isEmpty()));
}

std::uint32_t ZEB_Broker::isEventAreaEmpty() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::isEventAreaEmpty");
  ZEB_Events_Area* const events = OK() ? usableEventsArea() : nullptr;
  ZEB_Events_Template_Area* const templates = events ? events->getTemplatesArea() : nullptr;
  const bool usable = templates && templates->usable();
  return trace.leave(static_cast<std::uint32_t>(!usable || templates->isEmpty()));
}

void ZEB_Broker::initStatistics() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::initStatistics");
  ZEB_ORVA_Resource::initStatistics();
  for (ZEB_Execution_Group* group : wholeTree()) group->initStatistics();
}

ZEB_ReturnCode ZEB_Broker::getStatistics(ZEB_STIR* first, ZEB_STIR* second, ZEB_STIR* third) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::getStatistics");
  collect(wholeTree());
  return trace.leave(ZEB_ORVA_Resource::getStatistics(first, second, third));
}

ZEB_ReturnCode ZEB_Broker::updateStatistics(ZEB_STIR* record, _TimeStamp queued, _TimeStamp elapsed,
                                            int size) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::updateStatistics");
  if (!OK()) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  if (!record) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  record->lock();
  getRecord(record);
  ZEB_ReturnCode code = record->updateStatistics(queued, elapsed, size);
  if (code == ZEB_MAXIMUM) {
    const ZEB_String label = getLabel();
    trace.maximumReached(label.getcValue());
    resetStatistics(0);
    getRecord(record);
    code = record->updateStatistics(queued, elapsed, size);
    if (code == ZEB_MAXIMUM) code = updateAlone(record, queued, elapsed, size);
  }
  if (code == ZEB_SUCCESS) putRecord(record);
  record->unlock();
  return trace.leave(code);
}

// The reset of the tree did not reach the record: it is in no tree, or nothing was stored.
ZEB_ReturnCode ZEB_Broker::updateAlone(ZEB_STIR* record, _TimeStamp queued, _TimeStamp elapsed,
                                       int size) {
  if (!OK()) return ZEB_NOT_USABLE;
  record->reset();
  putRecord(record);
  return record->updateStatistics(queued, elapsed, size);
}

void ZEB_Broker::resetStatistics(int perRecord) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::resetStatistics");
  if (!statisticsArea_) return;
  statisticsArea_->lock();
  readStatsArea(0);
  if (perRecord != 0 || !tree_.clearStatistics()) wholeTree();
  for (ZEB_Execution_Group* group : tree_.part())
    group->resetStatistics(perRecord != 0 ? this : nullptr);
  auto* const own = recordAs<ZEB_BRIR>();
  if (own) own->setResetTime(ZEB_CalendarNow());
  if (perRecord != 0)
    putRecord(own);
  else if (tree_.isWhole())
    populateStatsArea();
  else
    populatePartially();
  statisticsArea_->unlock();
}

ZEB_ReturnCode ZEB_Broker::resetStatistics(ZEB_STIR* record) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::resetStatistics_2");
  if (!OK()) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  if (!record) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  record->lock();
  getRecord(record);
  record->reset();
  putRecord(record);
  record->unlock();
  return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
}

std::uint32_t ZEB_Broker::lastResetTime() const {
  ZEB_Trace trace(kUnit, "ZEB_Broker::lastResetTime");
  const auto* const own = recordAs<ZEB_BRIR>();
  return trace.leave(own ? own->getResetTime() : 0U);
}

ZEB_EVTR* ZEB_Broker::setEventTemplate(ZEB_EVTR* eventTemplate) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::setEventTemplate");
  ZEB_Events_Area* const events = OK() && eventTemplate ? usableEventsArea() : nullptr;
  return trace.leave(events ? events->setEventTemplate(eventTemplate) : nullptr);
}

ZEB_ReturnCode ZEB_Broker::postEvent(ZEB_EVDR* event) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::postEvent");
  if (!OK()) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  if (!event) return trace.leave(ZEB_ReturnCode(ZEB_MISSING));
  ZEB_Events_Area* const events = eventsArea_.load(std::memory_order_acquire);
  if (!events || !events->OK()) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  return trace.leave(events->postEvent(event));
}

ZEB_ReturnCode ZEB_Broker::getEvents(ZEB_Ordered_Record_Set* out) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::getEvents");
  if (!OK()) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  ZEB_Events_Area* const events = eventsArea();
  if (!events) return trace.leave(ZEB_ReturnCode(ZEB_NOT_ALLOCATED));
  if (!events->OK()) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  return trace.leave(events->getEvents(out));
}
