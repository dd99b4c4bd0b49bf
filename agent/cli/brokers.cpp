// SPDX-License-Identifier: Apache-2.0
#include "agent/cli/brokers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <functional>

#include "agent/cli/show.h"

namespace cli {
namespace {

using reader::State;

Found readBroker(const std::string& keyFile) {
  Found found;
  found.segment = reader::readSegment(keyFile);
  found.damage = found.segment.copy.damage;
  found.broker = reader::readTree(found.segment.copy, found.damage);
  return found;
}

bool means(const Options& options, const Found& found) {
  return options.broker.empty() || options.broker == found.uuid() ||
         options.broker == found.segment.uuid || options.broker == found.label();
}

std::string notFound(const Options& options, const std::vector<Found>& all) {
  std::string text = fmt::format(
      "no broker \"{0}\": there is no key file {1}{0}.zebcshme, and no segment that could be read "
      "has that label (a node must be deployed in it, and {1} must be the directory that it uses: "
      "see --temp-directory; a service may have a private one)",
      printable(options.broker), printable(options.temporaryDirectory));
  for (const Found& found : all) {
    if (!found.broker) text += fmt::format("; label unknown: {}", nameOf(found));
  }
  return text;
}

std::string noneAtAll(const Options& options) {
  return fmt::format(
      "no broker has a key file (*.zebcshme) in {} (a node must be deployed, and this must be the "
      "directory that the brokers use: see --temp-directory)",
      printable(options.temporaryDirectory));
}

std::string noPermission(const Found& found) {
  const std::string& group = found.segment.group;
  if (group.empty()) {
    return fmt::format("no permission to look at {}", printable(found.segment.keyFile));
  }
  return fmt::format(
      "no permission to read its shared memory, which belongs to group {0}: run zebmon as a member "
      "of that group (sg {0} -c zebmon)",
      printable(group));
}

}  // namespace

std::string describe(const Found& found) {
  const std::string keyFile = printable(found.segment.keyFile);
  switch (found.state()) {
    case State::ok:
      return {};
    case State::noKeyFile:
      return fmt::format("the key file {} is gone: the broker has just stopped", keyFile);
    case State::noSegment:
      return fmt::format(
          "key file {} without shared memory: the broker has just stopped, or was killed and the "
          "memory removed. While the broker is down, the file can be deleted",
          keyFile);
    case State::noPermission:
      return noPermission(found);
    case State::notInitialised:
      return fmt::format(
          "shared memory without a header: the broker is just starting, so try again. If that "
          "stays "
          "so, its first process died: stop the broker and remove it with ipcrm -m {}",
          found.segment.id);
    case State::damaged:
      return fmt::format(
          "damaged in {}{} places; what could be read is shown. Stopping all processes of the "
          "broker removes the memory, and starting them makes it anew",
          found.damage.list().size() == reader::DamageList::kMost ? "at least " : "",
          found.damage.list().size());
    case State::failed:
      break;
  }
  return fmt::format("{} failed: {}", found.segment.call, errorText(found.segment.error));
}

State Found::state() const {
  return segment.state == State::ok && !damage.empty() ? State::damaged : segment.state;
}

std::string Found::uuid() const {
  return broker ? broker->uuid : segment.uuid;
}

std::string Found::label() const {
  return broker ? broker->label : std::string();
}

Brokers readBrokers(const Options& options, bool emptyIsFine) {
  Brokers brokers;
  const reader::KeyFiles files = reader::findKeyFiles(options.temporaryDirectory);
  if (files.error != 0) {
    brokers.problem = fmt::format("can't read the directory {}: {}",
                                  printable(options.temporaryDirectory), errorText(files.error));
    brokers.exitCode = kNotAllRead;
    return brokers;
  }
  for (const std::string& path : files.paths) brokers.found.push_back(readBroker(path));
  const auto meant = [&options](const Found& found) { return means(options, found); };
  if (std::none_of(brokers.found.begin(), brokers.found.end(), meant)) {
    const bool all = options.broker.empty();
    brokers.problem = all ? noneAtAll(options) : notFound(options, brokers.found);
    if (!all || !emptyIsFine) brokers.exitCode = kNoBroker;
  }
  std::erase_if(brokers.found, std::not_fn(meant));
  const auto failed = [](const Found& found) { return isFailure(found.state()); };
  if (std::any_of(brokers.found.begin(), brokers.found.end(), failed)) {
    brokers.exitCode = kNotAllRead;
  }
  return brokers;
}

const char* stateName(State state) {
  switch (state) {
    case State::ok:
      return "ok";
    case State::noKeyFile:
      return "noKeyFile";
    case State::noSegment:
      return "noSegment";
    case State::noPermission:
      return "noPermission";
    case State::notInitialised:
      return "notInitialised";
    case State::damaged:
      return "damaged";
    case State::failed:
      return "failed";
  }
  return "failed";
}

std::string nameOf(const Found& found) {
  const std::string label = found.label();
  return label.empty() ? "uuid " + shortened(found.uuid(), 60) : shortened(label, 60);
}

// A broker without shared memory isn't running: that is an answer, not a failure.
bool isFailure(State state) {
  return state != State::ok && state != State::noSegment && state != State::noKeyFile;
}

void reportProblem(const Found& found) {
  const std::string problem = describe(found);
  if (problem.empty()) return;
  fmt::print(stderr, "zebmon: broker {}: {}.\n", nameOf(found), problem);
  for (const reader::Damage& damage : found.damage.list()) {
    fmt::print(stderr, "zebmon:   {}, offset {}: {}\n", damage.area, damage.offset, damage.reason);
  }
}

void reportProblems(const Brokers& brokers) {
  if (!brokers.problem.empty()) fmt::print(stderr, "zebmon: {}.\n", brokers.problem);
  for (const Found& found : brokers.found) reportProblem(found);
}

}  // namespace cli
