// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <chrono>
#include <map>

#include "agent/act/plan.h"
#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/past.h"
#include "agent/front/cli/stop.h"
#include "agent/front/cli/terminal.h"
#include "agent/model/findings.h"
#include "agent/model/findings/whereabouts.h"
#include "agent/model/selection.h"
#include "agent/render/findings_screen.h"
#include "agent/render/words.h"

namespace cli {
namespace {

using model::Findings;
using Look = std::shared_ptr<const model::Snapshot>;

constexpr std::chrono::seconds kApart(1);
constexpr std::chrono::seconds kApartToRemove(2);

// All that one run of the doctor saw. `before` is null when one look was enough.
struct Examined {
  Look before;
  Look now;
  model::Snapshot selected;
  Findings findings;
  Findings elsewhere;  // of what isn't selected too, where nothing of these names is there
};

// False when nobody takes the output any more.
bool waitFor(std::chrono::milliseconds time, Output& output) {
  const auto end = std::chrono::steady_clock::now() + time;
  for (auto now = end - time; now < end; now = std::chrono::steady_clock::now()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
    if (!output.wait(static_cast<int>(left.count()))) return false;
  }
  return true;
}

// How long the room of an area that is nearly full will last.
void addForecasts(Findings& findings, std::int64_t now) {
  const auto needsOne = [](const model::Finding& finding) {
    return finding.id == "area.nearly-full" && finding.broker;
  };
  if (std::ranges::none_of(findings.found, needsOne)) return;
  const render::Growths growths = recordedGrowths();
  for (model::Finding& finding : findings.found) {
    if (!needsOne(finding)) continue;
    const auto growth = growths.find(finding.broker->uuid());
    if (growth == growths.end()) continue;
    finding.evidence += "; by the history, " + render::forecastText(growth->second, now);
  }
}

// Something was named that is not there.
bool isMissing(const model::Snapshot& selected, const Request& request) {
  return selected.brokers.empty() && request.selection.names();
}

Examined examine(const Request& request, Output& output) {
  Examined seen;
  seen.now = take(request, model::MachineFacts::all);
  const bool repairs = !request.doctor.repair.empty();
  const bool canLookAgain = request.from.empty();
  if (canLookAgain && (repairs || model::needsSecondLook(*seen.now)) &&
      waitFor(repairs ? kApartToRemove : kApart, output)) {
    seen.before = std::move(seen.now);
    seen.now = take(request, model::MachineFacts::all);
  }
  seen.selected = model::select(*seen.now, request.selection);
  Findings all = model::findingsOf(seen.before.get(), *seen.now);
  if (isMissing(seen.selected, request)) seen.elsewhere = all;
  seen.findings = model::keepOnly(model::select(std::move(all), seen.selected, request.selection),
                                  request.doctor.only);
  if (request.from.empty()) addForecasts(seen.findings, model::secondsOf(*seen.now));
  for (const auto& broker : seen.selected.brokers) {
    const std::string cut = render::cutOf(*broker, true);
    if (!cut.empty()) seen.findings.notChecked.push_back({"", cut});
  }
  model::complete(seen.findings, whereaboutsOf(request));
  return seen;
}

// A machine without a broker is an answer, unless something was named. A broker that nobody could
// look into is not clean.
ExitCode codeOf(const Examined& seen, const Request& request) {
  const auto& found = seen.findings.found;
  if (seen.now->error != 0) return exitCodeOf(seen.now->error);
  if (!found.empty()) {
    return found.front().severity == model::Severity::critical ? kCritical : kWarnings;
  }
  if (isMissing(seen.selected, request)) return kNoBroker;
  const ExitCode unread = exitCodeOf(seen.selected);
  return unread == kNoPermission || unread == kFailed ? unread : kDone;
}

// A key file that is gone leaves findings that are of no broker.
void tellOfOthers(const Examined& seen, const Request& request) {
  if (seen.elsewhere.found.empty()) return;
  complain(
      "of all brokers and the machine there is more to tell: " + render::countOf(seen.elsewhere) +
      ". See it with zebmon doctor" + model::optionsOf(whereaboutsOf(request)));
}

ExitCode show(const Examined& seen, const Request& request, Output& output) {
  complain(render::problemOf(*seen.now, request.selection, request.from));
  tellOfOthers(seen, request);
  if (request.show.format == Format::json) {
    output.write(render::written(render::findingsDocument(seen.findings, seen.selected)));
    return codeOf(seen, request);
  }
  const bool nothing = seen.now->error != 0 || isMissing(seen.selected, request);
  if (!nothing || !seen.findings.found.empty()) {
    const std::string more =
        request.doctor.only.empty() ? "zebmon doctor" + optionsAgain(request) + " --only" : "";
    output.write(render::findingsScreen(seen.findings, seen.selected, styleOf(request.show), more));
  }
  return codeOf(seen, request);
}

// What was wrong at some time of a period, or at the last look.
ExitCode showPast(const Past& past, const Request& request, Output& output) {
  if (request.selection.narrows()) {
    throw Stop{
        kUsage,
        "a history keeps whose broker a finding was of, and no more. Choose it with --broker, "
        "and leave out --group, --flow and --node"};
  }
  std::vector<model::PastFinding> findings = past.findings();
  std::erase_if(findings, [&request](const model::PastFinding& one) {
    return !one.finding.isOneOf(request.doctor.only);
  });
  if (request.show.format == Format::json) {
    output.write(render::written(render::pastFindingsDocument(findings, past.lastLook() / 1000)));
  } else {
    output.write(render::pastFindingsScreen(findings, styleOf(request.show)));
  }
  if (findings.empty()) return kDone;
  return std::ranges::any_of(
             findings,
             [](const auto& one) { return one.finding.severity == model::Severity::critical; })
             ? kCritical
             : kWarnings;
}

void tellPlan(const std::vector<model::Finding>& chosen, const Request& request, Output& output) {
  for (const auto& finding : chosen) {
    output.write(
        render::repairText(finding, "would " + act::planOf(finding), "", styleOf(request.show)));
  }
  output.write("Nothing was changed. To do it, run the same command with --yes.\n");
}

void mend(const std::vector<model::Finding>& chosen, const Examined& seen, const Request& request,
          Output& output) {
  for (const auto& finding : chosen) {
    act::Result result = act::repair(finding, {*seen.before, *seen.now});
    if (!result.command.empty()) result.command += model::optionsOf(whereaboutsOf(request));
    output.write(render::repairText(
        finding, (result.done ? "done: " : "nothing was changed: ") + result.what, result.command,
        styleOf(request.show)));
  }
}

// Why what was asked for is not there to be repaired.
std::string whyNothing(const Examined& seen, const Request& request) {
  const std::string& wanted = request.doctor.repair;
  const std::string why = act::refusalOf({*seen.before, *seen.now}, wanted);
  if (!why.empty()) return wanted + " is not to be repaired: " + why;
  return "there is no " + wanted + " to repair now: zebmon doctor" + optionsAgain(request) +
         " shows what there is";
}

ExitCode repair(const Request& request, Output& output) {
  requireMachine(request, "a repair changes");
  const Examined seen = examine(request, output);
  if (!seen.before) return kFailed;
  const auto chosen = act::mendable(seen.findings, request.doctor.repair);
  if (chosen.empty()) {
    complain(whyNothing(seen, request));
  } else if (!request.doctor.yes) {
    tellPlan(chosen, request, output);
  } else {
    mend(chosen, seen, request, output);
    Request afterwards = request;
    afterwards.doctor.repair.clear();
    return codeOf(examine(afterwards, output), request);
  }
  return codeOf(seen, request);
}

std::string requireMendable(const std::string& wanted) {
  return act::isMendable(wanted) ? std::string()
                                 : "there is no repair of \"" + wanted +
                                       "\": there are lock.stuck and leftover.lock, "
                                       "each also with :KEYFILE behind it";
}

std::string requireKind(const std::string& wanted) {
  std::string known;
  model::Finding finding;
  for (const std::string& kind : model::findingKinds()) {
    finding.id = kind;
    if (finding.is(wanted.substr(0, wanted.find(':')))) return {};
    known += (known.empty() ? "" : ", ") + kind;
  }
  return "there is no finding \"" + wanted + "\": there are " + known;
}

}  // namespace

void declareDoctor(Options& options, Request& request) {
  static const std::map<std::string, Format> kFormats = {{"table", Format::table},
                                                         {"json", Format::json}};
  DoctorRequest& doctor = request.doctor;
  addPlaces(options, request);
  addBetween(options, request);
  options.add("--only", doctor.only, "Only these findings: lock, area.full, ...")
      .dividedByCommas()
      .check(requireKind)
      .shown("ID,... ...", model::findingKinds());
  const Option repair = options
                            .add("--repair", doctor.repair,
                                 "Mend lock.stuck or leftover.lock; with\n"
                                 ":KEYFILE behind it only that one")
                            .check(requireMendable)
                            .shown("ID");
  options.flag("--yes", doctor.yes, "Do it; without it only the plan is shown").needs(repair);
  addChoice(options, "--format", request.show.format, kFormats, "For people, or for programs",
            "table|json");
  addStyle(options, request);
  options.footer(
      "Exit codes: 0 nothing is wrong, 1 warnings, 2 something is critical; else as of\n"
      "all commands.");
}

ExitCode runDoctor(const Request& request, Output& output) {
  if (!request.doctor.repair.empty()) return repair(request, output);
  if (isPast(request)) {
    return withPast(request, [&](const Past& past) { return showPast(past, request, output); });
  }
  return show(examine(request, output), request, output);
}

}  // namespace cli
