// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>

#include "format/version.h"
#include "host/first_ids.h"
#include "host/flow_reader.h"
#include "host/options.h"
#include "host/private_view.h"
#include "host/progress.h"
#include "host/summary.h"
#include "host/supervisor.h"
#include "host/units.h"

namespace {

namespace fs = std::filesystem;
using namespace host;

struct Arguments {
  fs::path flows;
  RunOptions options;
  std::optional<unsigned> threads;
  std::optional<std::uint64_t> seed;
  bool trace = false;
};

constexpr char kFooter[] =
    "Exit codes: 0 all went well; 1 shared memory differs from the host's counts, or a process\n"
    "failed; 64 wrong command line; 65 wrong flow file; 66 no flow file; 69 the system allows no\n"
    "private view, or the library can't be used; 128 and the signal's number when a second signal\n"
    "stopped the run at once.";

void declare(CLI::App& app, Arguments& arguments) {
  app.require_subcommand(1);
  app.footer(kFooter);
  app.set_version_flag("--version", std::string("zebhost ") + layout::kVersion,
                       "Print version, commit and format of the stored bytes");
  CLI::App& check = *app.add_subcommand("check", "Say what is wrong with a flow file");
  check.add_option("FLOWS", arguments.flows, "The flow file")->required();

  CLI::App& run = *app.add_subcommand("run", "Run the flows of a flow file");
  RunOptions& options = arguments.options;
  run.footer(kFooter);
  run.add_option("FLOWS", arguments.flows, "The flow file")->required();
  run.add_option("--library", options.library, "The plug-in (zebpnode64.lil beside this program)");
  run.add_option("--agent", options.agent, "The agent that verifies (zebmon beside this program)");
  run.add_option_function<std::string>(
         "--duration",
         [&options](const std::string& text) {
           options.duration = parseDuration(text);
           if (!options.duration)
             throw CLI::ValidationError("--duration", "expected 500ms, 10s, 2m");
         },
         "Take no more messages after this time")
      ->type_name("TIME");
  run.add_option("--messages", options.messages, "Messages that each flow takes, at most")
      ->check(CLI::PositiveNumber);
  run.add_option("--threads", arguments.threads, "Threads of every flow")
      ->check(CLI::Range(1, 256));
  run.add_option("--seed", arguments.seed, "Where chance starts");
  run.add_flag("--trace", arguments.trace, "Have the nodes trace every operation into the log");
  run.add_option("--log", options.log, "The log (standard error)");
  run.add_flag("--verify", options.verify, "Compare shared memory with the host's own counts");
  run.add_flag("--quiet", options.quiet, "No progress, no tables");
  run.add_option("--summary-json", options.summaryJson, "Write the summary there");
  run.add_flag("--as-installed", options.asInstalled,
               "Use the machine's configuration and registry in place of a private view");
}

// Reads and checks; the exit code when it isn't to be run.
std::optional<int> load(const fs::path& path, FlowFile& file) {
  std::ifstream stream(path, std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(stream), {});
  if (!stream.is_open() || stream.bad() || fs::is_directory(path)) {
    fmt::print(stderr, "zebhost: can't read {}\n", path.string());
    return kExitNoFile;
  }
  ReadResult result = readFlows(text, path);
  for (const Finding& finding : result.findings) {
    fmt::print(stderr, "{}\n", findingText(path, finding));
  }
  if (!result.findings.empty()) return kExitWrongFile;
  file = std::move(result.file);
  return std::nullopt;
}

int check(const fs::path& path) {
  FlowFile file;
  if (const auto code = load(path, file)) return *code;
  std::size_t flows = 0;
  for (const ExecutionGroup& group : file.groups) flows += group.flows.size();
  fmt::print("{}: ok, {} execution groups, {} message flows\n", path.string(), file.groups.size(),
             flows);
  return kExitOk;
}

void apply(Arguments& arguments, FlowFile& file) {
  const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
  RunOptions& options = arguments.options;
  options.library =
      options.library.empty() ? here / "zebpnode64.lil" : fs::absolute(options.library);
  options.agent = options.agent.empty() ? here / "zebmon" : fs::absolute(options.agent);
  if (arguments.trace) file.broker.trace = true;
  if (arguments.seed) file.seed = *arguments.seed;
  for (ExecutionGroup& group : file.groups) {
    for (Flow& flow : group.flows) flow.threads = arguments.threads.value_or(flow.threads);
  }
}

bool writeJson(const fs::path& path, const std::string& text) {
  if (path.empty()) return true;
  std::ofstream stream(path);
  stream << text << std::flush;
  if (!stream) fmt::print(stderr, "zebhost: can't write {}\n", path.string());
  return static_cast<bool>(stream);
}

// Everything after the flow file is known to be right.
int supervise(const FlowFile& file, const RunOptions& options) {
  Tally tally(file);
  Supervisor supervisor(file, options, tally);
  Progress progress(file, tally);
  const bool deployed = supervisor.deploy();
  bool ran = deployed && supervisor.run([&](auto elapsed) {
    if (!options.quiet) progress.show(elapsed);
  });
  if (!options.quiet) progress.finish();

  // Shared memory goes away with its last process, so it is read before they leave.
  std::optional<Verification> verification;
  if (ran && options.verify) {
    verification = verify(file, tally, options.agent, options.asInstalled);
  }
  if (supervisor.stoppedBy() == 0) ran = supervisor.leave() && ran;
  for (const std::string& problem : supervisor.problems()) {
    fmt::print(stderr, "zebhost: {}\n", problem);
  }
  if (supervisor.stoppedBy() != 0) {
    fmt::print(stderr, "zebhost: stopped at once; the nodes' shared memory is left as it was\n");
    return kExitSignal + supervisor.stoppedBy();
  }
  if (!deployed) return kExitUnavailable;

  if (!options.quiet) {
    fmt::print("{}", summaryText(file, tally, supervisor.elapsed()));
    if (verification) fmt::print("\n{}", verificationText(*verification));
  }
  if (verification) fmt::print("{}\n", verdict(*verification, tally));
  const std::string json = summaryJson(file, tally, supervisor.elapsed(), verification);
  const bool written = writeJson(options.summaryJson, json);
  const bool agrees = !verification || verification->agrees();
  return ran && agrees && written ? kExitOk : kExitDifference;
}

int run(Arguments& arguments) {
  FlowFile file;
  if (const auto code = load(arguments.flows, file)) return *code;
  const RunOptions& options = arguments.options;
  if (options.asInstalled && arguments.trace) {
    fmt::print(stderr,
               "zebhost: --trace needs the private view; with --as-installed, set "
               "ZEBNodeTrace in the machine's configuration file\n");
    return kExitUsage;
  }
  apply(arguments, file);
  if (!options.asInstalled) enterPrivateView(file.broker);
  useUpFirstIds();
  return supervise(file, options);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only a wrong declaration of an option throws outside.
int main(int argc, char** argv) {
  CLI::App app(
      "Runs message flows whose nodes come from a plug-in library, as a broker host does.");
  Arguments arguments;
  declare(app, arguments);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitOk : kExitUsage;
  }
  try {
    return app.got_subcommand("check") ? check(arguments.flows) : run(arguments);
  } catch (const ViewRefused& refused) {
    fmt::print(stderr,
               "zebhost: this system allows no private view of its files ({}).\n"
               "With --as-installed the nodes use the machine's own configuration and registry.\n",
               refused.what());
  } catch (const std::exception& error) {
    fmt::print(stderr, "zebhost: {}\n", error.what());
  }
  return kExitUnavailable;
}
