// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/state_file.h"

#include <cerrno>

#include "agent/front/cli/messages.h"
#include "agent/reader/bounded_file.h"
#include "agent/render/values.h"

namespace cli {

std::optional<std::string> readState(const std::string& path) {
  constexpr std::size_t kMost = std::size_t{64} << 20;
  reader::FileText file = reader::readFile(path, kMost);
  const int error = file.cut ? EFBIG : file.error;
  if (error == 0) return std::move(file.text);
  if (error != ENOENT) {
    complain("can't read the state " + path + ": " + render::errorText(error) +
             ". A new one is written");
  }
  return {};
}

void complainOfState(const std::string& path) {
  complain("the file " + path + " is no state of an earlier run. It is replaced");
}

}  // namespace cli
