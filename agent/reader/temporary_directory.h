// SPDX-License-Identifier: Apache-2.0
// Where the key files are.
#ifndef ZEB_AGENT_READER_TEMPORARY_DIRECTORY_H
#define ZEB_AGENT_READER_TEMPORARY_DIRECTORY_H

#include <string>

namespace reader {

// The value of `key` in the configuration at `path`, found as the library finds it: the first word
// behind the first line that begins with the key, less one leading "="; that word may be empty,
// and the search ends all the same. A directory at `path` holds one file per key. Empty when
// nothing is found or nothing can be read.
std::string configuredValue(const std::string& path, const std::string& key);

// The directory that the library uses on this machine: "ZEBTempDirectory" of the first
// configuration file that opens, else "/tmp/". Ends in "/". (The library also probes the host's
// installation directory when neither file exists; there, name the directory yourself.)
std::string temporaryDirectory();

// `directory` with "/" behind it, unless it is there already.
std::string withSlash(std::string directory);

}  // namespace reader

#endif  // ZEB_AGENT_READER_TEMPORARY_DIRECTORY_H
