// SPDX-License-Identifier: Apache-2.0
#include "base/string.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <new>

#include "base/return_code.h"
#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcstrn";

constexpr std::uint32_t kCountBytes = 4;
constexpr std::uint32_t kUnitBytes = sizeof(zebchar);

char* offset(void* p, std::size_t bytes) {
  return static_cast<char*>(p) + bytes;
}
const char* offset(const void* p, std::size_t bytes) {
  return static_cast<const char*>(p) + bytes;
}

// What every empty string has as its value.
zebchar empty[1] = {};

void deleteUnits(const zebchar* units) {
  if (units != empty) delete[] units;
}

int upper(char c) {
  return std::toupper(static_cast<unsigned char>(c));
}

}  // namespace

ZEB_String::ZEB_String() {
  ZEB_Trace trace(kUnit, "ZEB_String::ZEB_String");
  init();
}

ZEB_String::ZEB_String(const zebchar* text) {
  ZEB_Trace trace(kUnit, "ZEB_String::ZEB_String");
  assign(text, static_cast<std::uint32_t>(zeblen(text)));
}

ZEB_String::ZEB_String(const char* text) {
  ZEB_Trace trace(kUnit, "ZEB_String::ZEB_String");
  assign(text);
}

ZEB_String::ZEB_String(const ZEB_String& other) {
  ZEB_Trace trace(kUnit, "ZEB_String::ZEB_String");
  *this = other;
}

ZEB_String::~ZEB_String() {
  ZEB_Trace trace(kUnit, "ZEB_String::~ZEB_String");
  cleanup();
}

ZEB_String ZEB_String::lost() {
  ZEB_String string;
  string.fail();
  return string;
}

void ZEB_String::init() {
  ZEB_Trace trace(kUnit, "ZEB_String::init");
  if (!OK()) return;
  wide_ = size_ == 0 ? empty : new (std::nothrow) zebchar[std::size_t{size_} + 1]();
  if (!wide_) status_ = ZEB_STATUS_FAILED;
}

void ZEB_String::cleanup() {
  ZEB_Trace trace(kUnit, "ZEB_String::cleanup");
  deleteUnits(wide_);
  wide_ = nullptr;
  forgetNarrow();
}

// No other thread uses a string that changes.
void ZEB_String::forgetNarrow() {
  delete[] narrow_.load(std::memory_order_relaxed);
  narrow_.store(nullptr, std::memory_order_relaxed);
}

// A value that was lost must not look like another one.
void ZEB_String::fail() {
  cleanup();
  status_ = ZEB_STATUS_FAILED;
}

// The text may lie in the buffer that it replaces, so that one goes last.
void ZEB_String::assign(const zebchar* text, std::uint32_t units) {
  forgetNarrow();
  if (text && wide_ && units == size_) {
    std::memmove(wide_, text, std::size_t{units} * kUnitBytes);
    return;
  }
  const zebchar* const old = wide_;
  wide_ = nullptr;
  size_ = units;
  init();
  if (wide_ && size_ > 0) zebncpy(wide_, text, size_);
  deleteUnits(old);
}

void ZEB_String::assign(const char* text) {
  size_ = text ? static_cast<std::uint32_t>(std::strlen(text)) : 0;
  init();
  if (wide_ && size_ > 0) strtozeb(wide_, text, size_);
}

ZEB_String& ZEB_String::operator=(const zebchar* text) {
  ZEB_Trace trace(kUnit, "ZEB_String::operator=");
  assign(text, static_cast<std::uint32_t>(zeblen(text)));
  return *this;
}

ZEB_String& ZEB_String::operator=(const char* text) {
  ZEB_Trace trace(kUnit, "ZEB_String::operator=");
  const ZEB_String widened(text);
  if (!widened.OK()) fail();
  return *this = widened.wide_;
}

ZEB_String& ZEB_String::operator=(const ZEB_String& other) {
  ZEB_Trace trace(kUnit, "ZEB_String::operator=");
  if (!other.OK()) fail();
  return *this = other.wide_;
}

ZEB_String ZEB_String::operator+(const zebchar* text) const {
  ZEB_Trace trace(kUnit, "ZEB_String::operator+");
  ZEB_String sum(*this);
  sum += text;
  return sum;
}

ZEB_String ZEB_String::operator+(const char* text) const {
  ZEB_Trace trace(kUnit, "ZEB_String::operator+");
  return *this + ZEB_String(text);
}

ZEB_String ZEB_String::operator+(const ZEB_String& other) const {
  ZEB_Trace trace(kUnit, "ZEB_String::operator+");
  ZEB_String sum(*this);
  sum += other;
  return sum;
}

ZEB_String& ZEB_String::operator+=(const zebchar* text) {
  ZEB_Trace trace(kUnit, "ZEB_String::operator+=");
  const auto added = static_cast<std::uint32_t>(zeblen(text));
  if (added == 0 || !wide_) return *this;
  zebchar* const joined = new (std::nothrow) zebchar[std::size_t{size_} + added + 1]();
  if (!joined) {
    fail();
    return *this;
  }
  zebcpy(joined, wide_);
  zebcat(joined, text);
  cleanup();
  wide_ = joined;
  size_ += added;
  return *this;
}

ZEB_String& ZEB_String::operator+=(const char* text) {
  ZEB_Trace trace(kUnit, "ZEB_String::operator+=");
  return *this += ZEB_String(text);
}

ZEB_String& ZEB_String::operator+=(const ZEB_String& other) {
  ZEB_Trace trace(kUnit, "ZEB_String::operator+=");
  if (!other.OK()) fail();
  return *this += other.wide_;
}

bool ZEB_String::operator==(const zebchar* text) const {
  ZEB_Trace trace(kUnit, "ZEB_String::operator==");
  return trace.leave(zebcmp(wide_, text) == 0);
}

bool ZEB_String::operator==(const char* text) const {
  ZEB_Trace trace(kUnit, "ZEB_String::operator==");
  return trace.leave(*this == ZEB_String(text));
}

bool ZEB_String::operator==(const ZEB_String& other) const {
  ZEB_Trace trace(kUnit, "ZEB_String::operator==");
  if (!wide_ || !other.wide_) return trace.leave(zebcmp(wide_, other.wide_) == 0);
  const bool same =
      size_ == other.size_ && std::memcmp(wide_, other.wide_, size_ * sizeof(zebchar)) == 0;
  return trace.leave(same);
}

bool ZEB_String::operator!=(const zebchar* text) const {
  ZEB_Trace trace(kUnit, "ZEB_String::operator!=");
  return trace.leave(!(*this == text));
}

bool ZEB_String::operator!=(const char* text) const {
  ZEB_Trace trace(kUnit, "ZEB_String::operator!=");
  return trace.leave(!(*this == text));
}

bool ZEB_String::operator!=(const ZEB_String& other) const {
  ZEB_Trace trace(kUnit, "ZEB_String::operator!=");
  return trace.leave(!(*this == other));
}

const zebchar* ZEB_String::getwcValue() const {
  ZEB_Trace trace(kUnit, "ZEB_String::getwcValue");
  return trace.leave(wide_);
}

char* ZEB_String::getcValue() const {
  ZEB_Trace trace(kUnit, "ZEB_String::getcValue");
  if (!wide_) return trace.leave(static_cast<char*>(nullptr));
  const std::size_t bytes = 3 * std::size_t{size_} + 1;
  char* narrow = narrow_.load(std::memory_order_acquire);
  if (!narrow) {
    char* const made = new (std::nothrow) char[bytes]();
    if (!made) return trace.leave(made);
    zebtostr(made, wide_, size_);
    if (narrow_.compare_exchange_strong(narrow, made, std::memory_order_acq_rel))
      return trace.leave(made);
    delete[] made;  // another thread was first, `narrow` is its buffer
  }
  // Refilled where it differs only: threads that share the string may be reading it.
  for (std::size_t i = 0; i < bytes; ++i) {
    const char c = i < size_ ? static_cast<char>(wide_[i] & 0xFF) : '\0';
    if (narrow[i] != c) narrow[i] = c;
  }
  return trace.leave(narrow);
}

char* ZEB_String::operator()() const {
  ZEB_Trace trace(kUnit, "ZEB_String::operator()");
  return trace.leave(getcValue());
}

std::uint32_t ZEB_String::size() const {
  ZEB_Trace trace(kUnit, "ZEB_String::size");
  return trace.leave(size_);
}

int ZEB_String::getStatus() const {
  ZEB_Trace trace(kUnit, "ZEB_String::getStatus");
  return trace.leave(status_);
}

bool ZEB_String::OK() const {
  ZEB_Trace trace(kUnit, "ZEB_String::OK");
  return trace.leave(status_ == ZEB_STATUS_OK);
}

std::uint32_t ZEB_String::binarySize() const {
  ZEB_Trace trace(kUnit, "ZEB_String::binarySize");
  return trace.leave(kCountBytes + kUnitBytes * size_ + kUnitBytes);
}

void* ZEB_String::put(void* p) const {
  ZEB_Trace trace(kUnit, "ZEB_String::put");
  if (!wide_ || !p) return trace.leave(p);
  std::memcpy(p, &size_, kCountBytes);
  std::memcpy(offset(p, kCountBytes), wide_, kUnitBytes * (std::size_t{size_} + 1));
  return trace.leave(static_cast<void*>(offset(p, binarySize())));
}

const void* ZEB_String::get(const void* p) {
  ZEB_Trace trace(kUnit, "ZEB_String::get");
  if (!wide_ || !p) return trace.leave(p);
  std::uint32_t stored;
  std::memcpy(&stored, p, kCountBytes);
  const std::size_t bytes = std::size_t{stored} * kUnitBytes;
  const void* const units = offset(p, kCountBytes);
  if (stored != size_ || std::memcmp(units, wide_, bytes) != 0) {
    assign(static_cast<const zebchar*>(units), stored);
    size_ = static_cast<std::uint32_t>(zeblen(wide_));
  }
  return trace.leave(static_cast<const void*>(offset(p, kCountBytes + bytes + kUnitBytes)));
}

void ZEB_String::copyTo(zebchar* dst, int n) const {
  ZEB_Trace trace(kUnit, "ZEB_String::copyTo");
  if (!wide_ || !dst || n < 1) return;
  zebncpy(dst, wide_, std::min(std::size_t{size_} + 1, static_cast<std::size_t>(n)));
}

bool ZEB_String::isEquivalent(const char* text) const {
  ZEB_Trace trace(kUnit, "ZEB_String::isEquivalent");
  const char* const narrow = getcValue();
  if (!narrow || !text) return trace.leave(false);
  const std::size_t length = std::strlen(narrow);
  if (length != std::strlen(text)) return trace.leave(false);
  return trace.leave(std::equal(narrow, narrow + length, text,
                                [](char a, char b) { return upper(a) == upper(b); }));
}
