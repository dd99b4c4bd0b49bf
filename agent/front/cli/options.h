// SPDX-License-Identifier: Apache-2.0
// Options that several commands take, declared alike everywhere.
#ifndef ZEB_AGENT_FRONT_CLI_OPTIONS_H
#define ZEB_AGENT_FRONT_CLI_OPTIONS_H

#include <map>
#include <string>
#include <vector>

#include "agent/front/cli/parser.h"
#include "agent/front/cli/request.h"
#include "agent/model/findings/whereabouts.h"
#include "agent/render/sheet.h"

namespace cli {

// The name of something, or a pattern. An empty one is refused: a script whose variable is not set
// would mean everything.
Option addPattern(Options& options, const char* name, std::string& pattern, const char* help);

// --broker, --group, --flow and --node.
void addPatterns(Options& options, Request& request);

// --max-bytes: how much of one broker is looked at.
Option addMostBytes(Options& options, Request& request);

// --owner, which may be given again.
void addOwners(Options& options, std::vector<std::uint32_t>& owners);

// --broker and --owner, and what there is to look at: --temp-directory, or --from and --max-bytes.
void addBroker(Options& options, Request& request);

// The same for what a broker has as a whole: the other names are refused.
void addWholeBrokers(Options& options, Request& request);

// The same with all of addPatterns().
void addPlaces(Options& options, Request& request);

// The same without --from, for what looks at this machine alone.
void addPlacesHere(Options& options, Request& request);

// Where the command line says to look.
model::Whereabouts whereaboutsOf(const Request& request);

// For a command that its reader is told to type: the options that say what there is to look at, as
// they were given here. Each has a blank before it, and is quoted for a shell.
std::string optionsAgain(const Request& request);

// --local and --color, for what shows times and tables.
void addStyle(Options& options, Request& request);

// --format table|json|jsonl|csv, --columns, --sort, --no-header and those of addStyle. A column
// that is none of `columns` is a wrong command line, and is answered with the names of all.
void addSheet(Options& options, Request& request, const std::vector<render::Column>& columns);

// --columns, --sort and --no-header alone, with the same answer.
void addArrangement(Options& options, Request& request, const std::vector<render::Column>& columns);

// The columns of several tables, each name once: for a command that shows one of them, since its
// options are read in any order.
std::vector<render::Column> columnsOfAll(std::vector<std::vector<render::Column>> tables);

// The digits of a message or correlation ID or of its beginning, given to option `name`. Throws
// when they are none.
void takeId(const char* name, std::string& id, const std::string& text);

// A choice among names, of which --help shows `shown`. The map must live as long as the options.
template <typename Value, typename Target>
void addChoice(Options& options, const char* name, Target& target,
               const std::map<std::string, Value>& values, const char* description,
               const char* shown) {
  std::vector<std::string> names;
  for (const auto& [text, value] : values) names.push_back(text);
  const auto take = [&target, &values](const std::string& text) { target = values.at(text); };
  options.takeName(name, names, take, description).shown(shown);
}

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_OPTIONS_H
