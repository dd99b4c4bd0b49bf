// SPDX-License-Identifier: Apache-2.0
// The regular files of a folder: a message each.
#ifndef ZEB_HOST_SOURCES_FILES_H
#define ZEB_HOST_SOURCES_FILES_H

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
struct Files {
  static constexpr char key[] = "files";  // of an input, chooses this kind

  // The folder, absolute.
  std::filesystem::path path;
  // Times through the folder, at least 1.
  std::uint64_t repeat = 1;

  // Reads "files" and "repeat", and notes when there is no such folder; nothing when "files" is no
  // text.
  static std::optional<Files> read(flowfile::Section& input, flowfile::Context& context);
};

// The files that are in the folder now, in the order of the bytes of their names. A folder within
// the folder is left out. A message is a whole file, its name that of the file. Throws
// FileError when the folder can't be read, and from next() when a file can't be.
std::unique_ptr<MessageSource> open(const Files& files, std::uint64_t seed, const StopSignal& stop);

// The files in the same order; none when the folder can't be read.
std::vector<std::filesystem::path> inputsOf(const Files& files);

}  // namespace host

#endif  // ZEB_HOST_SOURCES_FILES_H
