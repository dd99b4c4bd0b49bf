// SPDX-License-Identifier: Apache-2.0
#include "agent/model/pattern.h"

#include <string.h>

#include <string>

#include "agent/reader/letters.h"

namespace model {
namespace {

// Removes `piece` and what stands before it; false when it is nowhere. memmem is linear, which
// std::string_view::find is not.
bool removeThrough(std::string_view& name, std::string_view piece) {
  if (piece.empty()) return true;
  const void* const found = memmem(name.data(), name.size(), piece.data(), piece.size());
  if (found == nullptr) return false;
  const auto at = static_cast<std::size_t>(static_cast<const char*>(found) - name.data());
  name.remove_prefix(at + piece.size());
  return true;
}

}  // namespace

bool matches(std::string_view pattern, std::string_view name) {
  if (pattern.empty() || pattern == name) return true;
  const std::size_t first = pattern.find('*');
  if (first == pattern.npos || !name.starts_with(pattern.substr(0, first))) return false;
  name.remove_prefix(first);
  pattern.remove_prefix(first + 1);
  for (std::size_t star = pattern.find('*'); star != pattern.npos; star = pattern.find('*')) {
    if (!removeThrough(name, pattern.substr(0, star))) return false;
    pattern.remove_prefix(star + 1);
  }
  return name.ends_with(pattern);
}

bool isIn(std::string_view pattern, std::string_view text) {
  return matches("*" + reader::lowered(pattern) + "*", reader::lowered(text));
}

}  // namespace model
