// SPDX-License-Identifier: Apache-2.0
// The result of most operations: a small number, 0 for success.
#ifndef ZEB_BASE_RETURN_CODE_H
#define ZEB_BASE_RETURN_CODE_H

#include <cstdint>

// The codes in use. The same number means different things to different operations: each header
// says which come back and why.
enum ZEB_ReturnCodes_ : std::uint32_t {
  ZEB_SUCCESS = 0,
  ZEB_NOT_READ = 1,  // an unknown record; a child that could not be added; nothing found
  ZEB_NO_ROOM = 2,   // the area is full
  ZEB_NULL_ARGUMENT = 3,
  ZEB_MISSING = 4,  // no event given; no accumulator to add
  ZEB_MAXIMUM = 5,  // the message count can't grow any more
  ZEB_NOT_ALLOCATED = 6,
  ZEB_NOT_USABLE = 8,  // the object's status is not 0
  ZEB_LOCK_NOT_BUILT = 9,
  ZEB_NO_RECORD = 10,  // the resource has no information record
};

// Status words: every object that can fail has one. A failed object stays alive with it; each
// header says what its operations do then.
inline constexpr int ZEB_STATUS_OK = 0;
inline constexpr int ZEB_STATUS_FAILED = 301;

// Names that no operation reads, on purpose: only "Success" is tied to a number, and no code is
// ever translated into a name. The library carries the table once, for all units.
[[gnu::used]] inline constexpr char ZEB_ReturnCodeNames[12][20] = {
    "Success",       "BadArgument", "BadObject",   "BusyObject",   "Duplicate", "NotThere",
    "ProtocolError", "Shortage",    "SystemError", "UnknownError", "Warning",   "Authority"};

// A value, 0 when made without a code. It turns into a plain number by itself: compare it with the
// codes above.
class ZEB_ReturnCode {
 public:
  constexpr ZEB_ReturnCode() = default;
  // NOLINTNEXTLINE(google-explicit-constructor): operations return plain codes.
  constexpr ZEB_ReturnCode(std::uint32_t code) : code_(code) {}

  constexpr std::uint32_t getCode() const { return code_; }
  // NOLINTNEXTLINE(google-explicit-constructor): callers test and trace it as a number.
  constexpr operator int() const { return static_cast<int>(code_); }
  constexpr bool operator==(ZEB_ReturnCodes_ code) const { return code_ == code; }

 private:
  std::uint32_t code_ = ZEB_SUCCESS;
};

#endif  // ZEB_BASE_RETURN_CODE_H
