// SPDX-License-Identifier: Apache-2.0
// What the tests of stored records share: images put together byte by byte, and records that
// failed.
#ifndef ZEB_TESTS_UNIT_RECORDS_RECORDS_TEST_H
#define ZEB_TESTS_UNIT_RECORDS_RECORDS_TEST_H

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "records/record.h"
#include "tests/support/failing.h"
#include "tests/support/library_test.h"

namespace support {

// The calendar time that the clock of a LibraryTest shows.
inline constexpr std::uint32_t kCalendarNow = kNow + kCalendarOffset;

class Image {
 public:
  template <typename Number>
  Image& number(Number value) {
    return raw(&value, sizeof value);
  }
  // Zero-filled to the width.
  Image& characters(const std::string& text, std::size_t width) {
    raw(text.data(), text.size());
    bytes_.resize(bytes_.size() + width - text.size(), 0);
    return *this;
  }
  Image& string(const std::u16string& text) {
    number(static_cast<std::uint32_t>(text.size()));
    raw(text.data(), 2 * text.size());
    return number(std::uint16_t{0});
  }
  Image& append(const Bytes& more) { return raw(more.data(), more.size()); }

  const Bytes& bytes() const { return bytes_; }

 private:
  Image& raw(const void* data, std::size_t count) {
    const auto* const first = static_cast<const unsigned char*>(data);
    bytes_.insert(bytes_.end(), first, first + count);
    return *this;
  }

  Bytes bytes_;
};

// A header in which every number differs: created 11 s 22 ms, random 33, parent (5, 44, 55, 66).
inline Image headerImage(std::uint32_t type, std::uint32_t deleted = 0) {
  Image image;
  image.characters("RCRD", 4).number(deleted);
  for (const std::uint32_t part : {type, 11U, 22U, 33U, 5U, 44U, 55U, 66U}) image.number(part);
  return image;
}

// A header with nothing but a type.
inline Image blankHeader(std::uint32_t type) {
  Image image;
  image.characters("RCRD", 4).number(0U).number(type);
  return image.characters("", 28);
}

// The stored form, put over bytes that held something else. Fails the test when the record returns
// another end than its size, or writes behind it.
inline Bytes storedForm(ZEB_Record& record) {
  const std::size_t size = record.size();
  Bytes bytes(size + 16, 0xEE);
  EXPECT_EQ(bytes.data() + size, record.put(bytes.data()));
  EXPECT_EQ(bytes.data(), record.getAddress());
  EXPECT_EQ(Bytes(16, 0xEE), slice(bytes, size, 16));
  bytes.resize(size);
  return bytes;
}

// Reads the image, which the record must take whole.
inline void fill(ZEB_Record& record, Bytes image) {
  EXPECT_EQ(image.data() + image.size(), record.get(image.data()));
}

// A private copy is read, and an image written, in the place of what is at the address.
inline void expectUsesTheCopyOnly(ZEB_Record& record, Bytes image) {
  Bytes elsewhere(image.size(), 0xEE);
  const void* const end = elsewhere.data() + elsewhere.size();
  EXPECT_EQ(end, record.getFrom(image.data(), elsewhere.data()));
  EXPECT_EQ(elsewhere.data(), record.getAddress());
  record.setAddress(nullptr);
  Bytes written(image.size(), 0x11);
  EXPECT_EQ(end, record.putTo(written.data(), elsewhere.data()));
  EXPECT_EQ(elsewhere.data(), record.getAddress());
  EXPECT_EQ(image, written);
  EXPECT_EQ(Bytes(image.size(), 0xEE), elsewhere);
}

inline void expectIgnoresNull(ZEB_Record& record) {
  Bytes form = storedForm(record);
  EXPECT_EQ(nullptr, record.get(nullptr));
  EXPECT_EQ(nullptr, record.put(nullptr));
  EXPECT_NE(nullptr, record.getAddress());
  EXPECT_EQ(form, storedForm(record));
}

// A string without a value: its buffer could not be allocated.
inline ZEB_String failedString() {
  const std::string text(1000, 'x');
  failAllocations(2 * (text.size() + 1));
  ZEB_String string(text.c_str());
  succeedAgain();
  return string;
}

// A record that can be made not OK.
template <typename Record>
struct Spoiled : Record {
  using Record::Record;
  using Record::operator=;
  void spoil() { this->require(failedString()); }
};

// Neither read nor written, of no size.
inline void expectDoesNothing(ZEB_Record& record, Bytes image) {
  EXPECT_FALSE(record.OK());
  EXPECT_EQ(301, record.getStatus());
  EXPECT_EQ(0U, record.size());
  const ZEB_Record_ID before = *record.getRecordId();
  EXPECT_EQ(image.data(), record.get(image.data()));
  EXPECT_EQ(before, *record.getRecordId());
  Bytes untouched(image.size(), 0xEE);
  EXPECT_EQ(untouched.data(), record.put(untouched.data()));
  EXPECT_EQ(Bytes(image.size(), 0xEE), untouched);
  EXPECT_EQ(nullptr, record.getAddress());
}

// Local time is two hours ahead of UTC from here on.
inline void useLocalTime() {
  setenv("TZ", "TST-2", 1);
  tzset();
}

}  // namespace support

#endif  // ZEB_TESTS_UNIT_RECORDS_RECORDS_TEST_H
