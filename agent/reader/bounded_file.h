// SPDX-License-Identifier: Apache-2.0
// Small files of the system, however large somebody made them.
#ifndef ZEB_AGENT_READER_BOUNDED_FILE_H
#define ZEB_AGENT_READER_BOUNDED_FILE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace reader {

struct FileText {
  int error = 0;     // errno when it can't be opened or read; then the text is not all of it
  bool cut = false;  // there is more than was asked for
  std::string text;  // any bytes
};

// At most the first `most` bytes of a file. Never waits: a pipe without a writer is an empty file.
FileText readFile(const std::string& path, std::size_t most);

// Its first line, without its end: at most 4096 bytes. Empty when it can't be read.
std::string firstLineOf(const std::string& path);

// The number that these decimal digits are; nothing for other texts, and above 64 bits.
std::optional<std::uint64_t> unsignedOf(std::string_view digits);

// Takes the first word off a text, with the blanks and line ends before it; empty when none is
// left.
std::string_view takeWord(std::string_view& text);

// Takes the first line off a text that isn't empty; without its line end.
std::string_view takeLine(std::string_view& text);

}  // namespace reader

#endif  // ZEB_AGENT_READER_BOUNDED_FILE_H
