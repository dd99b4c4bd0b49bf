// SPDX-License-Identifier: Apache-2.0
// ZEB_EVIR: a template and a data record joined into one event.
#ifndef ZEB_RECORDS_EVENT_INFORMATION_H
#define ZEB_RECORDS_EVENT_INFORMATION_H

#include "records/event_data.h"
#include "records/event_template.h"

// Stored: a header, then the two records whole, each with its own header. The data record's parent
// ID is the template's record ID. No area holds such records: they are made for a reader of events.
// A value of one thread, with copies of both parts.
class ZEB_EVIR : public ZEB_Record {
 public:
  // A new record, or for a null template a blank one. A null argument leaves a blank part. Not OK
  // when a part is not OK.
  ZEB_EVIR(const ZEB_EVTR* eventTemplate, const ZEB_EVDR* data);
  ZEB_EVIR(const ZEB_EVIR&) = default;
  // Copies header, address and both parts.
  ZEB_EVIR& operator=(const ZEB_EVIR& other);

  // Copies the parts in; null leaves the part that is there. The record's own ID stays.
  void init(const ZEB_EVTR* eventTemplate, const ZEB_EVDR* data);

  // In bytes: 40 and the sizes of both parts; 0 when not OK.
  std::uint32_t size() const override;
  // As ZEB_Record says, for the header and then each part.
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;

 private:
  void requireParts();

  ZEB_EVTR template_;
  ZEB_EVDR data_;
};

#endif  // ZEB_RECORDS_EVENT_INFORMATION_H
