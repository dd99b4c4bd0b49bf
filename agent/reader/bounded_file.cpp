// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/bounded_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

namespace reader {
namespace {

constexpr char kBlanks[] = " \t\n";

// An open file, closed also when memory runs out.
struct OpenFile {
  explicit OpenFile(const std::string& path)
      : descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
  ~OpenFile() {
    if (descriptor >= 0) close(descriptor);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  const int descriptor;
};

// Appends at most `most` bytes; what read() returned last.
ssize_t append(int file, std::string& text, std::size_t most) {
  char part[4096];
  ssize_t got;
  do {
    got = read(file, part, std::min(sizeof part, most));
    if (got <= 0) continue;
    text.append(part, static_cast<std::size_t>(got));
    most -= static_cast<std::size_t>(got);
  } while ((got > 0 && most > 0) || (got < 0 && errno == EINTR));
  return got;
}

}  // namespace

FileText readFile(const std::string& path, std::size_t most) {
  FileText file;
  const OpenFile opened(path);
  if (opened.descriptor < 0 || append(opened.descriptor, file.text, most + 1) < 0)
    file.error = errno;
  file.cut = file.text.size() > most;
  if (file.cut) file.text.resize(most);
  return file;
}

std::string firstLineOf(const std::string& path) {
  constexpr std::size_t kMost = 4096;
  const std::string text = readFile(path, kMost).text;
  return text.substr(0, text.find('\n'));
}

std::optional<std::uint64_t> unsignedOf(std::string_view digits) {
  std::uint64_t value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stopped, error] = std::from_chars(digits.data(), end, value);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return value;
}

std::string_view takeWord(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
  text.remove_prefix(word.size());
  return word;
}

std::string_view takeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

}  // namespace reader
