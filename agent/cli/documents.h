// SPDX-License-Identifier: Apache-2.0
// JSON for scripts. Every document carries "schema" and "version"; a version only ever gains keys.
#ifndef ZEB_AGENT_CLI_DOCUMENTS_H
#define ZEB_AGENT_CLI_DOCUMENTS_H

#include <nlohmann/json.hpp>
#include <string>

#include "agent/cli/brokers.h"
#include "agent/reader/events.h"

namespace cli {

// Keys stand in the order in which they were written.
using Json = nlohmann::ordered_json;

Json brokersDocument(const Options& options, const Brokers& brokers);
Json statisticsDocument(const Brokers& brokers);
Json eventDocument(const Found& found, const reader::Event& event);

// Pure ASCII, so that nothing in a label reaches a terminal; indented unless it is to be one line.
std::string written(const Json& document, bool oneLine = false);

}  // namespace cli

#endif  // ZEB_AGENT_CLI_DOCUMENTS_H
