// SPDX-License-Identifier: Apache-2.0
#include "host/run/say.h"

#include <string>

#include "text/printable.h"

namespace host {

void say(std::FILE* to, std::string_view text) {
  const std::string line = text::printable(text) + "\n";
  std::fwrite(line.data(), 1, line.size(), to);
}

void complain(std::string_view text) {
  say(stderr, "zebhost: " + std::string(text));
}

}  // namespace host
