// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>

#include "bench/driver/sections.h"

namespace bench {

// A program of its own, since peers start threads and register with daemons when they are loaded.
nlohmann::json measurePeers(const Plan& plan) {
  const std::string command = std::string("'" ZEB_PEERS_SCRIPT "' '" ZEB_PEERS "' ") +
                              plan.effortName + " '" + plan.library + "'";
  std::FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("the peers can't be started");
  std::string text;
  std::array<char, 4096> part{};
  while (const std::size_t count = std::fread(part.data(), 1, part.size(), pipe))
    text.append(part.data(), count);
  if (pclose(pipe) != 0) throw std::runtime_error("the peers were not measured");
  return nlohmann::json::parse(text);
}

}  // namespace bench
