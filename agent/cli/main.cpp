// SPDX-License-Identifier: Apache-2.0
// zebmon: shows what the monitoring nodes of this machine's brokers have collected.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <ctime>
#include <exception>
#include <map>

#include "agent/cli/commands.h"
#include "agent/cli/show.h"
#include "agent/reader/temporary_directory.h"
#include "format/version.h"

namespace {

constexpr char kFooter[] =
    "Exit codes:\n"
    "  0  everything that was asked for was read\n"
    "  1  something is damaged or could not be read or written; the rest is shown\n"
    "  2  the command line is wrong\n"
    "  3  there is no broker, or none of that name";

struct CommandLine {
  cli::Options options;
  cli::Format format = cli::Format::table;
  cli::EventOptions events;
  std::string since;
};

const std::map<std::string, cli::Format> kFormats = {{"table", cli::Format::table},
                                                     {"json", cli::Format::json}};
const std::map<std::string, cli::Format> kEventFormats = {{"table", cli::Format::table},
                                                          {"jsonl", cli::Format::json}};
const std::map<std::string, reader::EventKind> kKinds = {
    {"message", reader::EventKind::message}, {"exception", reader::EventKind::exception}};

void addCommon(CLI::App& command, CommandLine& line) {
  command.add_option("--broker", line.options.broker, "Only this broker, by its label or uuid");
  command
      .add_option("--temp-directory", line.options.temporaryDirectory,
                  "Where the brokers' key files are (default: as the library is configured here)")
      ->type_name("DIR");
}

// A choice among names; `shown` lists them for --help.
template <typename Value, typename Names>
void addChoice(CLI::App& command, const char* name, Value& value, const Names& names,
               const char* description, const char* shown) {
  const auto take = [&value, &names](const std::string& text) { value = names.at(text); };
  command.add_option_function<std::string>(name, take, description)
      ->check(CLI::IsMember(&names).description(""))
      ->type_name(shown);
}

void addEvents(CLI::App& app, CommandLine& line) {
  CLI::App& events = *app.add_subcommand("events", "What nodes posted, the newest last");
  addCommon(events, line);
  addChoice(events, "--format", line.events.format, kEventFormats, "Lines or JSON, one a line",
            "table|jsonl");
  addChoice(events, "--kind", line.events.kind, kKinds, "Only these", "message|exception");
  events
      .add_option("--since", line.since,
                  "Not before 2026-01-31T23:59:58Z (UTC), or not longer ago than 90s, 15m, 12h, 7d")
      ->type_name("T");
  events.add_flag("--follow", line.events.follow, "Go on with what is posted from now on");
  events.add_option("--interval", line.events.interval, "Time between two looks with --follow")
      ->check(CLI::Range(1, 3600000))
      ->type_name("MS")
      ->capture_default_str();
}

void describe(CLI::App& app, CommandLine& line) {
  app.require_subcommand(1);
  app.footer(kFooter);
  app.set_version_flag("--version", std::string("zebmon ") + layout::kVersion,
                       "Print version, commit and format of the stored bytes");
  CLI::App& brokers = *app.add_subcommand("brokers", "The brokers that have shared memory here");
  CLI::App& stats = *app.add_subcommand("stats", "Messages, sizes and times of every node");
  for (CLI::App* command : {&brokers, &stats}) {
    addCommon(*command, line);
    addChoice(*command, "--format", line.format, kFormats, "Columns, or JSON", "table|json");
  }
  addEvents(app, line);
  for (CLI::App* command : app.get_subcommands({})) command->footer(kFooter);
}

void complete(CommandLine& line) {
  std::string& directory = line.options.temporaryDirectory;
  directory =
      directory.empty() ? reader::temporaryDirectory() : reader::withSlash(std::move(directory));
  if (line.since.empty()) return;
  line.events.since = cli::parseTime(line.since, std::time(nullptr));
  if (!line.events.since) {
    throw CLI::ValidationError("--since", "\"" + cli::printable(line.since) +
                                              "\" is neither a time like 2026-01-31T23:59:58Z nor "
                                              "an age like 15m");
  }
}

int run(const CLI::App& app, const CommandLine& line) {
  cli::Output output(STDOUT_FILENO);
  int code = 0;
  if (app.got_subcommand("brokers")) {
    code = cli::showBrokers(line.options, line.format, output);
  } else if (app.got_subcommand("stats")) {
    code = cli::showStatistics(line.options, line.format, output);
  } else {
    code = cli::showEvents(line.options, line.events, output);
  }
  if (output.error() == 0) return code;
  fmt::print(stderr, "zebmon: can't write to standard output: {}.\n",
             cli::errorText(output.error()));
  return cli::kNotAllRead;
}

int interpret(int argc, char** argv) {
  CLI::App app("Shows what the monitoring nodes of this machine's brokers have collected.");
  CommandLine line;
  describe(app, line);
  try {
    app.parse(argc, argv);
    complete(line);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? cli::kDone : cli::kUsage;
  }
  return run(app, line);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return interpret(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zebmon: %s\n", error.what());
    return cli::kNotAllRead;
  }
}
