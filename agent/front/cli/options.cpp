// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/options.h"

#include <pwd.h>

#include <algorithm>
#include <charconv>
#include <sstream>
#include <utility>

#include "agent/model/findings/kinds.h"
#include "agent/model/message_way.h"

namespace cli {
namespace {

// Throws for a name that nobody has.
std::uint32_t userOf(const std::string& name) {
  std::uint32_t number = 0;
  const char* const end = name.data() + name.size();
  const auto [stopped, error] = std::from_chars(name.data(), end, number);
  if (error == std::errc() && stopped == end) return number;
  const passwd* const user = getpwnam(name.c_str());
  if (user == nullptr) {
    refuse("--owner",
           "there is no user \"" + name + "\" here. Give the number of one who owns brokers");
  }
  return user->pw_uid;
}

Option addKeyFiles(Options& options, Request& request) {
  return options
      .add("--temp-directory", request.directory,
           "Where the brokers' key files are (default:\n"
           "as the library is configured here)")
      .shown("DIR");
}

void addDirectory(Options& options, Request& request) {
  const Option directory = addKeyFiles(options, request);
  options
      .add("--from", request.from,
           "Look at a file of \"snapshot\" instead of\n"
           "this machine; - is standard input")
      .shown("FILE")
      .excludes(directory);
  addMostBytes(options, request);
  addOwners(options, request.selection.owners);
}

std::vector<std::string> split(const std::string& list) {
  std::vector<std::string> words;
  std::istringstream in(list);
  for (std::string word; std::getline(in, word, ',');) words.push_back(word);
  return words.empty() ? std::vector<std::string>{""} : words;
}

void require(const char* option, const std::string& problem) {
  if (!problem.empty()) refuse(option, problem);
}

// The columns must outlive the parsing, so each option keeps them.
void addColumns(Options& options, render::Arrangement& wanted,
                const std::vector<render::Column>& columns) {
  const auto choose = [&wanted, columns](const std::string& list) {
    wanted.columns = split(list);
    require("--columns", unknownColumn({.columns = wanted.columns}, columns));
  };
  const auto sort = [&wanted, columns](const std::string& column) {
    wanted.descending = column.starts_with('-');
    wanted.sort = column.substr(wanted.descending ? 1 : 0);
    require("--sort", unknownColumn({.columns = {wanted.sort}}, columns));
  };
  std::vector<std::string> names;
  for (const render::Column& column : columns) names.push_back(column.name);
  options.take("--columns", choose, "Only these, in this order: A,B,...").shown("NAMES", names);
  options.take("--sort", sort, "By this column, with - the largest first")
      .shown("[-]COLUMN", names);
}

}  // namespace

Option addPattern(Options& options, const char* name, std::string& pattern, const char* help) {
  return options.add(name, pattern, help)
      .check([](const std::string& text) {
        return text.empty() ? "nothing has an empty name. Give one, or * for all of them" : "";
      })
      .shown("NAME");
}

void addBroker(Options& options, Request& request) {
  addPattern(options, "--broker", request.selection.broker,
             "Only this broker, by its label or uuid;\n"
             "* stands for any characters");
  addDirectory(options, request);
}

void addWholeBrokers(Options& options, Request& request) {
  addBroker(options, request);
  for (const char* const name : {"--group", "--flow", "--node"}) {
    options.refuses(name, "what this shows belongs to whole brokers. Choose one with --broker");
  }
}

void addOwners(Options& options, std::vector<std::uint32_t>& owners) {
  options
      .takeEach(
          "--owner", [&owners](const std::string& user) { owners.push_back(userOf(user)); },
          "Only brokers of this user, by name or number;\nmay be given more than once")
      .shown("USER");
}

Option addMostBytes(Options& options, Request& request) {
  return options
      .add("--max-bytes", request.mostBytes, "The most shared memory of a broker to look at")
      .shown("BYTES")
      .showsDefault();
}

void addPatterns(Options& options, Request& request) {
  model::Selection& selection = request.selection;
  addPattern(options, "--broker", selection.broker, "Only this broker, by its label or uuid");
  addPattern(options, "--group", selection.group, "Only this execution group");
  addPattern(options, "--flow", selection.flow, "Only this message flow");
  addPattern(options, "--node", selection.node,
             "Only this node; in each of the four, *\n"
             "stands for any characters");
}

void addPlaces(Options& options, Request& request) {
  addPatterns(options, request);
  addDirectory(options, request);
}

void addPlacesHere(Options& options, Request& request) {
  addPatterns(options, request);
  addKeyFiles(options, request);
  addMostBytes(options, request);
  addOwners(options, request.selection.owners);
}

model::Whereabouts whereaboutsOf(const Request& request) {
  return {.directory = request.directory, .file = request.from};
}

std::string optionsAgain(const Request& request) {
  const model::Selection& selection = request.selection;
  std::string options = model::optionsOf(whereaboutsOf(request));
  const auto add = [&options](const char* name, const std::string& value) {
    if (!value.empty()) options += name + model::findings::quoted(value);
  };
  add(" --broker ", selection.broker);
  add(" --group ", selection.group);
  add(" --flow ", selection.flow);
  add(" --node ", selection.node);
  for (const std::uint32_t owner : selection.owners) add(" --owner ", std::to_string(owner));
  return options;
}

void addStyle(Options& options, Request& request) {
  static const std::map<std::string, Color> kColors = {
      {"auto", Color::automatic}, {"always", Color::always}, {"never", Color::never}};
  ShowRequest& show = request.show;
  const auto local = [&show] { show.zone = render::Zone::local; };
  options.flag("--local", local, "Times in the local zone instead of UTC");
  addChoice(options, "--color", show.color, kColors, "Colours; auto: on a terminal that has them",
            "auto|always|never");
}

std::vector<render::Column> columnsOfAll(std::vector<std::vector<render::Column>> tables) {
  std::vector<render::Column> columns;
  for (auto& table : tables) {
    for (render::Column& column : table) {
      if (std::ranges::find(columns, column.name, &render::Column::name) == columns.end())
        columns.push_back(std::move(column));
    }
  }
  return columns;
}

void takeId(const char* name, std::string& id, const std::string& text) {
  const auto prefix = model::idPrefixOf(text);
  if (!prefix) refuse(name, "\"" + text + "\" is not 1 to 48 hexadecimal digits");
  id = *prefix;
}

void addSheet(Options& options, Request& request, const std::vector<render::Column>& columns) {
  static const std::map<std::string, Format> kFormats = {{"table", Format::table},
                                                         {"json", Format::json},
                                                         {"jsonl", Format::jsonl},
                                                         {"csv", Format::csv}};
  ShowRequest& show = request.show;
  addChoice(options, "--format", show.format, kFormats, "For people, or for programs",
            "table|json|jsonl|csv");
  addArrangement(options, request, columns);
  addStyle(options, request);
}

void addArrangement(Options& options, Request& request,
                    const std::vector<render::Column>& columns) {
  ShowRequest& show = request.show;
  addColumns(options, show.arrangement, columns);
  options.flag(
      "--no-header", [&show] { show.titles = false; }, "No titles above the columns");
}

}  // namespace cli
