// SPDX-License-Identifier: Apache-2.0
// The stored form of a record, kept in this process.
#ifndef ZEB_RECORDS_STORED_IMAGE_H
#define ZEB_RECORDS_STORED_IMAGE_H

#include <memory>
#include <span>
#include <utility>

#include "records/record.h"

// A handle on bytes that never change. Trees that keep what is stored at the same place hold them
// together: a new image is the latest one of its place if the bytes are equal, else one of its own.
// So two images with equal bytes may still be apart, when another came between them.
//
// Threads may make, copy and drop images at once; one image belongs to one thread. The pool of all
// images has a lock of its own, which is held only inside these operations.
class ZEB_Stored_Image {
 public:
  // Of these bytes, a whole record that is stored at the address; they are copied unless the latest
  // image of that place has the same. Null when memory ran out. Nothing is read at the address.
  static ZEB_Stored_Image of(std::span<const std::uint8_t> bytes, void* address);
  ZEB_Stored_Image() = default;  // null
  ZEB_Stored_Image(const ZEB_Stored_Image& other);
  ZEB_Stored_Image(ZEB_Stored_Image&& other) noexcept
      : held_(std::exchange(other.held_, nullptr)) {}
  ZEB_Stored_Image& operator=(ZEB_Stored_Image other) noexcept {
    std::swap(held_, other.held_);
    return *this;
  }
  ~ZEB_Stored_Image();

  explicit operator bool() const { return held_ != nullptr; }
  // True only for images of the same bytes in memory, and for two null ones; equal bytes in two
  // places are not compared.
  bool operator==(const ZEB_Stored_Image&) const = default;

  // Of any but a null image. The bytes live as long as some image of them.
  std::span<const std::uint8_t> bytes() const;
  void* address() const;  // in the area; never read here
  ZEB_Record_Header header() const;

  // A new record, read from the bytes with the same address. Null for a null image, for bytes of no
  // known type, and when memory ran out.
  std::unique_ptr<ZEB_Record> record() const;

 private:
  struct Held;
  struct Pool;

  Held* held_ = nullptr;
};

#endif  // ZEB_RECORDS_STORED_IMAGE_H
