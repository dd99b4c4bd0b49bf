// SPDX-License-Identifier: Apache-2.0
// Commands that read a history in place of a look.
#ifndef ZEB_AGENT_FRONT_CLI_PAST_H
#define ZEB_AGENT_FRONT_CLI_PAST_H

#include <functional>
#include <memory>
#include <vector>

#include "agent/front/cli/exit_code.h"
#include "agent/front/cli/output.h"
#include "agent/front/cli/parser.h"
#include "agent/front/cli/request.h"
#include "agent/front/history/reader.h"
#include "agent/model/snapshot.h"
#include "agent/render/past_screens.h"
#include "agent/render/size_screens.h"

namespace cli {

// --between, for what --from may name a history for.
void addBetween(Options& options, Request& request);

// Names the default history where the command line names none.
void useDefaultHistory(Request& request);

// Whether --from names a history. Throws Stop when --between was given, and it doesn't.
bool isPast(const Request& request);

// One history, what a request wants of it, and what becomes of failures.
class Past {
 public:
  // The request must live as long. Throws Stop when the file can't be read.
  explicit Past(const Request& request);

  // What was asked for with --between; else nothing.
  std::optional<model::Period> between() const { return between_; }

  // That, or so many milliseconds before a look, also as much as there is.
  model::Period periodBefore(std::int64_t look, std::int64_t length) const;

  // Each selected broker: in the period, or at its last look; `length`, when it isn't 0, is how
  // long before the last look is meant. What is wrong with the selection is said on standard error.
  std::vector<render::PastView> views(const model::FlowKnowledge& known, std::size_t parts,
                                      std::int64_t length) const;

  // The brokers with their events; nothing of --between: all of them.
  std::shared_ptr<const model::Snapshot> events() const;

  // Which events of those asked for nobody saw, in the order of brokers and times.
  struct Gap {
    model::SeenBroker broker;  // its names alone
    history::KnownGap known;
  };
  std::vector<Gap> gaps() const;

  // Says so on standard error.
  void report(const std::vector<Gap>& gaps) const;

  // How the brokers' areas of nodes filled up, where that was recorded.
  render::Growths growths() const;

  // The brokers at their last looks, each with its area of nodes as it was at the end of these.
  std::shared_ptr<const model::Snapshot> areas(const render::Growths& growths) const;

  std::vector<model::PastFinding> findings() const;
  std::vector<model::PastChange> changes(const model::Period& period,
                                         const model::FlowKnowledge& known) const;

  std::int64_t lastLook() const { return lastLook_; }  // milliseconds since 1970
  std::int64_t now() const { return now_; }            // seconds since 1970

 private:
  std::vector<history::KnownBroker> brokers() const;

  const Request& request_;
  std::unique_ptr<history::Reader> reader_;  // never null
  std::int64_t now_ = 0;
  std::int64_t lastLook_ = 0;
  std::optional<model::Period> between_;
};

// What the default history says of the brokers of this machine; nothing when there is none that can
// be read.
render::Growths recordedGrowths();

// A look without brokers at the time of the last one, for what only tells its time.
model::Snapshot atLastLook(const Past& past);

// How flows of a period are shown.
struct ViewShow {
  render::Json (*document)(const std::vector<render::PastView>&, const model::Selection&);
  const char* rows;  // the schema of a row
  std::function<std::string(const model::View&)> screen;
};

// All selected flows in the period, or in the ten minutes before each broker's last look.
ExitCode showViews(const Past& past, const Request& request, Output& output, const ViewShow& show);

// Runs `what` with the history; a failure to read it ends as Stop.
ExitCode withPast(const Request& request, const std::function<ExitCode(const Past&)>& what);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_PAST_H
