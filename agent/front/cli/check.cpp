// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "agent/archive/replace_file.h"
#include "agent/front/cli/check_state.h"
#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/state_file.h"
#include "agent/model/condition.h"
#include "agent/model/selection.h"
#include "agent/render/check_line.h"
#include "agent/render/values.h"
#include "flowfile/quantity.h"

namespace cli {
namespace {

void takeCheck(std::vector<model::Check>& checks, const std::string& text) {
  model::CheckText parsed = model::parseCheck(text);
  if (!parsed.problem.empty()) refuse("NAME=LIMIT", parsed.problem);
  checks.push_back(std::move(parsed.check));
}

void takeTimeout(std::chrono::microseconds& timeout, const std::string& text) {
  constexpr std::chrono::hours kLongest{1};
  const auto parsed = flowfile::parseDuration(text);
  if (!parsed || *parsed <= std::chrono::nanoseconds(0) || *parsed > kLongest) {
    refuse("--timeout", "\"" + text + "\" is no time up to 1h, like 10s");
  }
  timeout = std::chrono::ceil<std::chrono::microseconds>(*parsed);
}

// What has to be looked at for these checks.
struct Needs {
  model::MachineFacts machine = model::MachineFacts::leave;
  model::Events events = model::Events::skip;
};

Needs needsOf(const std::vector<model::Check>& checks) {
  using Kind = model::Check::Kind;
  Needs needs;
  for (const model::Check& check : checks) {
    if (check.kind == Kind::locks) needs.machine = model::MachineFacts::read;
    if (check.kind == Kind::groupsUp) {
      needs.machine = std::max(needs.machine, model::MachineFacts::processes);
    }
    if (check.kind == Kind::failed || check.kind == Kind::exceptions) {
      needs.events = model::Events::read;
    }
  }
  return needs;
}

// Whatever the program does just then, the answer is this line.
void endLate(int) {
  constexpr char kLine[] = "UNKNOWN: no answer within --timeout\n";
  [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, kLine, sizeof kLine - 1);
  _exit(static_cast<int>(model::Level::unknown));
}

void limitTime(std::chrono::microseconds timeout) {
  constexpr std::int64_t kASecond = 1000000;
  if (timeout.count() == 0) return;
  signal(SIGALRM, endLate);
  const itimerval timer{{0, 0}, {timeout.count() / kASecond, timeout.count() % kASecond}};
  setitimer(ITIMER_REAL, &timer, nullptr);
}

// Of the last run; a first run has none.
std::optional<model::Snapshot> earlier(const std::string& path, const model::Snapshot& now) {
  const auto text = readState(path);
  if (!text) return {};
  auto snapshot = restored(*text, now);
  if (!snapshot) complainOfState(path);
  return snapshot;
}

// The state is written also when something is wrong: the next run is about the time since this one.
bool keepState(const std::string& path, const model::Snapshot& now) {
  const int error = archived::replaceFile(path, stateOf(now));
  if (error == 0) return true;
  complain("can't write the state " + path + ": " + render::errorText(error) +
           ". Name a file in a directory that you may write to");
  return false;
}

}  // namespace

void declareCheck(Options& options, Request& request) {
  CheckRequest& check = request.check;
  options
      .takeWords(
          "NAME=LIMIT", [&check](const std::string& text) { takeCheck(check.checks, text); },
          "groups-up, locks, area=90%, silent=NODE:60s,\n"
          "queued=2s, failed=5%, exceptions=1/min; two\n"
          "limits, area=80%,90%, are warning and critical")
      .required()
      .shown("");
  addPlaces(options, request);
  options
      .add("--state", check.state,
           "Compare with the last run, which left this\n"
           "file")
      .shown("FILE");
  options
      .take(
          "--timeout", [&check](const std::string& text) { takeTimeout(check.timeout, text); },
          "Answer UNKNOWN when it takes longer: 10s")
      .shown("T");
  options.footer(
      "Exit codes:\n"
      "  0  all is as it should be\n"
      "  1  a value has reached its warning limit\n"
      "  2  a value has reached its critical limit\n"
      "  3  something can't be told\n"
      " 64  the command line is wrong");
}

ExitCode runCheck(const Request& request, Output& output) {
  const CheckRequest& check = request.check;
  limitTime(check.timeout);
  const Needs needs = needsOf(check.checks);
  const auto whole = take(request, needs.machine, needs.events);
  const model::Snapshot now = model::select(*whole, request.selection);
  const model::Snapshot once = distinct(now);
  const auto before =
      check.state.empty() ? std::optional<model::Snapshot>() : earlier(check.state, *whole);
  const auto locks =
      model::locksOf(*whole, now, !request.selection.names(), request.selection.owners);
  std::vector<model::Reading> readings =
      model::readingsOf(check.checks, {.now = once,
                                       .before = before ? &*before : nullptr,
                                       .keepsState = !check.state.empty(),
                                       .locks = locks,
                                       .selection = request.selection});
  if (!check.state.empty() && !keepState(check.state, *whole)) {
    readings.push_back(
        {check.checks.front(), model::Level::unknown, {}, {}, model::Why::stateLost});
  }
  model::Level level = model::Level::ok;
  for (const model::Reading& reading : readings) level = model::worse(level, reading.level);
  output.write(render::checkLine(readings));
  return static_cast<ExitCode>(level);
}

}  // namespace cli
