// SPDX-License-Identifier: Apache-2.0
// Where the key files are.
#ifndef ZEB_AGENT_READER_TEMPORARY_DIRECTORY_H
#define ZEB_AGENT_READER_TEMPORARY_DIRECTORY_H

#include <string>

namespace reader {

// The directory that the library uses on this machine: "ZEBTempDirectory" of the configuration in
// force, else "/tmp/". Ends in "/".
std::string temporaryDirectory();

// `given`, or that one when it is empty. Ends in "/".
std::string keyFileDirectory(std::string given);

}  // namespace reader

#endif  // ZEB_AGENT_READER_TEMPORARY_DIRECTORY_H
