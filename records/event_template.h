// SPDX-License-Identifier: Apache-2.0
// ZEB_EVTR: what all events of one kind have in common: where they happen, what they say.
#ifndef ZEB_RECORDS_EVENT_TEMPLATE_H
#define ZEB_RECORDS_EVENT_TEMPLATE_H

#include "records/node_type.h"
#include "records/record.h"

// Stored once, however many events name it as their parent. A value of one thread, or of many while
// none changes it. It owns its four strings, and is not OK when it lost one of them.
class ZEB_EVTR : public ZEB_Record {
 public:
  // A new record, or for a null execution group a blank one; each other null leaves its string
  // empty. The first three are labels; the text is what the event says, of any length.
  ZEB_EVTR(const ZEB_String* executionGroup, const ZEB_String* messageFlow, const ZEB_String* node,
           ZEB_NodeType nodeType, const ZEB_String* text);
  // The copy has the same record ID. Not OK when memory ran out for a string.
  ZEB_EVTR(const ZEB_EVTR& other);
  // Content, header and address: it then is the other one, with the ID that events name. Nothing
  // when this record is not OK.
  ZEB_EVTR& operator=(const ZEB_EVTR& other);

  // Equal strings and node types, whatever the record IDs; false when this record is not OK.
  bool operator==(const ZEB_EVTR& other) const;

  // In bytes: 68, and 2 for each unit of its four strings; 0 when not OK.
  std::uint32_t size() const override;
  // As ZEB_Record says. A string for which there is no memory makes the record not OK.
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  // Logs the header and five lines. The line "Message Flow" shows the text, and "Execution Group"
  // the node, on purpose.
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
