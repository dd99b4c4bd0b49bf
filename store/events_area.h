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

// Templates are stored once per content. Each process keeps a cache of them, and refreshes it when
// the time stamp of their area has changed.
//
// Threads may use one object at once. `templates_` is taken before any inter-process lock.
class ZEB_Events_Area {
 public:
  // The name is not used, on purpose: the areas are named by the segment's identifier.
  explicit ZEB_Events_Area(const ZEB_String& name);
  virtual ~ZEB_Events_Area();
  ZEB_Events_Area(const ZEB_Events_Area&) = delete;
  ZEB_Events_Area& operator=(const ZEB_Events_Area&) = delete;

  // Makes both areas and binds them to the segment, which the caller keeps alive. Status 301 and
  // message 1 when there is no memory for one. Null makes nothing. Events that were created up to
  // this millisecond are never collected by this object.
  virtual void init(ZEB_Shared_Memory* segment);

  // Appends the event, over the oldest ones when the area is full. The event stays the caller's.
  // Code 8 when not OK, 6 and message 1 when memory ran out. Null is not written: code 0.
  ZEB_ReturnCode postEvent(ZEB_EVDR* event);

  // Makes the template the stored one: it becomes a copy of an equal template that is stored
  // already, record ID and address included, or is stored itself. Returns its argument, which stays
  // the caller's, or null: for null, when not OK, or when it could not be stored. One that is
  // larger than the area is tried without end, on purpose.
  ZEB_EVTR* setEventTemplate(ZEB_EVTR* eventTemplate);

  // Refreshes the cache. Code 8 without a usable template area, 6 and message 1 when memory ran
  // out, 1 when the cache holds only the templates before a place that can't be read.
  ZEB_ReturnCode getTemplates();

  // In the cache: the first template of that content; the first that is the event's parent. Null
  // when there is none. Valid until the next refresh.
  ZEB_EVTR* findTemplate(const ZEB_EVTR* eventTemplate);
  ZEB_EVTR* findTemplate(const ZEB_EVDR* event);
  // Empties the cache, so that the next refresh reads the area.
  void flushTemplates();

  // Adds the events posted since the last call to `out`, each joined with its template, in the
  // order in which they lie in the area. The caller owns the new records. No event comes twice, and
  // none is left out unless it was written over. Those that are created while this call reads may
  // come with the next one. So do those within the millisecond of the last call, and only when a
  // later one is posted.
  //
  // An event whose template is not stored ends the call, on purpose, and the later ones are
  // dropped. Code 3 for null, 8 when not OK or without both areas, 6 and message 1 when memory ran
  // out: what is in `out` by then does not come again, the rest does.
  ZEB_ReturnCode getEvents(ZEB_Ordered_Record_Set* out);

  // Null before init and after cleanup.
  ZEB_Events_Template_Area* getTemplatesArea() const;
  bool OK() const;
  int getStatus() const;  // 0 or 301
  void cleanup();         // deletes both areas, whose blocks stay; status 301
  void dump();            // to the log, while tracing is on

 private:
  bool hasBothAreas() const;  // OK, and both can be read
  ZEB_ReturnCode findOrStore(ZEB_EVTR* eventTemplate);
  // As their public namesakes, with templates_ held.
  ZEB_ReturnCode refresh();
  void flush();
  ZEB_EVTR* cached(const ZEB_EVTR* eventTemplate) const;
  ZEB_EVTR* cachedParent(const ZEB_EVDR* event) const;

  // Likewise. False while the template area must be read again.
  bool isCacheWhole() const { return templatesStamp_ != _TimeStamp{}; }
  ZEB_ReturnCode findOrAppend(ZEB_EVTR* eventTemplate);
  void remember(const ZEB_EVTR& stored);
  const ZEB_EVTR* parentOf(const ZEB_EVDR* event, const ZEB_EVTR* likely, bool& reread);
  bool makeCollected();
  bool isUnread(const ZEB_Record& record) const;
  void setCollected(const ZEB_Record& record);
  ZEB_ReturnCode collect(ZEB_Ordered_Record_Set* out);
  // Those created after `limit` are left for the next call; `postponed` is set when others are.
  ZEB_ReturnCode join(const ZEB_Ordered_Record_Set& events, _TimeStamp limit,
                      ZEB_Ordered_Record_Set* out, bool& postponed);

  int status_ = ZEB_STATUS_OK;
  std::unique_ptr<ZEB_Events_Template_Area> templateArea_;
  std::unique_ptr<ZEB_Events_Data_Area> dataArea_;
  _TimeStamp templatesStamp_;    // of what the cache was read from, zero when it isn't whole
  _TimeStamp eventsLastUpdate_;  // of the data area when events were last collected
  ZEB_Record_Set cache_;         // owned; a damaged area may put other records among the templates
  _TimeStamp begin_;             // of init
  // By slot of the data area, the event there that was collected last. A stamp alone can't tell
  // what is new: it is made before its event waits for the area's lock.
  std::unique_ptr<ZEB_Record_ID[]> collected_;
  // Guards the cache, the stamps, what was collected, and the search for a template with its
  // storing.
  std::mutex templates_;
};

#endif  // ZEB_STORE_EVENTS_AREA_H
