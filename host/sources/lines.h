// SPDX-License-Identifier: Apache-2.0
// Lines of a file, of standard input or of a pipe: a message each.
#ifndef ZEB_HOST_SOURCES_LINES_H
#define ZEB_HOST_SOURCES_LINES_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "flowfile/reader.h"
#include "host/sources/message_source.h"
#include "host/sources/stop_signal.h"

namespace host {

// What a flow file says of this kind.
struct Lines {
  static constexpr char key[] = "lines";  // of an input, chooses this kind

  // Absolute, or "-" for standard input.
  std::filesystem::path path;
  // Times through the file; 1 for what is no regular file.
  std::uint64_t repeat = 1;

  bool standardInput() const { return path == "-"; }

  // Reads "lines" and "repeat"; nothing when "lines" is no text. Notes a missing file, and a second
  // reader of standard input.
  static std::optional<Lines> read(flowfile::Section& input, flowfile::Context& context);
};

// Opens the file without waiting: the writer of a pipe is awaited in next(). Each message is a line
// without its newline; the last one needs none. Its name is "FILE:LINE" or "stdin:LINE". Throws
// std::system_error, from next() as well.
std::unique_ptr<MessageSource> open(const Lines& lines, std::uint64_t seed, const StopSignal& stop);

// The one file.
std::vector<std::filesystem::path> inputsOf(const Lines& lines);

}  // namespace host

#endif  // ZEB_HOST_SOURCES_LINES_H
