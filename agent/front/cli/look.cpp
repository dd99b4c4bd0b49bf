// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/look.h"

#include <set>

#include "agent/front/cli/messages.h"
#include "agent/front/cli/past.h"
#include "agent/front/cli/stop.h"
#include "agent/model/collector.h"
#include "agent/model/condition.h"
#include "agent/model/selection.h"
#include "agent/render/archive_words.h"
#include "agent/render/words.h"

namespace cli {

archived::Loaded open(const std::string& file, model::Events events, std::uint64_t mostBytes) {
  archived::Loaded loaded = archived::load(file, events, mostBytes);
  if (loaded.failure) {
    throw Stop{exitCodeOf(loaded.failure), render::problemOfReading(loaded.failure, file)};
  }
  complain(render::originOf(loaded, file));
  return loaded;
}

namespace {

// Of a history, only events are what a snapshot holds.
std::shared_ptr<const model::Snapshot> takePast(const Request& request, model::Events events) {
  if (events != model::Events::read) {
    throw Stop{kUsage, request.from +
                           " is a history, and this needs a snapshot file. A history can be given "
                           "to stats, flow, events, message, size, doctor and changes"};
  }
  std::shared_ptr<const model::Snapshot> snapshot;
  withPast(request, [&snapshot](const Past& past) {
    past.report(past.gaps());
    snapshot = past.events();
    return kDone;
  });
  return snapshot;
}

}  // namespace

std::shared_ptr<const model::Snapshot> take(const Request& request, model::MachineFacts machine,
                                            model::Events events) {
  if (request.from.empty()) {
    auto snapshot = model::Collector(request.directory, events, machine, request.mostBytes).take();
    remark(*snapshot, request, events == model::Events::leave);
    return snapshot;
  }
  if (isPast(request)) return takePast(request, events);
  auto snapshot = open(request.from, events, request.mostBytes).snapshot;
  if (machine >= model::MachineFacts::read && !snapshot->machine) {
    throw Stop{kDamaged, request.from + " lacks what the machine said. Take another snapshot"};
  }
  remark(*snapshot, request, events == model::Events::leave);
  return snapshot;
}

void remark(const model::Snapshot& snapshot, const Request& request, bool events) {
  static std::set<std::string> said;
  std::vector<std::string> unsaid;
  const auto once = [&unsaid](const std::string& sentence) {
    if (!sentence.empty() && said.insert(sentence).second) unsaid.push_back(sentence);
  };
  once(render::ignoredOf(snapshot, request.selection.owners));
  for (const auto& broker : model::selectBrokers(snapshot, request.selection).brokers) {
    once(render::cutOf(*broker, events));
  }
  complainOfEach(unsaid, kChooseABroker);
}

void requireMachine(const Request& request, const std::string& what) {
  if (request.from.empty()) return;
  throw Stop{kUsage,
             what + " the machine itself, and --from is one look in a file. Leave out --from"};
}

void report(const model::Snapshot& snapshot, const model::Snapshot& selected,
            const Request& request) {
  complain(render::problemOf(snapshot, request.selection, request.from));
  reportProblems(selected);
}

ExitCode reported(const model::Snapshot& snapshot, const model::Snapshot& selected,
                  const Request& request) {
  report(snapshot, selected, request);
  return findUnknown(snapshot, request.selection) ? kNoBroker : exitCodeOfContents(selected);
}

model::Snapshot selected(const model::Snapshot& snapshot, const Request& request) {
  model::Snapshot selected = model::select(snapshot, request.selection);
  report(snapshot, selected, request);
  return selected;
}

model::Snapshot look(const Request& request) {
  return distinct(
      selected(*take(request, model::MachineFacts::leave, model::Events::skip), request));
}

}  // namespace cli
