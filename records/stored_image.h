// SPDX-License-Identifier: Apache-2.0
// The stored form of a record, kept in this process.
#ifndef ZEB_RECORDS_STORED_IMAGE_H
#define ZEB_RECORDS_STORED_IMAGE_H

#include <memory>
#include <span>
#include <utility>

#include "records/record.h"

// A handle on bytes that never change. Trees that keep what stands at the same place share them: a
// new image is the latest one of its place if the bytes are equal, else one of its own. So two
// images with equal bytes may still be apart, when another came between them.
//
// Threads may make, copy and drop images at once; one image belongs to one thread.
class ZEB_Stored_Image {
 public:
  // Of these bytes, a whole record that stands at the address; null when memory ran out.
  static ZEB_Stored_Image of(std::span<const std::uint8_t> bytes, void* address);
  ZEB_Stored_Image() = default;  // null
  ZEB_Stored_Image(const ZEB_Stored_Image& other);
  ZEB_Stored_Image(ZEB_Stored_Image&& other) noexcept
      : shared_(std::exchange(other.shared_, nullptr)) {}
  ZEB_Stored_Image& operator=(ZEB_Stored_Image other) noexcept {
    std::swap(shared_, other.shared_);
    return *this;
  }
  ~ZEB_Stored_Image();

  explicit operator bool() const { return shared_ != nullptr; }
  // True only for images that share their bytes.
  bool operator==(const ZEB_Stored_Image&) const = default;

  // Of any but a null image. The bytes live as long as some image of them.
  std::span<const std::uint8_t> bytes() const;
  void* address() const;  // in the area; never read here
  ZEB_Record_Header header() const;

  // A record as the one of which this was made; null when memory ran out.
  std::unique_ptr<ZEB_Record> record() const;

 private:
  struct Shared;
  struct Pool;

  Shared* shared_ = nullptr;
};

#endif  // ZEB_RECORDS_STORED_IMAGE_H
