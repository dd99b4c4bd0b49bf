// SPDX-License-Identifier: Apache-2.0
// Numbers for the names of brokers and nodes, which a history holds once.
#ifndef ZEB_AGENT_FRONT_HISTORY_NAMES_H
#define ZEB_AGENT_FRONT_HISTORY_NAMES_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include "agent/front/history/broker_counts.h"
#include "agent/front/history/database.h"

namespace history {

class Names {
 public:
  // `most`: how many names of nodes a broker may have; further ones are refused.
  Names(const Database& database, std::size_t most) : database_(database), most_(most) {}

  // The broker of that uuid, which is made when it isn't there; it has this label from now on.
  std::int64_t brokerOf(const std::string& uuid, const std::string& label);

  // Nothing when it is new and one too many.
  std::optional<std::int64_t> nodeOf(std::int64_t broker, const Place& place);

 private:
  using Nodes = std::map<Place, std::int64_t>;
  Nodes& nodesOf(std::int64_t broker);

  const Database& database_;
  const std::size_t most_;
  std::map<std::int64_t, Nodes> nodes_;  // by broker, once it was asked for
};

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_NAMES_H
