// SPDX-License-Identifier: Apache-2.0
#include "format/installed.h"

#include <filesystem>

namespace layout {
namespace {

namespace fs = std::filesystem;

std::string asSeenFromHere(const fs::path& configured) {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error) return configured;
  const fs::path way = configured.lexically_relative(ZEB_INSTALLED_PROGRAMS);
  const fs::path here = (program.parent_path() / way).lexically_normal();
  return fs::exists(here, error) ? here : configured;
}

}  // namespace

const char* const kInstalledLibrary = ZEB_INSTALLED_LIBRARY;
const char* const kProbe = ZEB_INSTALLED_PROBE;

std::string installedLibrary() {
  return asSeenFromHere(kInstalledLibrary);
}

std::string installedProbe() {
  return asSeenFromHere(kProbe);
}

}  // namespace layout
