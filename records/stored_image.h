// The stored form of a record, kept in this process. Images of the same bytes for the same place
// are one in memory, however many trees hold them.
#ifndef ZEB_RECORDS_STORED_IMAGE_H
#define ZEB_RECORDS_STORED_IMAGE_H

#include <memory>
#include <utility>

#include "records/record.h"

class Stored_Image {
 public:
  // Of a record that is OK and has an address; null when it is not, or when memory ran out.
  static Stored_Image of(ZEB_Record& record);
  Stored_Image() = default;
  Stored_Image(Stored_Image&& other) noexcept : shared_(std::exchange(other.shared_, nullptr)) {}
  Stored_Image& operator=(Stored_Image&& other) noexcept {
    std::swap(shared_, other.shared_);
    return *this;
  }
  ~Stored_Image();

  explicit operator bool() const { return shared_ != nullptr; }

  // A record as the one of which this was made; null when memory ran out.
  std::unique_ptr<ZEB_Record> record() const;

 private:
  struct Shared;
  struct Pool;

  Shared* shared_ = nullptr;
};

#endif  // ZEB_RECORDS_STORED_IMAGE_H
