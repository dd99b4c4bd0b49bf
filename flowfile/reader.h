// SPDX-License-Identifier: Apache-2.0
// Reads a flow file and finds everything that is wrong with it, so that nothing runs with settings
// that the nodes would silently take as something else.
#ifndef ZEB_FLOWFILE_READER_H
#define ZEB_FLOWFILE_READER_H

#include <any>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "flowfile/file.h"
#include "flowfile/finding.h"

namespace flowfile {

class Section;

// What reading one table needs to know of the rest of the file.
struct Context {
  // Absolute; relative paths of the file start here.
  std::filesystem::path folder;
  // What reads standard input, as messages call it: "the flow file" or "another flow"; null:
  // nothing.
  const char* standardInputReader;

  // The path that a text of the file means: absolute, without "." and "..".
  std::filesystem::path resolved(const std::string& text) const;
};

// Reads the keys of an input that choose its source and describe it, and notes what is wrong with
// them. What comes back is kept as Input::source. It must ask for all keys that any source has.
using SourceReader = std::function<std::any(Section& input, Context& context)>;

// A file and what is wrong with it.
struct ReadResult {
  // Only to be used when there are no findings.
  File file;
  // In the order of the text.
  std::vector<Finding> findings;
};

// `path` is where the text came from: relative paths in it start at that folder; "-" is standard
// input, and they start at the working directory. Without `readSource` sources are neither read
// nor checked, nor are unknown keys of an input. Looks at the file system, opens nothing.
ReadResult read(std::string_view text, const std::filesystem::path& path,
                const SourceReader& readSource = {});

// Notes at the key that there is no file or folder where it says so, or the other of the two;
// `kind` is "file" or "folder". For a SourceReader.
void noteMissing(Section& section, std::string_view key, const char* kind,
                 const std::filesystem::path& path);

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_READER_H
