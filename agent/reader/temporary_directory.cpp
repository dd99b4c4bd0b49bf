// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/temporary_directory.h"

#include "agent/reader/configuration.h"
#include "format/names.h"

namespace reader {

std::string withSlash(std::string directory) {
  if (!directory.ends_with('/')) directory += '/';
  return directory;
}

std::string temporaryDirectory() {
  const Configuration configuration = readConfiguration();
  const layout::Setting setting = settingIn(configuration, layout::kDirectoryKey);
  return setting.value().empty() ? layout::kDefaultDirectory
                                 : withSlash(std::string(setting.value()));
}

}  // namespace reader
