// SPDX-License-Identifier: Apache-2.0
// Reads a flow file and finds everything that is wrong with it, so that a run never starts with
// settings that the nodes would silently take as something else.
#ifndef ZEB_HOST_FLOW_READER_H
#define ZEB_HOST_FLOW_READER_H

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/flow_file.h"

namespace host {

struct Finding {
  unsigned line = 0;    // from 1
  unsigned column = 0;  // from 1
  std::string text;     // what is wrong and what was expected
};

struct ReadResult {
  FlowFile file;                  // only to be used without findings
  std::vector<Finding> findings;  // in the order of the text
};

// `path` is where the text came from: relative paths in it start at that folder.
ReadResult readFlows(std::string_view text, const std::filesystem::path& path);

// "path:line:column: text"
std::string findingText(const std::filesystem::path& path, const Finding& finding);

}  // namespace host

#endif  // ZEB_HOST_FLOW_READER_H
