// SPDX-License-Identifier: Apache-2.0
// Options that several commands take, declared alike everywhere.
#ifndef ZEB_AGENT_FRONT_CLI_OPTIONS_H
#define ZEB_AGENT_FRONT_CLI_OPTIONS_H

#include <CLI/CLI.hpp>
#include <map>
#include <string>

#include "agent/front/cli/request.h"

namespace cli {

// --broker and --temp-directory.
void addSelection(CLI::App& options, Request& request);

// --format table|json.
void addFormat(CLI::App& options, Request& request);

// A choice among names, of which --help shows `shown`. The map must live as long as the options.
template <typename Value, typename Target>
void addChoice(CLI::App& options, const char* name, Target& target,
               const std::map<std::string, Value>& values, const char* description,
               const char* shown) {
  const auto take = [&target, &values](const std::string& text) { target = values.at(text); };
  options.add_option_function<std::string>(name, take, description)
      ->check(CLI::IsMember(&values).description(""))
      ->type_name(shown);
}

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_OPTIONS_H
