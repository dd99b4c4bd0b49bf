// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "completion/answer.h"
#include "flowfile/load.h"
#include "flowfile/numbers.h"
#include "flowfile/quantity.h"
#include "flowfile/reader.h"
#include "host/command_line.h"
#include "host/cost/cost.h"
#include "host/cost/report.h"
#include "host/cost/variants.h"
#include "host/report/progress.h"
#include "host/report/room.h"
#include "host/report/summary.h"
#include "host/run/output.h"
#include "host/run/say.h"
#include "host/run/supervisor.h"
#include "host/sandbox/first_ids.h"
#include "host/sandbox/own_folder.h"
#include "host/sandbox/private_view.h"
#include "host/sources/file_error.h"
#include "host/sources/source.h"

namespace {

namespace fs = std::filesystem;
using namespace host;
using namespace std::chrono_literals;

void sayFindings(const fs::path& path, const std::vector<flowfile::Finding>& findings) {
  constexpr std::size_t kShown = 20;
  const std::size_t shown = std::min(kShown, findings.size());
  for (std::size_t i = 0; i < shown; ++i) say(stderr, findingText(path, findings[i]));
  if (findings.size() == shown) return;
  complain(fmt::format("{} in {}, of which the first {} are shown",
                       flowfile::counted(findings.size(), "error"), path.string(), shown));
}

int codeOfUnread(int error) {
  if (error == EACCES || error == EPERM) return kExitNoPermission;
  return error == EIO ? kExitNoOutput : kExitNoFile;
}

// Reads and checks; the exit code when it isn't to be run.
std::optional<int> load(const fs::path& path, std::optional<std::chrono::nanoseconds> patience,
                        flowfile::File& file) {
  const flowfile::Text text = flowfile::load(path, patience);
  if (!text.problem.empty()) {
    complain(text.problem);
    return codeOfUnread(text.error);
  }
  flowfile::ReadResult result = flowfile::read(text.text, path, readSource);
  if (result.findings.empty()) result.findings = wrongOutputs(result.file);
  sayFindings(path, result.findings);
  if (!result.findings.empty()) return kExitWrongFile;
  file = std::move(result.file);
  return std::nullopt;
}

void sayRoom(const flowfile::File& file) {
  for (const std::string& warning : roomWarnings(file)) complain(warning);
}

int check(const fs::path& path) {
  flowfile::File file;
  if (const auto code = load(path, 2s, file)) return *code;
  sayRoom(file);
  std::size_t flows = 0;
  for (const flowfile::ExecutionGroup& group : file.groups) flows += group.flows.size();
  say(stdout, fmt::format("{}: ok, {}, {}", path.string(),
                          flowfile::counted(file.groups.size(), "execution group"),
                          flowfile::counted(flows, "message flow")));
  return kExitOk;
}

// Where this program is.
fs::path ownFolder() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (!error) return program.parent_path();
  throw std::system_error(error, "can't read /proc/self/exe, is /proc mounted?");
}

// What was given, or the agent beside this program.
fs::path agentOr(const fs::path& path) {
  return path.empty() ? ownFolder() / "zebmon" : fs::absolute(path);
}

// What was given, or the plug-in beside this program, or else where both are installed.
fs::path libraryOr(const fs::path& path) {
  if (!path.empty()) return fs::absolute(path);
  const fs::path beside = ownFolder() / "zebpnode64.lil";
  std::error_code error;
  if (fs::exists(beside, error)) return beside;
  return (ownFolder() / ZEB_LIBRARY_FROM_PROGRAM).lexically_normal();
}

void apply(Arguments& arguments, flowfile::File& file) {
  RunOptions& options = arguments.options;
  options.library = libraryOr(options.library);
  options.agent = agentOr(options.agent);
  if (arguments.trace) file.broker.trace = true;
  if (arguments.seed) file.seed = *arguments.seed;
  for (flowfile::ExecutionGroup& group : file.groups) {
    for (flowfile::Flow& flow : group.flows) {
      flow.threads = static_cast<unsigned>(arguments.threads.value_or(flow.threads));
      if (arguments.endless) flow.input.source = withoutEnd(settingsOf(flow.input));
    }
  }
}

bool writeJson(const fs::path& path, const std::string& text) {
  if (path.empty()) return true;
  if (path == "-") return std::fputs(text.c_str(), stdout) >= 0;
  errno = 0;
  std::ofstream stream(path);
  stream << text << std::flush;
  if (!stream) complain(FileError(errno, "can't write", path).what());
  return static_cast<bool>(stream);
}

// Whether the file could be written as things are; touches nothing. Throws FileError when not.
void tryToWrite(const fs::path& path, const char* option) {
  if (path.empty() || path == "-") return;
  std::error_code none;
  const bool there = fs::exists(path, none);
  const fs::path folder = path.has_parent_path() ? path.parent_path() : ".";
  const bool open = access((there ? path : folder).c_str(), there ? W_OK : W_OK | X_OK) == 0;
  const int error = fs::is_directory(path, none) ? EISDIR : open ? 0 : errno;
  if (error != 0) throw FileError(error, fmt::format("{} can't write", option), path);
}

// What a run says at its end. All of it is printable already.
void report(const flowfile::File& file, const Tally& tally, const RunOptions& options,
            const Supervisor& supervisor, const std::optional<Verification>& verification) {
  std::FILE* const people = options.summaryJson == "-" ? stderr : stdout;
  std::string text;
  if (!options.quiet) {
    text = summaryText(file, tally, supervisor.elapsed()) + drillsText(file, supervisor.drills());
    if (verification) text += "\n" + verificationText(*verification);
  }
  if (verification) text += verdict(*verification, tally) + "\n";
  std::fputs(text.c_str(), people);
}

// Nothing without --verify; else what came of it, or why it was not done.
std::optional<Verification> verified(const flowfile::File& file, const Tally& tally,
                                     const RunOptions& options, const Agent& agent,
                                     const Supervisor& supervisor, bool ran) {
  if (!options.verify || supervisor.stoppedBy() != 0) return std::nullopt;
  if (ran) return verify(file, tally, agent, supervisor.disturbed());
  Verification none;
  none.notDone = "messages were still in the flows";
  return none;
}

// False when the agent can't write the snapshot that was asked for.
bool keepSnapshot(const RunOptions& options, const Agent& agent, const Supervisor& supervisor) {
  if (options.lastSnapshot.empty() || supervisor.stoppedBy() != 0) return true;
  try {
    agent.ask("snapshot", {"-o", fs::absolute(options.lastSnapshot).string()});
    return true;
  } catch (const std::exception& error) {
    complain(
        fmt::format("no last snapshot in {}: {}", options.lastSnapshot.string(), error.what()));
    return false;
  }
}

bool isFailed(const DrillResult& drill) {
  return drill.state == DrillResult::State::failed || drill.state == DrillResult::State::begun;
}

// Drills that no run of this duration comes to.
void sayLateDrills(const flowfile::File& file, const RunOptions& options) {
  const auto late = std::ranges::count_if(file.drills, [&options](const flowfile::Drill& drill) {
    return options.duration && drill.at >= *options.duration;
  });
  if (late == 0) return;
  complain(fmt::format("{} won't happen: the run ends after {}",
                       flowfile::counted(static_cast<std::uint64_t>(late), "drill"),
                       flowfile::durationText(*options.duration)));
}

// Everything after the flow file is known to be right.
int supervise(const flowfile::File& file, const RunOptions& options) {
  Tally tally(file);
  Supervisor supervisor(file, options, tally);
  Progress progress(file, tally);
  const bool deployed = supervisor.deploy();
  bool ran = deployed && supervisor.run([&](auto elapsed) {
    if (!options.quiet) progress.show(elapsed);
  });
  if (!options.quiet) progress.finish();

  // Shared memory goes away with its last process, so it is read before they leave.
  const Agent agent(options.agent, file, options.asInstalled);
  const bool kept = !deployed || keepSnapshot(options, agent, supervisor);
  const auto verification = verified(file, tally, options, agent, supervisor, ran);
  if (supervisor.stoppedBy() == 0) ran = supervisor.leave() && ran;
  for (const std::string& problem : supervisor.problems()) complain(problem);
  if (supervisor.stoppedBy() != 0) {
    complain("stopped at once; the nodes' shared memory is left as it was");
    return kExitSignal + supervisor.stoppedBy();
  }
  if (!deployed) {
    return supervisor.code() == kExitNoOutput ? kExitNoOutput : kExitUnavailable;
  }

  report(file, tally, options, supervisor, verification);
  const std::string json =
      summaryJson(file, tally, supervisor.elapsed(), verification, supervisor.drills());
  const bool written = writeJson(options.summaryJson, json);
  const bool agrees = !verification || verification->agrees();
  const bool rehearsed = std::ranges::none_of(supervisor.drills(), isFailed);
  if (!agrees || !rehearsed) return kExitDifference;
  if (!ran || !supervisor.problems().empty()) return supervisor.code();
  return kept && written ? kExitOk : kExitNoOutput;
}

int run(Arguments& arguments) {
  flowfile::File file;
  const RunOptions& options = arguments.options;
  if (options.asInstalled && arguments.trace) {
    complain(
        "--trace needs the private view; with --as-installed, set ZEBNodeTrace in the machine's "
        "configuration file");
    return kExitUsage;
  }
  if (const auto code = load(arguments.flows, options.duration, file)) return *code;
  apply(arguments, file);
  tryToWrite(options.summaryJson, "--summary-json");
  tryToWrite(options.lastSnapshot, "--last-snapshot");
  if (!options.quiet) sayRoom(file);
  sayLateDrills(file, options);
  if (!options.asInstalled) enterPrivateView(file.broker);
  useUpFirstIds();
  return supervise(file, options);
}

// In the view that "run" makes of the file, as this process.
int execute(const Arguments& arguments) {
  constexpr int kNotRunnable = 126;  // as shells have it
  constexpr int kNotFound = 127;
  flowfile::File file;
  if (const auto code = load(arguments.flows, std::nullopt, file)) return *code;
  enterPrivateView(file.broker);
  std::vector<char*> words;
  for (const std::string& word : arguments.command)
    words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  execvp(words[0], words.data());
  const int error = errno;
  complain(fmt::format("can't run {}: {}", arguments.command[0], std::strerror(error)));
  return error == ENOENT ? kNotFound : kNotRunnable;
}

std::size_t monitorsIn(const flowfile::File& file) {
  std::size_t monitors = 0;
  for (const flowfile::ExecutionGroup& group : file.groups) {
    for (const flowfile::Flow& flow : group.flows) monitors += monitorsOf(flow);
  }
  return monitors;
}

// In a view, a folder of key files and System V objects of its own: a broker at work is not
// touched.
int cost(Arguments& arguments) {
  flowfile::File file;
  if (const auto code = load(arguments.flows, 2s, file)) return *code;
  if (monitorsIn(file) == 0) {
    complain(file.path.string() + " has no monitoring node; add one: there is nothing to measure");
    return kExitWrongFile;
  }
  for (const std::string& input : replacedInputs(file)) {
    complain(input +
             ": its input can't be read again and again; generated messages take its place");
  }
  const OwnFolder keyFiles;
  file.broker.tempDirectory = keyFiles.path();
  const fs::path library = libraryOr(arguments.options.library);
  enterPrivateView(file.broker);
  enterPrivateObjects();
  useUpFirstIds();
  try {
    const Cost measured = measureCost(file, library, arguments.time);
    const unsigned processors = std::thread::hardware_concurrency();
    const std::string text = arguments.json ? costJson(file, measured, processors)
                                            : costText(file, measured, processors);
    std::fputs(text.c_str(), stdout);
    return kExitOk;
  } catch (const CostStopped& stopped) {
    complain("stopped; nothing was measured to the end");
    return kExitSignal + stopped.signal;
  }
}

int obeyed(const CLI::App& app, Arguments& arguments) {
  if (app.got_subcommand("check")) return check(arguments.flows);
  if (app.got_subcommand("exec")) return execute(arguments);
  if (app.got_subcommand("cost")) return cost(arguments);
  return run(arguments);
}

// Runs the command that was asked for; what can't be done is said.
int obey(const CLI::App& app, Arguments& arguments) {
  try {
    return obeyed(app, arguments);
  } catch (const ViewRefused& refused) {
    complain(fmt::format("this system allows no private view of its files ({})", refused.what()));
    complain(
        "with --as-installed the nodes use the machine's own configuration and registry; in a "
        "chroot, run as root");
  } catch (const FileError& error) {
    complain(error.what());
    return kExitNoOutput;
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return kExitUnavailable;
}

// Help and version were asked for; anything else is wrong.
int leave(const CLI::App& app, const CLI::ParseError& error) {
  if (error.get_exit_code() == 0) return app.exit(error);
  say(stderr, error.what());
  say(stderr, "Run with --help for more information.");
  return kExitUsage;
}

// A standard stream that was closed must not become the number of a file that is opened later. What
// takes its place fails in the same way.
void keepStandardStreams() {
  for (const int fd : {0, 1, 2}) {
    if (fcntl(fd, F_GETFD) < 0) open("/dev/null", fd == 0 ? O_WRONLY : O_RDONLY);
  }
}

int complete(const CLI::App& app, std::vector<std::string> words) {
  // The first word behind the flow file is a command, the others are up to that.
  const auto values = [](const completion::Place& place) {
    std::vector<completion::Candidate> found;
    if (place.name == "COMMAND" && place.arguments == 1) found.push_back(completion::commands());
    if (place.name == "COMMAND" || place.name == "FLOWS") found.push_back(completion::files());
    return found;
  };
  std::fputs(completion::answer(app, std::move(words), values).c_str(), stdout);
  return kExitOk;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only a wrong declaration of an option throws outside.
int main(int argc, char** argv) {
  keepStandardStreams();
  CLI::App app(
      "Runs message flows whose nodes come from a plug-in library, as a broker host does.");
  Arguments arguments;
  declare(app, arguments);
  int code = kExitOk;
  try {
    if (argc > 1 && std::string_view(argv[1]) == completion::kCommand) {
      return complete(app, {argv + 2, argv + argc});
    }
    app.parse(argc, argv);
    code = obey(app, arguments);
  } catch (const CLI::ParseError& error) {
    code = leave(app, error);
  }
  errno = 0;
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return code;
  const std::string reason = errno != 0 ? std::string(": ") + std::strerror(errno) : "";
  complain("can't write to standard output" + reason);
  return code == kExitOk ? kExitNoOutput : code;
}
