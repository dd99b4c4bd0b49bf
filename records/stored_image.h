// SPDX-License-Identifier: Apache-2.0
// The stored form of a record, kept in this process. Images of the same bytes for the same place
// are one in memory, however many trees hold them.
#ifndef ZEB_RECORDS_STORED_IMAGE_H
#define ZEB_RECORDS_STORED_IMAGE_H

#include <memory>
#include <span>
#include <utility>

#include "records/record.h"

class ZEB_Stored_Image {
 public:
  // Of a record that is OK and has an address; null when it is not, or when memory ran out.
  static ZEB_Stored_Image of(ZEB_Record& record);
  // Of a whole record that stands at the address; null when memory ran out.
  static ZEB_Stored_Image of(std::span<const std::uint8_t> bytes, void* address);
  ZEB_Stored_Image() = default;
  ZEB_Stored_Image(const ZEB_Stored_Image& other);
  ZEB_Stored_Image(ZEB_Stored_Image&& other) noexcept
      : shared_(std::exchange(other.shared_, nullptr)) {}
  ZEB_Stored_Image& operator=(ZEB_Stored_Image other) noexcept {
    std::swap(shared_, other.shared_);
    return *this;
  }
  ~ZEB_Stored_Image();

  explicit operator bool() const { return shared_ != nullptr; }
  // Equal images have the same bytes; the reverse holds for the two latest of a place only.
  bool operator==(const ZEB_Stored_Image&) const = default;

  // Of any but a null image.
  std::span<const std::uint8_t> bytes() const;
  void* address() const;
  ZEB_Record_Header header() const;

  // A record as the one of which this was made; null when memory ran out.
  std::unique_ptr<ZEB_Record> record() const;

 private:
  struct Shared;
  struct Pool;

  Shared* shared_ = nullptr;
};

#endif  // ZEB_RECORDS_STORED_IMAGE_H
