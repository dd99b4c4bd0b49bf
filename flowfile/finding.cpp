// SPDX-License-Identifier: Apache-2.0
#include "flowfile/finding.h"

#include <fmt/format.h>

#include "text/printable.h"

namespace flowfile {

std::string findingText(const std::filesystem::path& path, const Finding& finding) {
  return text::printable(fmt::format("{}:{}:{}: {}", path.string(), finding.place.line,
                                     finding.place.column, finding.text));
}

}  // namespace flowfile
