// SPDX-License-Identifier: Apache-2.0
#include "agent/model/scope.h"

#include <algorithm>

#include "agent/model/selection.h"

namespace model {

Chosen choose(std::vector<std::string> keyFiles, const Scope& scope,
              const std::function<bool(const std::string&)>& isKnown) {
  Chosen chosen{std::move(keyFiles), {}};
  if (!scope.owners.empty()) {
    chosen.leftOut.foreign = std::erase_if(chosen.keyFiles, [&scope](const std::string& path) {
      return !isOwned(reader::readOwner(path), scope.owners);
    });
  }
  const auto end = chosen.keyFiles.end();
  const auto rest = std::stable_partition(chosen.keyFiles.begin(), end, isKnown);
  if (chosen.keyFiles.size() > scope.mostBrokers) {
    std::stable_partition(rest, end, reader::hasSegment);
    chosen.leftOut.tooMany = chosen.keyFiles.size() - scope.mostBrokers;
    chosen.keyFiles.resize(scope.mostBrokers);
  }
  return chosen;
}

}  // namespace model
