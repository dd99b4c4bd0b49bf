// SPDX-License-Identifier: Apache-2.0
// A private image of stored bytes, on the stack as long as it is small.
#ifndef ZEB_BASE_PRIVATE_BYTES_H
#define ZEB_BASE_PRIVATE_BYTES_H

#include <cstdint>
#include <memory>
#include <new>

// One thread's, for one look at stored bytes. What it holds is not initialised.
class ZEB_Private_Bytes {
 public:
  // Room for so many bytes: up to 512 in the object itself, more on the heap. It must not be moved:
  // data() may point into the object.
  explicit ZEB_Private_Bytes(std::size_t bytes) {
    if (bytes > sizeof small_) large_.reset(new (std::nothrow) std::uint8_t[bytes]);
    data_ = bytes > sizeof small_ ? large_.get() : small_;
  }
  // Null when memory ran out, which happens above 512 bytes only. Valid as long as the object.
  std::uint8_t* data() { return data_; }

 private:
  std::uint8_t small_[512];
  std::unique_ptr<std::uint8_t[]> large_;
  std::uint8_t* data_;
};

#endif  // ZEB_BASE_PRIVATE_BYTES_H
