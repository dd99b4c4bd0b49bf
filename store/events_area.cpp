// SPDX-License-Identifier: Apache-2.0
#include "store/events_area.h"

#include <new>

#include "base/format.h"
#include "base/trace.h"
#include "records/event_information.h"

namespace {

constexpr char kUnit[] = "zebcevar";

// Holds an area's lock as long as it lives.
class Area_Guard {
 public:
  explicit Area_Guard(ZEB_Shared_Area& area) : area_(area) { area_.lock(); }
  ~Area_Guard() { area_.unlock(); }
  Area_Guard(const Area_Guard&) = delete;
  Area_Guard& operator=(const Area_Guard&) = delete;

 private:
  ZEB_Shared_Area& area_;
};

constexpr _TimeStamp kNoLimit{UINT32_MAX, UINT32_MAX};

bool add(const ZEB_EVTR* parent, const ZEB_EVDR* event, ZEB_Ordered_Record_Set* out) {
  std::unique_ptr<ZEB_EVIR> joined(new (std::nothrow) ZEB_EVIR(parent, event));
  if (!joined || !joined->OK() || !out->insert(joined.get())) return false;
  joined.release();  // NOLINT(bugprone-unused-return-value): the set has it
  return true;
}

}  // namespace

ZEB_Events_Area::ZEB_Events_Area(const ZEB_String& /*name*/) {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::ZEB_Events_Area");
}

ZEB_Events_Area::~ZEB_Events_Area() {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::~ZEB_Events_Area");
  cleanup();
}

void ZEB_Events_Area::init(ZEB_Shared_Memory* segment) {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::init");
  templatesStamp_ = {};
  begin_ = eventsLastUpdate_ = ZEB_Timer::nowTime();
  if (bZEBTracing) ZEB_DumpMemory(&eventsLastUpdate_, sizeof eventsLastUpdate_, "eventsLastUpdate");
  if (!segment || !OK()) return;
  const ZEB_String name = segment->getUuid();
  templateArea_.reset(new (std::nothrow) ZEB_Events_Template_Area(name));
  if (templateArea_) {
    templateArea_->init(segment);
    dataArea_.reset(new (std::nothrow) ZEB_Events_Data_Area(name));
  }
  if (!dataArea_) {
    trace.allocationError();
    status_ = ZEB_STATUS_FAILED;
    return;
  }
  dataArea_->init(segment);
}

bool ZEB_Events_Area::hasBothAreas() const {
  return OK() && templateArea_ && templateArea_->usable() && dataArea_ && dataArea_->usable();
}

ZEB_ReturnCode ZEB_Events_Area::postEvent(ZEB_EVDR* event) {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::postEvent");
  if (!OK() || !dataArea_) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  return trace.leave(dataArea_->put(event));
}

ZEB_EVTR* ZEB_Events_Area::setEventTemplate(ZEB_EVTR* eventTemplate) {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::setEventTemplate");
  if (!OK() || !templateArea_ || !eventTemplate || !eventTemplate->OK())
    return trace.leave(static_cast<ZEB_EVTR*>(nullptr));
  ZEB_ReturnCode code = findOrStore(eventTemplate);
  // One that is larger than the area comes to this, and is tried without end.
  while (code == ZEB_NO_ROOM) code = templateArea_->put(eventTemplate);
  return trace.leave(code == ZEB_SUCCESS ? eventTemplate : nullptr);
}

// In one step, so that two threads with the same new template store it once. A writer that was
// stopped in the template area hides what lies behind. Its lock comes free when the rest can be
// read, so the cache is looked through again then.
ZEB_ReturnCode ZEB_Events_Area::findOrStore(ZEB_EVTR* eventTemplate) {
  const std::lock_guard guard(templates_);
  refresh();
  if (isCacheWhole() || cached(eventTemplate)) return findOrAppend(eventTemplate);
  const Area_Guard area(*templateArea_);
  refresh();
  return findOrAppend(eventTemplate);
}

// The second turn comes after a wrap.
ZEB_ReturnCode ZEB_Events_Area::findOrAppend(ZEB_EVTR* eventTemplate) {
  if (const ZEB_EVTR* const stored = cached(eventTemplate)) {
    *eventTemplate = *stored;
    return eventTemplate->OK() ? ZEB_SUCCESS : ZEB_NOT_ALLOCATED;
  }
  ZEB_ReturnCode code = templateArea_->putOnce(eventTemplate);
  if (code == ZEB_NO_ROOM) code = templateArea_->putOnce(eventTemplate);
  if (code == ZEB_SUCCESS) remember(*eventTemplate);
  return code;
}

// The area's stamp counts milliseconds: within the same one, only the cache knows what was stored.
void ZEB_Events_Area::remember(const ZEB_EVTR& stored) {
  std::unique_ptr<ZEB_EVTR> copy(new (std::nothrow) ZEB_EVTR(stored));
  // NOLINTNEXTLINE(bugprone-unused-return-value): the cache has it
  if (copy && copy->OK() && cache_.insert(copy.get())) copy.release();
}

ZEB_ReturnCode ZEB_Events_Area::getTemplates() {
  const std::lock_guard guard(templates_);
  return refresh();
}

ZEB_ReturnCode ZEB_Events_Area::refresh() {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::getTemplates");
  if (!OK() || !templateArea_ || !templateArea_->usable())
    return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  const _TimeStamp lastUpdate = templateArea_->getLastUpdate();
  if (lastUpdate == templatesStamp_) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  flush();
  // Behind what was written over and can't be read any more, nothing is looked for: the templates
  // before it are the cache. While somebody writes there, or without memory, it is read again the
  // next time.
  const auto [code, writing] = templateArea_->walk(&cache_, [](const ZEB_Record&) { return true; });
  if (code != ZEB_NOT_ALLOCATED && !writing) templatesStamp_ = lastUpdate;
  return trace.leave(code);
}

void ZEB_Events_Area::flushTemplates() {
  const std::lock_guard guard(templates_);
  flush();
}

void ZEB_Events_Area::flush() {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::flushTemplates");
  cache_.clearAndDestroy();
  templatesStamp_ = {};
}

ZEB_EVTR* ZEB_Events_Area::findTemplate(const ZEB_EVTR* eventTemplate) {
  const std::lock_guard guard(templates_);
  return cached(eventTemplate);
}

ZEB_EVTR* ZEB_Events_Area::findTemplate(const ZEB_EVDR* event) {
  const std::lock_guard guard(templates_);
  return cachedParent(event);
}

// The template area may be damaged: what is no template is passed over.
ZEB_EVTR* ZEB_Events_Area::cached(const ZEB_EVTR* eventTemplate) const {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::findTemplate");
  for (ZEB_Record* record : cache_) {
    auto* const candidate = dynamic_cast<ZEB_EVTR*>(record);
    if (candidate && eventTemplate && *candidate == *eventTemplate) return trace.leave(candidate);
  }
  return trace.leave(static_cast<ZEB_EVTR*>(nullptr));
}

ZEB_EVTR* ZEB_Events_Area::cachedParent(const ZEB_EVDR* event) const {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::findTemplate");
  for (ZEB_Record* record : cache_)
    if (event && event->isChildOf(record) != 0) return trace.leave(dynamic_cast<ZEB_EVTR*>(record));
  return trace.leave(static_cast<ZEB_EVTR*>(nullptr));
}

ZEB_ReturnCode ZEB_Events_Area::getEvents(ZEB_Ordered_Record_Set* out) {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::getEvents");
  if (!out) return trace.leave(ZEB_ReturnCode(ZEB_NULL_ARGUMENT));
  if (!hasBothAreas()) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  const std::lock_guard guard(templates_);
  refresh();
  const ZEB_ReturnCode code = makeCollected() ? collect(out) : ZEB_NOT_ALLOCATED;
  if (code == ZEB_NOT_ALLOCATED) trace.allocationError();
  return trace.leave(code);
}

bool ZEB_Events_Area::makeCollected() {
  if (!collected_) collected_.reset(new (std::nothrow) ZEB_Record_ID[dataArea_->slots() + 1]);
  return collected_ != nullptr;
}

bool ZEB_Events_Area::isUnread(const ZEB_Record& record) const {
  return record.type() == ZEB_EVDR_RECORD && record.isNewer(begin_) != 0 &&
         collected_[dataArea_->slotOf(record.getAddress())] != *record.getRecordId();
}

void ZEB_Events_Area::setCollected(const ZEB_Record& record) {
  collected_[dataArea_->slotOf(record.getAddress())] = *record.getRecordId();
}

// What is created while the area is read comes with the next call, since some of it may lie where
// the reader has been already.
ZEB_ReturnCode ZEB_Events_Area::collect(ZEB_Ordered_Record_Set* out) {
  const _TimeStamp lastUpdate = dataArea_->getLastUpdate();
  if (lastUpdate == eventsLastUpdate_) return ZEB_SUCCESS;
  ZEB_Ordered_Record_Set events;
  ZEB_ReturnCode code =
      dataArea_->walk(&events, [this](const ZEB_Record& record) { return isUnread(record); }).code;
  bool postponed = false;
  if (code != ZEB_NOT_ALLOCATED) {
    const bool quiet = dataArea_->getLastUpdate() == lastUpdate;
    code = join(events, quiet ? kNoLimit : lastUpdate, out, postponed);
  }
  events.clearAndDestroy();
  if (code != ZEB_NOT_ALLOCATED && !postponed) eventsLastUpdate_ = lastUpdate;
  return code;
}

// An event without a template ends the walk, on purpose: it and the later ones are dropped. Not so
// while somebody writes in the template area, where the template may be found later.
ZEB_ReturnCode ZEB_Events_Area::join(const ZEB_Ordered_Record_Set& events, _TimeStamp limit,
                                     ZEB_Ordered_Record_Set* out, bool& postponed) {
  const ZEB_EVTR* parent = nullptr;
  bool reread = false;
  bool dropping = false;
  for (const ZEB_Record* record : events) {
    if (!OK()) return ZEB_NOT_READ;
    const auto* const event = static_cast<const ZEB_EVDR*>(record);
    if (event->isNewer(limit) != 0) continue;
    if (!dropping) parent = parentOf(event, parent, reread);
    if (!parent && !isCacheWhole()) {
      postponed = true;
      continue;
    }
    dropping = !parent;
    if (parent && !add(parent, event, out)) return ZEB_NOT_ALLOCATED;
    setCollected(*event);
  }
  return ZEB_SUCCESS;
}

// A template that was stored since the cache was refreshed is found by reading its area again, once
// for all events.
const ZEB_EVTR* ZEB_Events_Area::parentOf(const ZEB_EVDR* event, const ZEB_EVTR* likely,
                                          bool& reread) {
  if (likely && event->isChildOf(likely) != 0) return likely;
  const ZEB_EVTR* const parent = cachedParent(event);
  if (parent || reread) return parent;
  reread = true;
  flush();
  refresh();
  return cachedParent(event);
}

ZEB_Events_Template_Area* ZEB_Events_Area::getTemplatesArea() const {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::getTemplatesArea");
  return trace.leave(templateArea_.get());
}

bool ZEB_Events_Area::OK() const {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::OK");
  return trace.leave(status_ == ZEB_STATUS_OK);
}

int ZEB_Events_Area::getStatus() const {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::getStatus");
  return trace.leave(status_);
}

void ZEB_Events_Area::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::cleanup");
  flushTemplates();
  templateArea_.reset();
  dataArea_.reset();
  status_ = ZEB_STATUS_FAILED;
}

void ZEB_Events_Area::dump() {
  ZEB_Trace trace(kUnit, "ZEB_Events_Area::dump");
  if (!hasBothAreas()) {
    trace.text("Shared Area Unavailable");
    return;
  }
  trace.text("Event templates");
  templateArea_->dump();
  trace.text("Event data");
  dataArea_->dump();
}
