// SPDX-License-Identifier: Apache-2.0
#include "setup/stop.h"

#include <cerrno>
#include <system_error>

namespace setup {
namespace {

ExitCode codeOf(int error) {
  if (error == ENOENT || error == ENOTDIR) return kNoFile;
  return error == EACCES || error == EPERM ? kNoPermission : kFailed;
}

}  // namespace

Stop failure(int error, const std::string& sentence) {
  const std::string advice = codeOf(error) == kNoPermission ? ". Run it as root" : "";
  return {codeOf(error), sentence + ": " + std::generic_category().message(error) + advice};
}

}  // namespace setup
