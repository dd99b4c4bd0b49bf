// SPDX-License-Identifier: Apache-2.0
// Where the key files are.
#ifndef ZEB_AGENT_READER_TEMPORARY_DIRECTORY_H
#define ZEB_AGENT_READER_TEMPORARY_DIRECTORY_H

#include <string>

namespace reader {

// The directory that the library uses on this machine: "ZEBTempDirectory" of the configuration in
// force, else "/tmp/". Ends in "/".
std::string temporaryDirectory();

// `directory` with "/" behind it, unless it is there already.
std::string withSlash(std::string directory);

}  // namespace reader

#endif  // ZEB_AGENT_READER_TEMPORARY_DIRECTORY_H
