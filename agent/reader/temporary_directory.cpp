// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/temporary_directory.h"

#include <utility>

#include "agent/reader/configuration.h"
#include "format/names.h"

namespace reader {

namespace {

std::string withSlash(std::string directory) {
  if (!directory.ends_with('/')) directory += '/';
  return directory;
}

}  // namespace

std::string temporaryDirectory() {
  const Configuration configuration = readConfiguration();
  const layout::Setting setting = settingIn(configuration, layout::kDirectoryKey);
  return setting.value().empty() ? layout::kDefaultDirectory
                                 : withSlash(std::string(setting.value()));
}

std::string keyFileDirectory(std::string given) {
  return given.empty() ? temporaryDirectory() : withSlash(std::move(given));
}

}  // namespace reader
