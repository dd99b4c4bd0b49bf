// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iterator>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/terminal.h"
#include "agent/model/selection.h"
#include "agent/render/lock_screens.h"
#include "agent/render/words.h"

namespace cli {
namespace {

using Locks = std::vector<model::LockView>;

std::string shown(const model::Snapshot& snapshot, const Locks& locks, const ShowRequest& show) {
  const auto sheet = [&] { return arranged(render::locksSheet(locks), show.arrangement); };
  switch (show.format) {
    case Format::json:
      return render::written(render::locksDocument(snapshot, locks));
    case Format::jsonl:
      return render::rowLines("zebmon.lock", snapshot, sheet());
    case Format::csv:
      return render::csvOf(sheet(), show.titles);
    case Format::table:
      break;
  }
  return render::tableOf(sheet(), styleOf(show));
}

// Locks without a broker are an answer too: somebody left them behind.
ExitCode codeOf(const model::Snapshot& snapshot, const model::Snapshot& selected,
                const Locks& locks) {
  if (snapshot.machine->locks.error != 0) return exitCodeOf(snapshot.machine->locks.error);
  return selected.brokers.empty() && !locks.empty() ? kDone : exitCodeOf(selected);
}

}  // namespace

void declareLocks(Options& options, Request& request) {
  addPlaces(options, request);
  options.flag("--all", request.allLocks, "Those too that are free, as they should be");
  addSheet(options, request, render::locksColumns());
}

ExitCode runLocks(const Request& request, Output& output) {
  const auto snapshot = take(request, model::MachineFacts::read);
  const model::Snapshot selected = model::select(*snapshot, request.selection);
  const bool everywhere = !request.selection.names();
  const Locks all = model::locksOf(*snapshot, selected, everywhere, request.selection.owners);
  Locks some;
  std::ranges::copy_if(all, std::back_inserter(some), [&request](const model::LockView& lock) {
    return request.allLocks || lock.noteworthy();
  });
  if (all.empty()) complain(render::problemOf(*snapshot, request.selection, request.from));
  if (request.show.format == Format::table) {
    if (!all.empty() || !selected.brokers.empty()) complain(render::countOf(all, some));
    complain(render::stuckText(some, model::optionsOf(whereaboutsOf(request))));
  }
  output.write(shown(*snapshot, some, request.show));
  return codeOf(*snapshot, selected, all);
}

}  // namespace cli
