// SPDX-License-Identifier: Apache-2.0
// The bytes that other processes may read: block headers and stored records, field by field.
// docs/format.md describes the same in words.
//
// One table per layout is the only place where an offset or a width is written. The codecs of the
// record classes, the agent and the printed documentation take theirs from here, and each table is
// proved at compile time to be contiguous and to end at the number that the format promises.
// Integers are in the host's byte order, since writers and readers share a machine; nothing is
// padded. This header knows no class of the library, so that a reader needs nothing else.
#ifndef ZEB_FORMAT_LAYOUT_H
#define ZEB_FORMAT_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <span>

// What a record is, stored as its first four ID bytes. The numbers never change. What is read may
// be any number.
enum ZEB_RecordType : std::uint32_t {
  ZEB_RECORD = 0,       // a header whose class is not known yet; never stored
  ZEB_REIR_RECORD = 1,  // some resource
  ZEB_BRIR_RECORD = 2,  // a broker
  ZEB_EGIR_RECORD = 3,  // an execution group
  ZEB_MFIR_RECORD = 4,  // a message flow
  ZEB_NOIR_RECORD = 5,  // a node
  ZEB_STIR_RECORD = 6,  // the statistics of a node
  ZEB_EVTR_RECORD = 7,  // an event template
  ZEB_EVDR_RECORD = 8,  // an event
  ZEB_EVIR_RECORD = 9,  // both joined; never stored by this library
};

namespace layout {

// What the bytes of a field mean.
enum class Encoding {
  characters,   // 8-bit, zero-padded, not terminated when full
  bytes,        // as they came
  unsigned32,   //
  signed32,     //
  calendar32,   // unsigned seconds since 1901-01-01 00:00:00 UTC, 0 = not set
  stamp,        // unsigned seconds since 1970-01-01 00:00:00 UTC, then unsigned milliseconds
  recordId,     // type code, stamp, random number: 4 + 8 + 4
  decimalText,  // ASCII digits, zero-filled; empty for 0 and below
  string,       // count n of 16-bit units, the n units, a zero unit: 2n + 6
};

// A field of a layout. Behind a string, `offset` is the place that the field has when every string
// before it is empty; each unit of those strings moves it by two bytes. `width` of a string is
// likewise its six bytes without units.
struct Field {
  // As docs/format.md calls it.
  const char* name;
  // From the start of the block or record, in bytes.
  std::uint32_t offset;
  std::uint32_t width;
  Encoding encoding;
};

// Bytes of a stored string without units: the count and the zero unit.
inline constexpr std::uint32_t kEmptyString = 6;

// Bytes of a field of that encoding; `declared` where the encoding leaves it open, as it does for
// characters and bytes.
consteval std::uint32_t widthOf(Encoding encoding, std::uint32_t declared) {
  switch (encoding) {
    case Encoding::unsigned32:
    case Encoding::signed32:
    case Encoding::calendar32:
      return 4;
    case Encoding::stamp:
      return 8;
    case Encoding::recordId:
      return 16;
    case Encoding::decimalText:
      return 24;
    case Encoding::string:
      return kEmptyString;
    default:
      return declared;
  }
}

// True when the fields lie end to end from offset `begin` to offset `end`, each as wide as its
// encoding is.
template <std::size_t N>
consteval bool packed(const Field (&fields)[N], std::uint32_t begin, std::uint32_t end) {
  std::uint32_t at = begin;
  for (const Field& field : fields) {
    if (field.offset != at || field.width != widthOf(field.encoding, field.width)) return false;
    at += field.width;
  }
  return at == end;
}

// The 32 bytes at the start of the segment and of every area in it. docs/format.md says what the
// offsets mean.
namespace block {
inline constexpr Field eyecatcher{"eyecatcher", 0, 8, Encoding::characters};
// Always 1.
inline constexpr Field mark{"header mark", 8, 4, Encoding::signed32};
// Of the whole block, this header included.
inline constexpr Field size{"size", 12, 4, Encoding::unsigned32};
// Where the next record goes, and where the bytes end that were ever written: from the block's
// start.
inline constexpr Field next{"next offset", 16, 4, Encoding::signed32};
inline constexpr Field last{"last offset", 20, 4, Encoding::signed32};
// When the header was last written.
inline constexpr Field lastUpdate{"last update", 24, 8, Encoding::stamp};
inline constexpr Field fields[] = {eyecatcher, mark, size, next, last, lastUpdate};
inline constexpr std::uint32_t bytes = 32;
static_assert(packed(fields, 0, bytes));

// The eyecatchers: of the segment and of its three areas. Eight characters each.
inline constexpr std::uint32_t eyecatcherBytes = eyecatcher.width;
inline constexpr char segment[] = "zebcshme";
inline constexpr char statistics[] = "zebcstar";
inline constexpr char eventTemplates[] = "zebcetar";
inline constexpr char eventData[] = "zebcedar";
}  // namespace block

// The 40 bytes at the start of every record.
namespace header {
inline constexpr Field eyecatcher{"eyecatcher", 0, 4, Encoding::characters};
// 1 when what the record describes is gone.
inline constexpr Field deleted{"deleted flag", 4, 4, Encoding::unsigned32};
// Which record it is, and which one it belongs to; all zeros for none.
inline constexpr Field id{"record ID", 8, 16, Encoding::recordId};
inline constexpr Field parent{"parent ID", 24, 16, Encoding::recordId};
inline constexpr Field fields[] = {eyecatcher, deleted, id, parent};
inline constexpr std::uint32_t bytes = 40;
static_assert(packed(fields, 0, bytes));

// The eyecatcher of every record.
inline constexpr char text[] = "RCRD";
}  // namespace header

// Information records: who a resource is. A message flow has these fields alone; the others have
// their own behind uuid and label.
namespace reir {
inline constexpr Field uuid{"uuid", 40, kEmptyString, Encoding::string};
inline constexpr Field label{"label", 46, kEmptyString, Encoding::string};
inline constexpr Field fields[] = {uuid, label};
inline constexpr std::uint32_t bytes = 52;
static_assert(packed(fields, header::bytes, bytes));
}  // namespace reir

// A broker, the root of its tree. The reset time is that of its statistics.
namespace brir {
inline constexpr Field resetTime{"reset time", 52, 4, Encoding::calendar32};
inline constexpr Field fields[] = {reir::uuid, reir::label, resetTime};
inline constexpr std::uint32_t bytes = 56;
static_assert(packed(fields, header::bytes, bytes));
}  // namespace brir

// An execution group: one process of the host.
namespace egir {
// 0 when not known.
inline constexpr Field processId{"process ID", 52, 4, Encoding::signed32};
inline constexpr Field fields[] = {reir::uuid, reir::label, processId};
inline constexpr std::uint32_t bytes = 56;
static_assert(packed(fields, header::bytes, bytes));
}  // namespace egir

// A node. Types: 1 input, 2 output, 3 other, 4 and 5 sub-flow input and output
// (records/node_type.h).
namespace noir {
inline constexpr Field nodeType{"node type", 52, 4, Encoding::unsigned32};
inline constexpr Field subFlowName{"sub-flow name", 56, kEmptyString, Encoding::string};
inline constexpr Field fields[] = {reir::uuid, reir::label, nodeType, subFlowName};
inline constexpr std::uint32_t bytes = 62;
static_assert(packed(fields, header::bytes, bytes));
}  // namespace noir

// The statistics of one node. Times are in milliseconds, sizes in bytes. Largest and smallest are
// of one message; the collection times are those of the first and the latest message.
namespace stir {
inline constexpr Field messageCount{"message count", 40, 24, Encoding::decimalText};
inline constexpr Field sumSize{"sum size", 64, 24, Encoding::decimalText};
inline constexpr Field maxSize{"max size", 88, 4, Encoding::signed32};
inline constexpr Field minSize{"min size", 92, 4, Encoding::signed32};
inline constexpr Field sumElapsed{"sum elapsed time", 96, 24, Encoding::decimalText};
inline constexpr Field maxElapsed{"max elapsed time", 120, 4, Encoding::signed32};
inline constexpr Field minElapsed{"min elapsed time", 124, 4, Encoding::signed32};
inline constexpr Field sumQueued{"sum queued time", 128, 24, Encoding::decimalText};
inline constexpr Field maxQueued{"max queued time", 152, 4, Encoding::signed32};
inline constexpr Field minQueued{"min queued time", 156, 4, Encoding::signed32};
// 0 until a message was counted since the last reset. Until then the extremes mean nothing.
inline constexpr Field firstCollection{"first collection", 160, 4, Encoding::calendar32};
inline constexpr Field lastCollection{"last collection", 164, 4, Encoding::calendar32};
inline constexpr Field fields[] = {messageCount, sumSize,    maxSize,         minSize,
                                   sumElapsed,   maxElapsed, minElapsed,      sumQueued,
                                   maxQueued,    minQueued,  firstCollection, lastCollection};
inline constexpr std::uint32_t bytes = 168;
static_assert(packed(fields, header::bytes, bytes));
}  // namespace stir

// What all events of one kind have in common: where, and what is told of it.
namespace evtr {
inline constexpr Field executionGroup{"execution group name", 40, kEmptyString, Encoding::string};
inline constexpr Field messageFlow{"message flow name", 46, kEmptyString, Encoding::string};
inline constexpr Field node{"node name", 52, kEmptyString, Encoding::string};
inline constexpr Field nodeType{"node type", 58, 4, Encoding::unsigned32};
inline constexpr Field text{"message text", 62, kEmptyString, Encoding::string};
inline constexpr Field fields[] = {executionGroup, messageFlow, node, nodeType, text};
inline constexpr std::uint32_t bytes = 68;
static_assert(packed(fields, header::bytes, bytes));
}  // namespace evtr

// One event. The byte fields come from the message descriptor as they are, without terminator. Its
// parent is its template.
namespace evdr {
inline constexpr Field eventTime{"event time", 40, 4, Encoding::calendar32};
// The low half of the posting thread's handle.
inline constexpr Field threadId{"thread ID", 44, 4, Encoding::signed32};
inline constexpr Field messageId{"message ID", 48, 24, Encoding::bytes};
inline constexpr Field correlationId{"correlation ID", 72, 24, Encoding::bytes};
inline constexpr Field putApplicationType{"put-application type", 96, 4, Encoding::signed32};
inline constexpr Field putApplicationName{"put-application name", 100, 28, Encoding::characters};
inline constexpr Field putDate{"put date", 128, 8, Encoding::characters};
inline constexpr Field putTime{"put time", 136, 8, Encoding::characters};
inline constexpr Field fields[] = {eventTime,          threadId,           messageId, correlationId,
                                   putApplicationType, putApplicationName, putDate,   putTime};
inline constexpr std::uint32_t bytes = 144;
static_assert(packed(fields, header::bytes, bytes));
}  // namespace evdr

// A template and a data record in one: this header, then both whole, each with its own header.
namespace evir {
inline constexpr std::uint32_t bytes = header::bytes + evtr::bytes + evdr::bytes;
static_assert(bytes == 252);
}  // namespace evir

// The fields behind the header of a record type, in stored order; empty for 0, 9 and unknown types.
constexpr std::span<const Field> fieldsOf(std::uint32_t type) {
  switch (type) {
    case ZEB_REIR_RECORD:
    case ZEB_MFIR_RECORD:
      return reir::fields;
    case ZEB_BRIR_RECORD:
      return brir::fields;
    case ZEB_EGIR_RECORD:
      return egir::fields;
    case ZEB_NOIR_RECORD:
      return noir::fields;
    case ZEB_STIR_RECORD:
      return stir::fields;
    case ZEB_EVTR_RECORD:
      return evtr::fields;
    case ZEB_EVDR_RECORD:
      return evdr::fields;
    default:
      return {};
  }
}

// The length in bytes of every record of the type, header included; 0 when their lengths differ,
// and for unknown types.
constexpr std::uint32_t fixedSizeOf(std::uint32_t type) {
  return type == ZEB_STIR_RECORD ? stir::bytes : type == ZEB_EVDR_RECORD ? evdr::bytes : 0;
}

// The type code of the record at `stored`, of which at least 40 bytes must be there.
std::uint32_t typeOf(const std::uint8_t* stored);

// The length of the record at the start of `bytes`, or 0 when no whole, sane one is there: the
// eyecatcher is "RCRD", the type is 1 to 9 and every string ends inside `bytes`. Nothing
// outside `bytes` is touched, whatever they hold; they are a private copy, which nobody else
// changes.
std::size_t storedSize(std::span<const std::uint8_t> bytes);

}  // namespace layout

#endif  // ZEB_FORMAT_LAYOUT_H
