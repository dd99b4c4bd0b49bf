// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/archive.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fuzz {
namespace {

constexpr std::size_t kBlock = 512;  // of the headers; contents are filled up to whole ones

struct Header {
  char name[100];
  char ids[24];
  char size[12];  // octal digits
  char time[12];
  char checksum[8];
  char type;  // '0' for a file
  char rest[kBlock - 157];
};
static_assert(sizeof(Header) == kBlock);

std::string readAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("can't open " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

std::vector<ArchivedFile> filesOf(const std::string& archive) {
  const std::string all = readAll(archive);
  std::vector<ArchivedFile> files;
  for (std::size_t at = 0;;) {
    if (kBlock > all.size() - at) throw std::runtime_error(archive + " ends too early");
    if (all[at] == '\0') return files;
    Header header;
    std::memcpy(&header, all.data() + at, sizeof header);
    at += kBlock;
    const std::size_t size = std::stoul(std::string(header.size, sizeof header.size), nullptr, 8);
    if (size > all.size() - at) throw std::runtime_error(archive + " ends too early");
    const auto first = all.begin() + static_cast<std::ptrdiff_t>(at);
    if (header.type == '0')
      files.push_back({std::string(header.name, strnlen(header.name, sizeof header.name)),
                       {first, first + static_cast<std::ptrdiff_t>(size)}});
    at += std::min((size + kBlock - 1) / kBlock * kBlock, all.size() - at);
  }
}

}  // namespace fuzz
