// SPDX-License-Identifier: Apache-2.0
// The first 364 bytes of a message's bit stream, a fixed layout of the host's messaging interface.
#ifndef ZEB_RECORDS_MESSAGE_DESCRIPTOR_H
#define ZEB_RECORDS_MESSAGE_DESCRIPTOR_H

#include <cstddef>
#include <cstdint>

// Characters are ASCII and not terminated; only the fields that the library reads have names. The
// sender of a message wrote them, so any of them may hold any bytes. Nothing is converted or
// checked here.
struct MessageDescriptor {
  std::uint8_t unused0[48];
  std::uint8_t messageId[24];      // any bytes
  std::uint8_t correlationId[24];  // likewise
  std::uint8_t unused96[176];
  std::int32_t putApplicationType;  // a code of the messaging interface
  char putApplicationName[28];      // padded as the sender does it
  char putDate[8];                  // YYYYMMDD, UTC
  char putTime[8];                  // HHMMSShh, hundredths last, UTC
  std::uint8_t unused320[44];
};
static_assert(sizeof(MessageDescriptor) == 364);
static_assert(offsetof(MessageDescriptor, messageId) == 48);
static_assert(offsetof(MessageDescriptor, correlationId) == 72);
static_assert(offsetof(MessageDescriptor, putApplicationType) == 272);
static_assert(offsetof(MessageDescriptor, putApplicationName) == 276);
static_assert(offsetof(MessageDescriptor, putDate) == 304);
static_assert(offsetof(MessageDescriptor, putTime) == 312);

#endif  // ZEB_RECORDS_MESSAGE_DESCRIPTOR_H
