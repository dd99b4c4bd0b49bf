// SPDX-License-Identifier: Apache-2.0
// The file that gets the bodies of a flow's handled messages, and the care that it is no input.
#ifndef ZEB_HOST_RUN_OUTPUT_H
#define ZEB_HOST_RUN_OUTPUT_H

#include <sys/types.h>

#include <compare>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <vector>

#include "flowfile/file.h"
#include "flowfile/finding.h"

namespace host {

// Which regular file it is, whatever it is called: links to it have the same id.
struct FileId {
  dev_t device;
  ino_t inode;

  auto operator<=>(const FileId&) const = default;
};

// The regular files that the flows of the file read, standard input included, and the file itself.
// Pipes, terminals and devices are left out: nothing in them is lost by writing.
std::vector<FileId> inputFiles(const flowfile::File& file);

// A finding for each output that is one of these, that would be made in a folder of inputs, or that
// another flow writes too. Pipes and devices may be all of that. The file must have been read with
// readSource.
std::vector<flowfile::Finding> wrongOutputs(const flowfile::File& file);

// Text that was written may wait in the process until `flush` or the end.
class OutputFile {
 public:
  // Opens the file as it is, and empties it once it is known to be none of the inputs. Makes it
  // when it isn't there. Throws FileError, or std::runtime_error when it is an input.
  OutputFile(const std::filesystem::path& path, const std::vector<FileId>& inputs);

  // Writes out what waits and closes the file.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Appends the text and a newline; false, with errno, when it can't be written. For one thread at
  // a time.
  bool write(std::string_view line);

  // Writes out what waits; false, with errno, when it can't be.
  bool flush();

 private:
  std::FILE* stream_;
};

}  // namespace host

#endif  // ZEB_HOST_RUN_OUTPUT_H
