// SPDX-License-Identifier: Apache-2.0
// The owning string of 16-bit units that holds every name, label, identifier and text.
#ifndef ZEB_BASE_STRING_H
#define ZEB_BASE_STRING_H

#include <atomic>
#include <cstdint>

#include "base/wide.h"

// A value: copies are deep. A string whose buffer could not be allocated has status 301; it then
// has no wide and no narrow value, equals an empty string, and neither reads nor writes a stored
// form; what is copied or joined from it has status 301 too. Several threads may read a
// constant string, the narrow view included.
//
// Stored form: the number n of units (4 bytes), the units (2n bytes), a zero unit (2 bytes).
class ZEB_String {
 public:
  ZEB_String();
  // Both copy the text, and take null as an empty string. Chars are sign-extended to units.
  ZEB_String(const zebchar* text);  // NOLINT(google-explicit-constructor): literals are strings
  ZEB_String(const char* text);     // NOLINT(google-explicit-constructor): likewise
  // Not OK when the other is not, or memory ran out.
  ZEB_String(const ZEB_String& other);
  ~ZEB_String();
  // A string that is not OK, for those who could not get at its text.
  static ZEB_String lost();

  // Null assigns an empty string. A string that is not OK stays so, and becomes so when memory runs
  // out: the old value is lost then. The text may be part of this string's own.
  ZEB_String& operator=(const zebchar* text);
  ZEB_String& operator=(const char* text);
  ZEB_String& operator=(const ZEB_String& other);

  // Null or empty appends nothing. Without memory the sum is not OK; `+=` loses what was there.
  ZEB_String operator+(const zebchar* text) const;
  ZEB_String operator+(const char* text) const;
  ZEB_String operator+(const ZEB_String& other) const;
  ZEB_String& operator+=(const zebchar* text);
  ZEB_String& operator+=(const char* text);
  ZEB_String& operator+=(const ZEB_String& other);

  // Units are compared one by one; null equals an empty string. Comparing with chars makes a string
  // of them first.
  bool operator==(const zebchar* text) const;
  bool operator==(const char* text) const;
  bool operator==(const ZEB_String& other) const;
  bool operator!=(const zebchar* text) const;
  bool operator!=(const char* text) const;
  bool operator!=(const ZEB_String& other) const;

  // The units, zero-terminated; null when not OK. Valid until the next change.
  const zebchar* getwcValue() const;

  // The narrow view: each unit's low byte, zero-terminated, refilled from the value at every call.
  // Null when not OK, and when there is no memory for it. The string owns it; valid until the next
  // change. Threads may ask at once.
  char* getcValue() const;
  char* operator()() const;

  // Units, the terminator not counted. Of no meaning when not OK.
  std::uint32_t size() const;
  // 0, or 301 when memory ran out.
  int getStatus() const;
  bool OK() const;

  // Bytes of the stored form: 6, and 2 for each unit.
  std::uint32_t binarySize() const;

  // Write and read the stored form at p and return p advanced past it; p itself when not OK or p is
  // null. `put` needs binarySize() bytes there; `get` trusts the stored count: the caller made sure
  // that so many bytes are there.
  void* put(void* p) const;
  const void* get(const void* p);

  // Copies min(size + 1, n) units: the terminator only where it fits, nothing for n below 1, for
  // null or when not OK.
  void copyTo(zebchar* dst, int n) const;

  // Equality of the narrow view with the text, letter case aside; false for null.
  bool isEquivalent(const char* text) const;

  // Frees both buffers. The string then has no value, though its status stays.
  void cleanup();

 private:
  void init();
  void fail();
  void forgetNarrow();
  void assign(const zebchar* text, std::uint32_t units);
  void assign(const char* text);

  int status_ = 0;
  zebchar* wide_ = nullptr;
  mutable std::atomic<char*> narrow_{nullptr};  // made on first use, then kept
  std::uint32_t size_ = 0;
};

// In trace texts a string appears as its narrow view.
inline const char* ZEB_Printable(const ZEB_String& string) {
  return string.getcValue();
}

#endif  // ZEB_BASE_STRING_H
