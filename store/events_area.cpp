// SPDX-License-Identifier: Apache-2.0
#include "store/events_area.h"

#include <new>

#include "base/format.h"
#include "base/trace.h"
#include "records/event_information.h"

namespace {

constexpr char kUnit[] = "zebcevar";

constexpr int kTurns = 8;

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
  eventsLastUpdate_ = ZEB_Timer::nowTime();
  if (bZEBTracing) ZEB_DumpMemory(&eventsLastUpdate_, sizeof eventsLastUpdate_, "eventsLastUpdate");
  if (!segment || !OK()) return;
  const ZEB_String name = segment->getUuid();
  templateArea_.reset(new (std::nothrow) ZEB_Events_Template_Area(name));
  if (!templateArea_) {
    status_ = ZEB_STATUS_FAILED;
    return;
  }
  templateArea_->init(segment);
  dataArea_.reset(new (std::nothrow) ZEB_Events_Data_Area(name));
  if (!dataArea_) {
    status_ = ZEB_STATUS_FAILED;
    return;
  }
  dataArea_->init(segment);
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
  // One that is larger than the area comes to this, and is tried for ever.
  while (code == ZEB_NO_ROOM) code = templateArea_->put(eventTemplate);
  return trace.leave(code == ZEB_SUCCESS ? eventTemplate : nullptr);
}

// In one step, so that two threads with the same new template store it once. The second turn comes
// after a wrap.
ZEB_ReturnCode ZEB_Events_Area::findOrStore(ZEB_EVTR* eventTemplate) {
  const std::lock_guard guard(templates_);
  refresh();
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
  // What can't be read any more was overwritten: the templates before it are the cache. Without
  // memory it is tried again the next time.
  const ZEB_ReturnCode code = templateArea_->read(&cache_);
  if (code != ZEB_NOT_ALLOCATED) templatesStamp_ = lastUpdate;
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
  if (!OK() || !dataArea_) return trace.leave(ZEB_ReturnCode(ZEB_NOT_USABLE));
  const std::lock_guard guard(templates_);
  refresh();
  _TimeStamp lastUpdate = dataArea_->getLastUpdate();
  if (lastUpdate == eventsLastUpdate_) return trace.leave(ZEB_ReturnCode(ZEB_SUCCESS));
  ZEB_Ordered_Record_Set events;
  ZEB_ReturnCode code;
  // What is posted meanwhile would come again at the next call.
  for (int turn = 1;; ++turn) {
    code = dataArea_->read(&events, eventsLastUpdate_);
    const _TimeStamp now = dataArea_->getLastUpdate();
    if (now == lastUpdate || turn == kTurns) break;
    lastUpdate = now;
    events.clearAndDestroy();
  }
  if (code != ZEB_NOT_ALLOCATED) {
    eventsLastUpdate_ = lastUpdate;
    code = join(events, out);
    if (code == ZEB_NOT_ALLOCATED) trace.allocationError();
  }
  events.clearAndDestroy();
  return trace.leave(code);
}

ZEB_ReturnCode ZEB_Events_Area::join(const ZEB_Ordered_Record_Set& events,
                                     ZEB_Ordered_Record_Set* out) const {
  const ZEB_EVTR* parent = nullptr;
  for (const ZEB_Record* record : events) {
    if (!OK()) return ZEB_NOT_READ;
    const auto* const event = dynamic_cast<const ZEB_EVDR*>(record);
    if (!event) continue;
    if (!parent || event->isChildOf(parent) == 0) parent = cachedParent(event);
    if (!parent) return ZEB_SUCCESS;
    std::unique_ptr<ZEB_EVIR> joined(new (std::nothrow) ZEB_EVIR(parent, event));
    if (!joined || !joined->OK() || !out->insert(joined.get())) return ZEB_NOT_ALLOCATED;
    joined.release();  // NOLINT(bugprone-unused-return-value): the set has it
  }
  return ZEB_SUCCESS;
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
  if (!OK() || !templateArea_ || !templateArea_->usable() || !dataArea_ || !dataArea_->usable()) {
    trace.text("Shared Area Unavailable");
    return;
  }
  trace.text("Event templates");
  templateArea_->dump();
  trace.text("Event data");
  dataArea_->dump();
}
