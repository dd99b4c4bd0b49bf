// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/own_folder.h"

#include <stdlib.h>

#include <cerrno>
#include <system_error>

namespace host {

OwnFolder::OwnFolder() {
  char name[] = "/tmp/zebhost.XXXXXX";
  if (mkdtemp(name) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "can't make a folder below /tmp");
  }
  path_ = name;
}

OwnFolder::~OwnFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace host
