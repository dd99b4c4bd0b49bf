// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/temporary_directory.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

namespace reader {
namespace {

constexpr std::size_t kLongestLine = 511;
constexpr const char* kConfigurations[] = {"/opt/holt/lil/zebpnode.cfg",
                                           "/opt/orva/lil/zebpnode.cfg"};

// The classification of the C locale, which the library's scan sees.
bool blank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string firstWord(const std::string& text, std::size_t at) {
  while (at < text.size() && blank(text[at])) ++at;
  std::size_t end = at;
  while (end < text.size() && !blank(text[end]) && text[end] != '\0') ++end;
  return text.substr(at, end - at);
}

// The word behind `key` at the very start of `line`, if there is one.
std::optional<std::string> scanLine(const std::string& line, const std::string& key) {
  if (!line.starts_with(key)) return std::nullopt;
  std::string word = firstWord(line, key.size());
  if (word.empty()) return std::nullopt;
  return word;
}

// The line at `at`, cut at the longest length; moves `at` behind it and behind all white space that
// follows. So leading blanks don't matter on any line but the first. An empty first line is
// stepped over by one character.
std::string nextLine(const std::string& text, std::size_t& at) {
  const std::size_t end = std::min(text.find('\n', at), text.size());
  std::string line = text.substr(at, std::min(end - at, kLongestLine));
  if (end == at) {
    ++at;
    return line;
  }
  at = end;
  while (at < text.size() && blank(text[at])) ++at;
  return line;
}

std::optional<std::string> scanFile(const std::string& text, const std::string& key) {
  for (std::size_t at = 0; at < text.size();) {
    if (auto word = scanLine(nextLine(text, at), key)) return word;
  }
  return std::nullopt;
}

}  // namespace

std::string configuredValue(const std::string& path, const std::string& key) {
  std::error_code ignored;
  std::string value;
  if (std::filesystem::is_directory(path, ignored)) {
    value = firstWord(contentsOf(path + "/" + key), 0);
  } else {
    value = scanFile(contentsOf(path), key).value_or("");
  }
  if (value.starts_with('=')) value.erase(0, 1);
  return value;
}

std::string withSlash(std::string directory) {
  if (!directory.ends_with('/')) directory += '/';
  return directory;
}

std::string temporaryDirectory() {
  for (const char* path : kConfigurations) {
    if (!std::ifstream(path)) continue;
    const std::string value = configuredValue(path, "ZEBTempDirectory");
    return value.empty() ? "/tmp/" : withSlash(value);
  }
  return "/tmp/";
}

}  // namespace reader
