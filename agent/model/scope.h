// SPDX-License-Identifier: Apache-2.0
// Which brokers are looked at again and again, and how much of them.
#ifndef ZEB_AGENT_MODEL_SCOPE_H
#define ZEB_AGENT_MODEL_SCOPE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "agent/model/snapshot.h"

namespace model {

struct Scope {
  // Users whose brokers are looked at; none: those of all.
  std::vector<std::uint32_t> owners = {};

  std::size_t mostBrokers = std::numeric_limits<std::size_t>::max();

  // Bytes of shared memory: of one broker, and of all together.
  std::uint64_t mostBytes = reader::CopyBounds::kMostBytes;
  std::uint64_t mostTotal = std::numeric_limits<std::uint64_t>::max();
};

struct Chosen {
  std::vector<std::string> keyFiles;  // the first to be looked at first
  LeftOut leftOut;
};

// Which of these key files are looked at. First those of brokers that are known already, then those
// that have shared memory, then the rest; the order is kept otherwise.
Chosen choose(std::vector<std::string> keyFiles, const Scope& scope,
              const std::function<bool(const std::string&)>& isKnown);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_SCOPE_H
