// SPDX-License-Identifier: Apache-2.0
#include "host/command_line.h"

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <functional>
#include <string>

#include "flowfile/numbers.h"
#include "flowfile/quantity.h"
#include "format/version.h"

namespace host {
namespace {

constexpr std::uint64_t kMost = 1'000'000'000'000;

constexpr char kFooter[] =
    "Exit codes: 0 all went well; 1 shared memory differs from the host's counts, a process "
    "failed\n"
    "otherwise, or a drill could not be done; 64 wrong command line; 65 wrong flow file; 66 no "
    "flow\n"
    "file; 69 the system allows no private view, or the library can't be used; 74 an input, an\n"
    "output, the log, a summary or a snapshot can't be read or written; 77 no permission to read "
    "the\n"
    "flow file; 128 and the signal's number when a second signal stopped the run at once, or the\n"
    "first one came before the flows began.";

// A whole number; `take` gets it. Done by hand, because the library takes -1 for a large number.
void addNumber(CLI::App& app, const std::string& name, std::uint64_t low, std::uint64_t high,
               const std::string& help, const std::function<void(std::uint64_t)>& take) {
  app.add_option_function<std::string>(
         name,
         [=](const std::string& text) {
           std::uint64_t number = 0;
           const char* const end = text.data() + text.size();
           const auto [at, error] = std::from_chars(text.data(), end, number);
           if (error == std::errc() && at == end && number >= low && number <= high) {
             return take(number);
           }
           throw CLI::ValidationError(name, fmt::format("expected a whole number from {} to {}",
                                                        low, flowfile::grouped(high)));
         },
         help)
      ->type_name("NUMBER");
}

void addTime(CLI::App& app, const std::string& name, const std::string& help,
             const std::function<void(std::chrono::nanoseconds)>& take) {
  app.add_option_function<std::string>(
         name,
         [=](const std::string& text) {
           if (const auto time = flowfile::parseDuration(text)) return take(*time);
           throw CLI::ValidationError(name, "expected a time such as 500ms, 10s or 2m");
         },
         help)
      ->type_name("TIME");
}

template <typename Target>
CLI::Option* addFile(CLI::App& app, const char* name, Target& target, const char* help) {
  return app.add_option(name, target, help)->type_name("FILE");
}

void addFlows(CLI::App& app, Arguments& arguments) {
  app.add_option("FLOWS", arguments.flows, "The flow file; - is standard input")
      ->required()
      ->type_name("");
}

void addLibrary(CLI::App& app, RunOptions& options) {
  addFile(app, "--library", options.library,
          "The plug-in (zebpnode64.lil beside this program, or the installed one)");
}

void declareRun(CLI::App& run, Arguments& arguments) {
  RunOptions& options = arguments.options;
  run.footer(kFooter);
  addFlows(run, arguments);
  addLibrary(run, options);
  addFile(run, "--agent", options.agent,
          "The agent that reads shared memory (zebmon beside this program)");
  addTime(run, "--duration", "Take no more messages after this time",
          [&options](std::chrono::nanoseconds time) { options.duration = time; });
  addNumber(run, "--messages", 1, kMost, "Messages that each flow takes, at most",
            [&options](std::uint64_t number) { options.messages = number; });
  run.add_flag("--endless", arguments.endless,
               "Begin inputs again when they end, but not standard input and pipes");
  addNumber(run, "--threads", 1, 256, "Threads of every flow",
            [&arguments](std::uint64_t number) { arguments.threads = number; });
  addNumber(run, "--seed", 0, kMost, "Where chance starts",
            [&arguments](std::uint64_t number) { arguments.seed = number; });
  run.add_flag("--trace", arguments.trace, "Have the nodes trace every operation into the log");
  addFile(run, "--log", options.log, "The log (standard error); - is standard output");
  run.add_flag("--verify", options.verify, "Compare shared memory with the host's own counts");
  run.add_flag("--quiet", options.quiet, "No progress, no tables");
  addFile(run, "--summary-json", options.summaryJson,
          "Write the summary there; - is standard output, and what people read then goes to "
          "standard error");
  addFile(run, "--last-snapshot", options.lastSnapshot,
          "Have the agent write a snapshot there before shared memory goes away");
  run.add_flag("--as-installed", options.asInstalled,
               "Use the machine's configuration and registry in place of a private view");
}

void declareExec(CLI::App& exec, Arguments& arguments) {
  exec.footer(
      "Exit codes: that of the command; 126 it can't be run, 127 there is none of that name; "
      "otherwise\nas those of run.");
  addFlows(exec, arguments);
  exec.add_option("COMMAND", arguments.command, "What to run, and its arguments")
      ->required()
      ->type_name("");
}

void declareCost(CLI::App& cost, Arguments& arguments) {
  cost.footer("Exit codes: as those of run.");
  addFlows(cost, arguments);
  addLibrary(cost, arguments.options);
  addTime(cost, "--time", "Measure for about this time (10s)",
          [&arguments](std::chrono::nanoseconds time) { arguments.time = time; });
  cost.add_option_function<std::string>(
          "--format",
          [&arguments](const std::string& format) { arguments.json = format == "json"; },
          "For people, or for programs")
      ->check(CLI::IsMember({"text", "json"}).description(""))
      ->type_name("text|json");
}

}  // namespace

void declare(CLI::App& app, Arguments& arguments) {
  app.require_subcommand(1);
  app.footer(kFooter);
  app.set_version_flag("--version", std::string("zebhost ") + layout::kVersion,
                       "Print version, commit and format of the stored bytes");
  CLI::App& check = *app.add_subcommand("check", "Say what is wrong with a flow file");
  addFlows(check, arguments);
  declareRun(*app.add_subcommand("run", "Run the flows of a flow file"), arguments);
  declareExec(*app.add_subcommand("exec", "Run a command in the view that a flow file makes"),
              arguments);
  declareCost(*app.add_subcommand("cost", "Measure what the monitoring nodes cost"), arguments);
}

}  // namespace host
