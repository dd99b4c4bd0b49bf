// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/completion.h"

#include <pwd.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "agent/act/plan.h"
#include "agent/archive/snapshot_file.h"
#include "agent/model/check.h"
#include "agent/model/collector.h"
#include "agent/model/message_way.h"
#include "agent/model/selection.h"

namespace cli {
namespace {

using completion::Candidate;
using completion::Place;
using Candidates = std::vector<Candidate>;
using Kind = model::Unknown::Kind;

constexpr unsigned kPatienceS = 1;

void endInTime() {
  signal(SIGALRM, [](int) { _exit(0); });
  alarm(kPatienceS);
}

// Null: there is nothing to look at.
std::shared_ptr<const model::Snapshot> look(const Place& place,
                                            model::Events events = model::Events::skip) {
  endInTime();
  const std::string file = place.valueOf("--from");
  if (file == "-") return nullptr;  // what comes there is somebody's typing
  if (!file.empty()) {
    return archived::load(file, events, reader::CopyBounds::kMostBytes).snapshot;
  }
  return model::Collector(place.valueOf("--temp-directory"), events).take();
}

// No label is such a one, so the answer has all that there are.
constexpr char kNobody[] = "\n";

Candidates namesOf(Kind kind, const Place& place) {
  struct Level {
    Kind kind;
    const char* option;
    std::string model::Selection::*pattern;
    const char* description;
  };
  static constexpr std::array<Level, 4> kLevels = {
      {{Kind::broker, "--broker", &model::Selection::broker, "broker"},
       {Kind::group, "--group", &model::Selection::group, "execution group"},
       {Kind::flow, "--flow", &model::Selection::flow, "message flow"},
       {Kind::node, "--node", &model::Selection::node, "node"}}};
  const auto snapshot = look(place);
  if (!snapshot) return {};
  model::Selection selection;
  for (const Level& level : kLevels) {
    if (level.kind != kind) {
      selection.*level.pattern = place.valueOf(level.option);
      continue;
    }
    selection.*level.pattern = kNobody;
    const auto unknown = model::findUnknown(*snapshot, selection);
    if (!unknown || unknown->kind != kind) return {};
    Candidates found;
    for (const std::string& name : unknown->names) found.push_back({name, level.description});
    return found;
  }
  return {};
}

// By name where they have one.
Candidates owners(const Place& place) {
  const auto snapshot = look(place);
  if (!snapshot) return {};
  Candidates found;
  std::set<std::uint32_t> users;
  for (const auto& broker : snapshot->brokers) {
    const auto user = model::ownerOf(*broker);
    if (!user || !users.insert(*user).second) continue;
    const passwd* const entry = getpwuid(*user);
    found.push_back(
        {entry != nullptr ? entry->pw_name : std::to_string(*user), "owns " + broker->name()});
  }
  return found;
}

// Those in the rings that begin with what is typed, which stays as it is typed.
Candidates messageIds(const Place& place) {
  const auto prefix = place.current.empty() ? std::string() : model::idPrefixOf(place.current);
  if (!prefix) return {};
  const auto snapshot = look(place, model::Events::read);
  if (!snapshot) return {};
  Candidates found;
  for (const model::MessageWay& way : model::waysOf(*snapshot, *prefix)) {
    const auto& origin = way.steps.front().event->origin;
    found.push_back(
        {place.current + way.id.substr(prefix->size()), origin ? origin->messageFlow : ""});
  }
  return found;
}

Candidates repairs() {
  Candidates found;
  for (const std::string& kind : act::mendableKinds()) found.push_back({kind});
  return found;
}

Candidates limits() {
  Candidates found;
  for (const model::CheckForm& form : model::checkForms()) {
    const std::string word(form.takesLimit() ? std::string(form.name) + "=" : form.name);
    found.push_back({word, std::string(form.meaning)});
  }
  return found;
}

}  // namespace

Candidates valuesAt(const Place& place) {
  const std::string& name = place.name;
  if (name == "--broker") return namesOf(Kind::broker, place);
  if (name == "--group") return namesOf(Kind::group, place);
  if (name == "--flow" || name == "FLOW") return namesOf(Kind::flow, place);
  if (name == "--node") return namesOf(Kind::node, place);
  if (name == "--owner") return owners(place);
  if (name == "ID" || name == "--message-id" || name == "--correlation") return messageIds(place);
  if (name == "--repair") return repairs();
  if (name == "NAME=LIMIT") return limits();
  if (name == "A" || name == "B") return {completion::files()};
  return {};
}

}  // namespace cli
