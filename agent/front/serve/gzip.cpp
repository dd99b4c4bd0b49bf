// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/gzip.h"

#include <zlib.h>

#include <new>

namespace serve {
namespace {

constexpr char kHeader[] = {'\x1F', '\x8B', 8, 0, 0, 0, 0, 0, 4, 3};  // fastest, Unix

const Bytef* bytesOf(const std::string& text) {
  return reinterpret_cast<const Bytef*>(text.data());
}

// Blocks without a header. After Z_FULL_FLUSH others may follow, which know nothing of these.
std::string deflated(const std::string& text, int flush) {
  constexpr int kNoHeader = -15;
  constexpr int kMemory = 8;
  constexpr std::size_t kEnd = 16;  // of what a flush adds
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, kNoHeader, kMemory, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::bad_alloc();
  }
  std::string out(deflateBound(&stream, text.size()) + kEnd, '\0');
  stream.next_in = const_cast<Bytef*>(bytesOf(text));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, flush);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != (flush == Z_FINISH ? Z_STREAM_END : Z_OK)) throw std::bad_alloc();
  return out;
}

uLong sumOf(const std::string& text) {
  return crc32(0, bytesOf(text), static_cast<uInt>(text.size()));
}

void addLittleEndian(std::string& out, unsigned long number) {
  for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>(number >> shift & 0xFF);
}

}  // namespace

GzipHead::GzipHead(const std::string& text)
    : bytes_(kHeader, sizeof kHeader), size_(text.size()), sum_(sumOf(text)) {
  bytes_ += deflated(text, Z_FULL_FLUSH);
}

std::string GzipHead::with(const std::string& rest) const {
  std::string out = bytes_ + deflated(rest, Z_FINISH);
  addLittleEndian(out, crc32_combine(sum_, sumOf(rest), static_cast<z_off_t>(rest.size())));
  addLittleEndian(out, size_ + rest.size());
  return out;
}

std::string gzipped(const std::string& text) {
  return GzipHead("").with(text);
}

}  // namespace serve
