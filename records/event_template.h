// SPDX-License-Identifier: Apache-2.0
// ZEB_EVTR: what all events of one kind share: where they happen and what they say.
#ifndef ZEB_RECORDS_EVENT_TEMPLATE_H
#define ZEB_RECORDS_EVENT_TEMPLATE_H

#include "records/node_type.h"
#include "records/record.h"

class ZEB_EVTR : public ZEB_Record {
 public:
  // A new record, or for a null execution group a blank one; each other null leaves its string
  // empty.
  ZEB_EVTR(const ZEB_String* executionGroup, const ZEB_String* messageFlow, const ZEB_String* node,
           ZEB_NodeType nodeType, const ZEB_String* text);
  ZEB_EVTR(const ZEB_EVTR& other);
  ZEB_EVTR& operator=(const ZEB_EVTR& other);

  // Equal content, whatever the record IDs; false when this record is not OK.
  bool operator==(const ZEB_EVTR& other) const;

  std::uint32_t size() const override;
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;

 private:
  void take(ZEB_String& field, const ZEB_String* value);

  ZEB_String executionGroup_;
  ZEB_String messageFlow_;
  ZEB_String node_;
  ZEB_NodeType nodeType_ = ZEB_OTHER_NODE;
  ZEB_String text_;
};

#endif  // ZEB_RECORDS_EVENT_TEMPLATE_H
