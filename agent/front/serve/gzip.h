// SPDX-License-Identifier: Apache-2.0
// Texts in the format of gzip, at the level that costs least.
#ifndef ZEB_AGENT_FRONT_SERVE_GZIP_H
#define ZEB_AGENT_FRONT_SERVE_GZIP_H

#include <cstddef>
#include <string>

namespace serve {

// The compressed beginning of texts that go on differently. Never changes.
class GzipHead {
 public:
  explicit GzipHead(const std::string& text);

  // The whole: that text with `rest` behind it.
  std::string with(const std::string& rest) const;

 private:
  std::string bytes_;
  std::size_t size_;   // of the text
  unsigned long sum_;  // its CRC-32
};

std::string gzipped(const std::string& text);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_GZIP_H
