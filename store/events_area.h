// SPDX-License-Identifier: Apache-2.0
// The events of one broker: the two areas that hold them, and what joins them.
#ifndef ZEB_STORE_EVENTS_AREA_H
#define ZEB_STORE_EVENTS_AREA_H

#include <memory>
#include <mutex>

#include "records/event_data.h"
#include "records/event_template.h"
#include "store/events_data_area.h"
#include "store/events_template_area.h"

// Templates are stored once per content: each process keeps a cache of them, refreshed when the
// time stamp of their area has changed. Threads may use one object at once; `templates_` is taken
// before any inter-process lock.
class ZEB_Events_Area {
 public:
  // The name is not used, on purpose: the areas are named by the segment's identifier.
  explicit ZEB_Events_Area(const ZEB_String& name);
  virtual ~ZEB_Events_Area();
  ZEB_Events_Area(const ZEB_Events_Area&) = delete;
  ZEB_Events_Area& operator=(const ZEB_Events_Area&) = delete;

  // Binds both areas; status 301 when one can't be allocated. Events of the past are not collected
  // by this object.
  virtual void init(ZEB_Shared_Memory* segment);

  // Appends the event, over the oldest ones when the area is full. Code 8 when not OK.
  ZEB_ReturnCode postEvent(ZEB_EVDR* event);

  // Makes the template the stored one: it becomes a copy of an equal template that is stored
  // already, record ID and address included, or is stored itself. Returns it, or null when not OK
  // or when it could not be stored.
  ZEB_EVTR* setEventTemplate(ZEB_EVTR* eventTemplate);

  // Refreshes the cache. Code 8 without a usable template area.
  ZEB_ReturnCode getTemplates();

  // In the cache: the first template of that content; the first that is the event's parent. Null
  // when there is none. Valid until the next refresh.
  ZEB_EVTR* findTemplate(const ZEB_EVTR* eventTemplate);
  ZEB_EVTR* findTemplate(const ZEB_EVDR* event);
  void flushTemplates();

  // Collects the events posted since the last call, joined with their templates, in the order in
  // which they stand in the area; the caller owns them. The walk ends at the first event without a
  // template, on purpose, and the later ones are dropped. Code 3 for null, 8 when not OK, 6 when
  // memory ran out.
  ZEB_ReturnCode getEvents(ZEB_Ordered_Record_Set* out);

  ZEB_Events_Template_Area* getTemplatesArea() const;
  bool OK() const;
  int getStatus() const;
  void cleanup();  // deletes both areas, whose blocks stay; status 301
  void dump();     // to the log, while tracing is on

 private:
  ZEB_ReturnCode findOrStore(ZEB_EVTR* eventTemplate);
  // As their public namesakes, with templates_ held.
  ZEB_ReturnCode refresh();
  void flush();
  ZEB_EVTR* cached(const ZEB_EVTR* eventTemplate) const;
  ZEB_EVTR* cachedParent(const ZEB_EVDR* event) const;
  void remember(const ZEB_EVTR& stored);
  ZEB_ReturnCode join(const ZEB_Ordered_Record_Set& events, ZEB_Ordered_Record_Set* out) const;

  int status_ = ZEB_STATUS_OK;
  std::unique_ptr<ZEB_Events_Template_Area> templateArea_;
  std::unique_ptr<ZEB_Events_Data_Area> dataArea_;
  _TimeStamp templatesStamp_;  // of what the cache was read from, zero after a flush
  _TimeStamp eventsLastUpdate_;
  ZEB_Record_Set cache_;  // owned; a damaged area may put other records among the templates
  // Guards the cache, both stamps, and the search for a template with its storing.
  std::mutex templates_;
};

#endif  // ZEB_STORE_EVENTS_AREA_H
