// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/temporary_directory.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "format/names.h"
#include "format/settings.h"

namespace reader {
namespace {

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

std::string configuredValue(const std::string& path, const std::string& key) {
  std::error_code ignored;
  const bool registry = std::filesystem::is_directory(path, ignored);
  const std::string text = contentsOf(registry ? path + "/" + key : path);
  return std::string(layout::findSetting(text, registry ? "" : key).value());
}

std::string withSlash(std::string directory) {
  if (!directory.ends_with('/')) directory += '/';
  return directory;
}

std::string temporaryDirectory() {
  for (const char* path : layout::kConfigurationFiles) {
    if (!std::ifstream(path)) continue;
    const std::string value = configuredValue(path, layout::kDirectoryKey);
    return value.empty() ? layout::kDefaultDirectory : withSlash(value);
  }
  return layout::kDefaultDirectory;
}

}  // namespace reader
