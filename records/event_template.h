// SPDX-License-Identifier: Apache-2.0
// ZEB_EVTR: what all events of one kind have in common: where they happen, what they say.
#ifndef ZEB_RECORDS_EVENT_TEMPLATE_H
#define ZEB_RECORDS_EVENT_TEMPLATE_H

#include "records/node_type.h"
#include "records/record.h"

// Stored once, however many events name it as their parent. Not OK when it lost one of its strings.
class ZEB_EVTR : public ZEB_Record {
 public:
  // A new record, or for a null execution group a blank one; each other null leaves its string
  // empty.
  ZEB_EVTR(const ZEB_String* executionGroup, const ZEB_String* messageFlow, const ZEB_String* node,
           ZEB_NodeType nodeType, const ZEB_String* text);
  ZEB_EVTR(const ZEB_EVTR& other);
  // Content, header and address: it then is the other one, with the ID that events name.
  ZEB_EVTR& operator=(const ZEB_EVTR& other);

  // Equal content, whatever the record IDs; false when this record is not OK.
  bool operator==(const ZEB_EVTR& other) const;

  std::uint32_t size() const override;  // 68 + 2 for each unit of its strings; 0 when not OK
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;  // three lines show another field than they name, on purpose

 private:
  void take(ZEB_String& field, const ZEB_String* value);

  ZEB_String executionGroup_;
  ZEB_String messageFlow_;
  ZEB_String node_;
  ZEB_NodeType nodeType_ = ZEB_OTHER_NODE;
  ZEB_String text_;
};

#endif  // ZEB_RECORDS_EVENT_TEMPLATE_H
