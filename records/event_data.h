// SPDX-License-Identifier: Apache-2.0
// ZEB_EVDR: one event, when it happened and which message it was about.
#ifndef ZEB_RECORDS_EVENT_DATA_H
#define ZEB_RECORDS_EVENT_DATA_H

#include "records/message_descriptor.h"
#include "records/record.h"

// Its parent is the event template that says where it happened and what. Stored in 144 bytes,
// always. A value of one thread; it owns no memory and takes no lock.
class ZEB_EVDR : public ZEB_Record {
 public:
  // A new record of now, with six fields copied from the descriptor; for a null descriptor a blank
  // record in which these six are zero bytes. The event's time is now in both, in whole seconds.
  // `threadId` is stored as given.
  ZEB_EVDR(const MessageDescriptor* descriptor, int threadId);
  ZEB_EVDR(const ZEB_EVDR&) = default;
  // Copies header, address and all fields; nothing when this record is not OK.
  ZEB_EVDR& operator=(const ZEB_EVDR& other);

  // 144 bytes; 0 when not OK.
  std::uint32_t size() const override;
  // As ZEB_Record says; `bytes` holds 144.
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  // Logs eight lines, without the record header.
  void print() const override;

  // The thread in which the event happened: the low 32 bits of its pthread_self().
  int getThreadID() const;
  // The bytes themselves, as many as each line says and none of them terminated. They belong to
  // this object and live as long as it. Dates are YYYYMMDD, times HHMMSShh in UTC, if the sender
  // kept to that; IDs are any bytes.
  const char* getPutTime() const;          // 8
  const char* getPutDate() const;          // 8
  const std::uint8_t* getCorelID() const;  // 24
  const std::uint8_t* getMsgID() const;    // 24
  const char* getPutApplName() const;      // 28

 private:
  // As stored behind the header.
  struct Event {
    std::uint32_t eventTime = 0;  // calendar time, 0 = not set
    std::int32_t threadId = 0;
    std::uint8_t messageId[24] = {};
    std::uint8_t correlationId[24] = {};
    std::int32_t putApplicationType = 0;
    char putApplicationName[28] = {};
    char putDate[8] = {};
    char putTime[8] = {};
  };
  static_assert(layout::header::bytes + sizeof(Event) == layout::evdr::bytes);

  Event event_;
};

#endif  // ZEB_RECORDS_EVENT_DATA_H
