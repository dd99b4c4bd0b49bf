// SPDX-License-Identifier: Apache-2.0
#include "resources/broker.h"

#include <algorithm>
#include <new>

#include "base/calendar.h"
#include "base/temp_directory.h"
#include "base/trace.h"
#include "resources/container.h"

namespace {

constexpr char kUnit[] = "zebcbrkr";

// A group or flow that a tree keeps only when it is told to.
bool bare(const ZEB_Stored_Tree::Entry& entry) {
  const std::uint32_t type = layout::typeOf(entry.image.bytes().data());
  return entry.nodes == 0 && (type == ZEB_EGIR_RECORD || type == ZEB_MFIR_RECORD);
}

bool sameButForStatistics(const ZEB_Stored_Image& a, const ZEB_Stored_Image& b) {
  if (a == b) return true;
  const ZEB_Record_Header one = a.header();
  const ZEB_Record_Header other = b.header();
  return one.id.type == ZEB_STIR_RECORD && a.address() == b.address() && one.id == other.id &&
         one.parent == other.parent;
}

void insertRecord(ZEB_Record_Set& records, const ZEB_Stored_Image& image) {
  std::unique_ptr<ZEB_Record> record = image.record();
  if (!record || !records.insert(record.get())) throw std::bad_alloc();
  record.release();  // NOLINT(bugprone-unused-return-value): the set has it
}

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
  if (!sharedMemory_) return;
  ownedEventsArea_.reset(new (std::nothrow) ZEB_Events_Area(sharedMemory_->getUuid()));
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
  aside_.clear();
  catalogue_.reset();
  sharedMemory_.reset();
  statisticsArea_.reset();
  eventsArea_ = nullptr;
  ownedEventsArea_.reset();
  executionGroups_.cleanup();
}

void ZEB_Broker::flush() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::flush");
  aside_.clear();
  executionGroups_.cleanup();
}

ZEB_String ZEB_Broker::getTempDirectory() {
  return ZEB_GetTempDirectory();
}

ZEB_Execution_Group* ZEB_Broker::findExecutionGroup(const ZEB_Resource_ID* id) const {
  ZEB_Trace trace(kUnit, "ZEB_Broker::findExecutionGroup");
  return trace.leave(executionGroups_.findExecutionGroup(id));
}

ZEB_Execution_Group* ZEB_Broker::insertExecutionGroup(const ZEB_Resource_ID* id) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::insertExecutionGroup");
  const ZEB_EGIR record(id);
  return trace.leave(insertExecutionGroup(&record));
}

ZEB_Execution_Group* ZEB_Broker::insertExecutionGroup(const ZEB_EGIR* record) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::insertExecutionGroup2");
  return trace.leave(container::insert(trace, *this, executionGroups_, record));
}

ZEB_ReturnCode ZEB_Broker::findExecutionGroups(const ZEB_Record_Set* records, int keepEmpty) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::findExecutionGroups");
  if (!records) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  return trace.leave(container::rebuild<ZEB_EGIR>(
      *records, ZEB_EGIR_RECORD, *this, executionGroups_, keepEmpty,
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
  takeBack();
  return gatherObjects(out);
}

ZEB_ReturnCode ZEB_Broker::gatherObjects(ZEB_Record_Set* out) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::getRecords");
  return trace.leave(gather(out, executionGroups_));
}

void ZEB_Broker::keepTo(const ZEB_Node_Path& path) {
  path_ = path;
}

// Makes records of what is stored on the path, and puts aside what else a tree consists of. False,
// with nothing done, where the tree would not be what it is after a reading of everything.
bool ZEB_Broker::readPath(ZEB_Record_Set* records, int keepEmpty) {
  // While it is traced, every step is taken; a broker that is not OK stores nothing of its tree.
  if (!path_ || bZEBTracing != 0 || !OK() || !getInformationRecord() || !statisticsArea_->usable())
    return false;
  if (!catalogue_) catalogue_ = ZEB_Stored_Tree::of(statisticsArea_->getFirstPosition());
  bool taken = false;
  const bool read = catalogue_ && catalogue_->read(statisticsArea_->stored(),
                                                   [&] { taken = takePath(records, keepEmpty); });
  if (!read) records->clearAndDestroy();
  return read && taken;
}

// Part of readPath.
bool ZEB_Broker::takePath(ZEB_Record_Set* records, int keepEmpty) {
  const auto* const broker = catalogue_->broker();
  const auto* const group = catalogue_->child(broker, *path_->executionGroup);
  const auto* const flow = catalogue_->child(group, *path_->messageFlow);
  const auto* const node = catalogue_->child(flow, *path_->node);
  const auto* const statistics = catalogue_->statistics(node);
  // Any other node that has none stored would get new ones.
  if (catalogue_->nodesWithoutStatistics() != (node && !statistics ? 1U : 0U)) return false;
  const auto path = {broker, group, flow, node, statistics};
  std::vector<const ZEB_Stored_Tree::Entry*> rest;
  for (const ZEB_Stored_Tree::Entry& entry : catalogue_->entries())
    if (entry.inTree && std::ranges::find(path, &entry) == path.end()) rest.push_back(&entry);

  const bool begun = executionGroups_.entries() > 0 || !aside_.empty();
  if (begun ? !samePath(group, flow, node) || !sameAside(rest) : keepEmpty == 0) return false;

  std::vector<ZEB_Stored_Image> aside;
  aside.reserve(rest.size());
  for (const ZEB_Stored_Tree::Entry* entry : rest)
    if (keepEmpty != 0 || !bare(*entry)) aside.push_back(entry->image);
  for (const ZEB_Stored_Tree::Entry* entry : path)
    if (entry) insertRecord(*records, entry->image);
  aside_.swap(aside);
  return true;
}

// Nothing that is stored of this tree's path stands elsewhere than on that of a new tree.
bool ZEB_Broker::samePath(const ZEB_Stored_Tree::Entry* group, const ZEB_Stored_Tree::Entry* flow,
                          const ZEB_Stored_Tree::Entry* node) const {
  const auto same = [](const ZEB_ORVA_Resource* own, const ZEB_Stored_Tree::Entry* stored) {
    return !own || !own->getInformationRecord()->getAddress() ||
           (stored && stored->image.header().id == *own->getRecordId());
  };
  const auto* const ownGroup = findExecutionGroup(path_->executionGroup);
  const auto* const ownFlow = ownGroup ? ownGroup->findMessageFlow(path_->messageFlow) : nullptr;
  const auto* const ownNode = ownFlow ? ownFlow->findNode(path_->node) : nullptr;
  return same(ownGroup, group) && same(ownFlow, flow) && same(ownNode, node);
}

// What was put aside stands there still, but for its statistics, and no more than empty groups and
// flows beside it.
bool ZEB_Broker::sameAside(const std::vector<const ZEB_Stored_Tree::Entry*>& rest) const {
  auto known = aside_.begin();
  for (const ZEB_Stored_Tree::Entry* entry : rest) {
    if (known != aside_.end() && sameButForStatistics(*known, entry->image))
      ++known;
    else if (!bare(*entry))
      return false;
  }
  return known == aside_.end();
}

// Resets the statistics that were put aside, and stores them. False when memory ran out.
bool ZEB_Broker::clearAside() {
  for (ZEB_Stored_Image& image : aside_) {
    const std::span<const std::uint8_t> present = image.bytes();
    if (layout::typeOf(present.data()) != ZEB_STIR_RECORD) continue;
    std::uint8_t cleared[layout::stir::bytes] = {};
    std::ranges::copy(present.first(layout::header::bytes), cleared);
    if (std::ranges::equal(present, cleared)) continue;
    ZEB_Stored_Image next = ZEB_Stored_Image::of(cleared, image.address());
    if (!next) return false;
    image = std::move(next);
    statisticsArea_->writeBytes(image.address(), cleared);
  }
  return true;
}

// What a rebuild from the stored forms would not bring back as it is stays where it is: a record
// that was not stored, or one that names another parent.
bool ZEB_Broker::putAside(const ZEB_ORVA_Resource& parent, const ZEB_ORVA_Resource& child,
                          std::initializer_list<ZEB_Record*> records) {
  if (child.isChildOf(&parent) == 0) return false;
  const std::size_t before = aside_.size();
  try {
    for (ZEB_Record* record : records) {
      ZEB_Stored_Image image = record ? ZEB_Stored_Image::of(*record) : ZEB_Stored_Image();
      if (!image) break;
      aside_.push_back(std::move(image));
    }
  } catch (const std::bad_alloc&) {
  }
  if (aside_.size() - before == records.size()) return true;
  aside_.resize(before);
  return false;
}

// Afterwards only what lies on the way to the needed node has children; while it is traced, every
// node stays.
void ZEB_Broker::setAside(const ZEB_Node* node) {
  needed_ = node;
  if (bZEBTracing != 0) return;
  const std::size_t before = aside_.size();
  executionGroups_.dropIf([&](ZEB_Execution_Group* group) {
    group->getMessageFlows().dropIf([&](ZEB_Message_Flow* flow) {
      flow->getNodes().dropIf([&](ZEB_Node* other) {
        ZEB_STIR* const statistics = other->getStatsRecord();
        return other != node && statistics &&
               statistics->isChildOf(other->getInformationRecord()) != 0 &&
               putAside(*flow, *other, {other->getInformationRecord(), statistics});
      });
      return flow->nodes() == 0 && putAside(*group, *flow, {flow->getInformationRecord()});
    });
    return group->messageFlows() == 0 && putAside(*this, *group, {group->getInformationRecord()});
  });
  if (aside_.size() == before) return;
  std::ranges::sort(aside_, {}, &ZEB_Stored_Image::address);
  aside_.shrink_to_fit();
}

// Containers that stayed are asked one by one: one may have stayed because it names another parent.
void ZEB_Broker::takeBack() {
  if (aside_.empty()) return;
  std::vector<std::unique_ptr<ZEB_Record>> made;
  ZEB_Record_Set records;
  try {
    made.reserve(aside_.size());
    for (const ZEB_Stored_Image& image : aside_)
      if (auto record = image.record()) made.push_back(std::move(record));
  } catch (const std::bad_alloc&) {
  }
  for (const auto& record : made) records.insert(record.get());
  aside_.clear();
  for (ZEB_Execution_Group* group : executionGroups_) {
    for (ZEB_Message_Flow* flow : group->getMessageFlows()) flow->findNodes(&records, 1);
    group->findMessageFlows(&records, 1);
  }
  findExecutionGroups(&records, 1);
  executionGroups_.sortByAddress();
  for (ZEB_Execution_Group* group : executionGroups_) {
    group->getMessageFlows().sortByAddress();
    for (ZEB_Message_Flow* flow : group->getMessageFlows()) flow->getNodes().sortByAddress();
  }
}

void ZEB_Broker::print() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::print");
  takeBack();
  ZEB_ORVA_Resource::print();
  executionGroups_.print();
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

ZEB_ReturnCode ZEB_Broker::readStatsArea(int keepEmpty) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::readStatsArea");
  if (!statisticsArea_) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  ZEB_Record_Set records;
  ZEB_ReturnCode code;
  if (!readPath(&records, keepEmpty)) {
    takeBack();
    code = statisticsArea_->read(&records);
  }
  if (code == ZEB_SUCCESS) {
    adopt(records);
    code = findExecutionGroups(&records, keepEmpty);
    if (records.isTangled()) code = ZEB_NOT_READ;
  }
  records.clearAndDestroy();
  return trace.leave(code);
}

// Takes over the first stored broker record. Another process may have stored it since this tree
// was begun under a record of its own: groups that were never stored move below the stored one, or
// nobody would ever reach them.
void ZEB_Broker::adopt(const ZEB_Record_Set& records) {
  auto* const own = recordAs<ZEB_BRIR>();
  if (!own) return;
  for (const ZEB_Record* record : records) {
    if (record->type() != ZEB_BRIR_RECORD) continue;
    *own = *static_cast<const ZEB_BRIR*>(record);
    break;
  }
  for (ZEB_Execution_Group* group : executionGroups_)
    if (!group->getInformationRecord()->getAddress()) group->setParent(this);
}

ZEB_ReturnCode ZEB_Broker::populateStatsArea() {
  ZEB_Trace trace(kUnit, "ZEB_Broker::populateStatsArea");
  if (!OK()) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  takeBack();
  putObjects();
  return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
}

// Stores the tree but for what is put aside.
void ZEB_Broker::putObjects() {
  ZEB_Record_Set records;
  gatherObjects(&records);
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
  takeBack();
  ZEB_ORVA_Resource::initStatistics();
  for (ZEB_Execution_Group* group : executionGroups_) group->initStatistics();
}

ZEB_ReturnCode ZEB_Broker::getStatistics(ZEB_STIR* first, ZEB_STIR* second, ZEB_STIR* third) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::getStatistics");
  takeBack();
  collect(executionGroups_);
  return trace.leave(ZEB_ORVA_Resource::getStatistics(first, second, third));
}

ZEB_ReturnCode ZEB_Broker::updateStatistics(ZEB_STIR* record, _TimeStamp queued, _TimeStamp elapsed,
                                            int size) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::updateStatistics");
  if (!OK()) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  if (!record) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  record->lock();
  ZEB_ReturnCode code;
  do {
    getRecord(record);
    code = record->updateStatistics(queued, elapsed, size);
    if (code == ZEB_MAXIMUM) {
      const ZEB_String label = getLabel();
      trace.maximumReached(label.getcValue());
      resetStatistics(0);
    }
  } while (code == ZEB_MAXIMUM);
  if (code == ZEB_SUCCESS) putRecord(record);
  record->unlock();
  return trace.leave(code);
}

void ZEB_Broker::resetStatistics(int perRecord) {
  ZEB_Trace trace(kUnit, "ZEB_Broker::resetStatistics");
  if (!statisticsArea_) return;
  statisticsArea_->lock();
  readStatsArea(0);
  if (perRecord != 0 || !clearAside()) takeBack();
  for (ZEB_Execution_Group* group : executionGroups_)
    group->resetStatistics(perRecord != 0 ? this : nullptr);
  auto* const own = recordAs<ZEB_BRIR>();
  if (own) own->setResetTime(ZEB_CalendarNow());
  if (perRecord != 0)
    putRecord(own);
  else if (aside_.empty())
    populateStatsArea();
  else
    putObjects();
  statisticsArea_->unlock();
  if (needed_) setAside(needed_);
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
