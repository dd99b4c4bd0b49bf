// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <utility>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/looks.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/rates.h"
#include "agent/front/cli/terminal.h"
#include "agent/front/screen/full_screen.h"
#include "agent/front/screen/signals.h"
#include "agent/render/top/state.h"

namespace cli {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// Takes looks and keeps what was seen.
class Seen {
 public:
  Seen(const Request& request, model::FlowKnowledge known)
      : known_(std::move(known)), looks_(request, model::MachineFacts::held) {
    content_.wanted = {.selection = request.selection,
                       .interval = request.rates.interval,
                       .zone = request.show.zone,
                       .signs = signsOf()};
  }

  void take() {
    looks_.take();
    content_.all = looks_.last();
    content_.view = looks_.view(known_);
    content_.events.add(*content_.all);
  }

  const top::Content& content() const { return content_; }
  const Looks& looks() const { return looks_; }

 private:
  model::FlowKnowledge known_;
  Looks looks_;
  top::Content content_;
};

// The screen, from the first look to the last key.
class Session {
 public:
  Session(Seen& seen, terminal::FullScreen& full, terminal::Signals& signals)
      : seen_(seen), full_(full), signals_(signals) {}

  void run();

 private:
  void draw();
  void lookIfDue();
  void obey(int signal);
  void readKeys();
  milliseconds interval() const { return seen_.content().wanted.interval; }

  Seen& seen_;
  terminal::FullScreen& full_;
  terminal::Signals& signals_;
  top::State state_;
  top::Screen drawn_;
  Clock::time_point due_ = Clock::now() + interval();
};

void Session::draw() {
  const auto age = Clock::now() - seen_.content().all->steady;
  drawn_ = top::screenOf(state_, seen_.content(), full_.size(),
                         std::chrono::duration_cast<std::chrono::seconds>(age));
  full_.draw(drawn_.lines);
}

// A pause after each look, so that looks which take long don't follow at once.
void Session::lookIfDue() {
  if (Clock::now() < due_) return;
  if (!state_.paused) seen_.take();
  due_ = Clock::now() + interval();
}

void Session::obey(int signal) {
  switch (signal) {
    case SIGWINCH:
      return full_.resize();
    case SIGTSTP:
      return full_.stop();
    case SIGCONT:
      return full_.takeAgain();
    default:
      state_.ended = signal != 0;
  }
}

void Session::readKeys() {
  while (const auto key = full_.key()) {
    const bool paused = state_.paused;
    state_ = top::pressed(std::move(state_), *key, drawn_);
    if (paused && !state_.paused) due_ = Clock::now();
    if (state_.ended) return;
    draw();
  }
}

void Session::run() {
  while (!state_.ended) {
    lookIfDue();
    draw();
    readKeys();
    if (state_.ended) return;
    const auto left = std::chrono::ceil<milliseconds>(due_ - Clock::now());
    const terminal::Signals::Woken woken = signals_.wait(left);
    if (woken.signal != 0) obey(woken.signal);
    if (woken.hungUp) state_.ended = true;
  }
}

// Two looks and one screen.
ExitCode runOnce(Seen& seen, const Request& request, Output& output) {
  output.stopOnSignals();
  seen.take();
  const ExitCode code = exitCodeOf(seen.looks().report());
  if (code == kNoBroker || code == kNoFile) return code;
  if (!chainFits(seen.content().view, request)) return kUsage;
  if (!output.wait(static_cast<int>(request.rates.interval.count()))) return kDone;
  seen.take();
  output.write(top::textOf(seen.content(), widthOf(STDOUT_FILENO),
                           usesColors(request.show.color, STDOUT_FILENO)));
  return code;
}

bool hasScreen() {
  const char* const type = std::getenv("TERM");
  const std::string_view terminal = type == nullptr ? "" : type;
  return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0 && !terminal.empty() &&
         terminal != "dumb";
}

}  // namespace

void declareTop(Options& options, Request& request) {
  addPlacesHere(options, request);
  addInterval(options, request, "-i,--interval").showsDefault("2s");
  addFlowKnowledge(options, request);
  addStyle(options, request);
}

ExitCode runTop(const Request& request, Output& output) {
  constexpr std::chrono::seconds kInterval{2};
  Request wanted = request;
  if (wanted.rates.interval.count() == 0) wanted.rates.interval = kInterval;
  const FlowFile flows = readFlows(wanted.rates.flows);
  if (flows.code != kDone) return flows.code;
  Seen seen(wanted, knowledgeOf(wanted, flows));
  if (!hasScreen()) return runOnce(seen, wanted, output);
  seen.take();
  if (!chainFits(seen.content().view, wanted)) return kUsage;
  terminal::Signals signals;
  const auto full = terminal::FullScreen::open(usesColors(wanted.show.color, STDOUT_FILENO));
  if (full == nullptr) {
    complain(std::string("TERM=") + std::getenv("TERM") +
             " is no terminal that is known here, so this is not a full screen. Set TERM to what "
             "your terminal is");
    return runOnce(seen, wanted, output);
  }
  Session(seen, *full, signals).run();
  return kDone;
}

}  // namespace cli
