// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <string_view>
#include <vector>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/completion.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/past.h"
#include "agent/front/cli/stop.h"
#include "agent/render/values.h"
#include "format/version.h"
#include "text/printable.h"

namespace cli {
namespace {

void declare(CLI::App& app, Request& request) {
  app.require_subcommand(1);
  app.footer(kExitCodes);
  app.set_version_flag("--version", std::string("zebmon ") + layout::kVersion,
                       "Print version, commit and stored format");
  for (const Command& command : commands()) {
    CLI::App& parser = *app.add_subcommand(command.name, command.summary);
    parser.footer(kExitCodes);
    Options options(parser);
    command.declare(options, request);
  }
}

std::string namesOfCommands() {
  std::string names;
  for (const Command& command : commands()) {
    names += (names.empty() ? "" : ", ") + std::string(command.name);
  }
  return names;
}

// The first option that a command doesn't have, else the first word too many.
std::string unexpectedIn(const CLI::App& app) {
  const std::vector<std::string> words = app.remaining(true);
  const auto isOption = [](const std::string& word) { return word.starts_with("-"); };
  const auto option = std::ranges::find_if(words, isOption);
  const std::string command = app.get_subcommands().front()->get_name();
  if (option != words.end()) return command + " has no option \"" + *option + "\"";
  return "\"" + (words.empty() ? "" : words.front()) + "\" is one word too many for " + command;
}

// The parser quotes arguments as they are, and of an unknown command not even that.
std::string inPrintableLines(const CLI::App* app, const CLI::Error& error) {
  std::string what = error.what();
  if (app->get_subcommands().empty()) {
    const auto words = app->remaining();
    what = words.empty() ? "a command is missing" : "\"" + words.front() + "\" is no command";
    what += ": there are " + namesOfCommands();
  } else if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    what = unexpectedIn(*app);
  }
  return "zebmon: " + text::printable(what) + ".\nRun with --help for more information.\n";
}

// Help or version when they were asked for, else what is wrong.
ExitCode answer(const CLI::App& app, const CLI::ParseError& error, Output& output) {
  std::ostringstream answer;
  std::ostringstream complaint;
  const int code = app.exit(error, answer, complaint);
  output.write(answer.str());
  say(complaint.str());
  return code == 0 ? kDone : kUsage;
}

}  // namespace

ExitCode interpret(int argc, const char* const* argv, Output& output) {
  CLI::App app("Shows what the monitoring nodes of this machine's brokers have collected.",
               "zebmon");
  app.failure_message(inPrintableLines);
  Request request;
  declare(app, request);
  if (argc > 1 && std::string_view(argv[1]) == completion::kCommand) {
    output.write(completion::answer(app, {argv + 2, argv + argc}, valuesAt));
    return kDone;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return answer(app, error, output);
  }
  const auto asked = [&app](const Command& command) { return app.got_subcommand(command.name); };
  const Command& command = *std::ranges::find_if(commands(), asked);
  if (command.ofHistory || request.between) useDefaultHistory(request);
  try {
    return command.run(request, output);
  } catch (const Stop& stop) {
    complain(stop.sentence);
    return stop.code;
  }
}

bool wasWritten(const Output& output) {
  if (output.error() == 0) return true;
  complain("can't write to standard output: " + render::errorText(output.error()));
  return false;
}

}  // namespace cli
