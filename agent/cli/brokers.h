// SPDX-License-Identifier: Apache-2.0
// Which brokers there are, which of them are meant, and what is wrong with them.
#ifndef ZEB_AGENT_CLI_BROKERS_H
#define ZEB_AGENT_CLI_BROKERS_H

#include <optional>
#include <string>
#include <vector>

#include "agent/reader/damage.h"
#include "agent/reader/segment.h"
#include "agent/reader/tree.h"

namespace cli {

struct Options {
  std::string temporaryDirectory;  // ends in "/"
  std::string broker;              // label or uuid, empty = all
};

enum ExitCode {
  kDone = 0,
  kNotAllRead = 1,  // something is damaged or could not be read or written
  kUsage = 2,
  kNoBroker = 3,  // nothing to read: no broker at all, or not the one that was asked for
};

// One broker: what was read of it and, after describe(), what people can do about the rest.
struct Found {
  reader::Segment segment;
  std::optional<reader::Broker> broker;
  reader::DamageList damage;

  reader::State state() const;
  std::string uuid() const;   // UTF-8; by the key file's name while the broker's record is missing
  std::string label() const;  // UTF-8, empty while it is not known
};

struct Brokers {
  std::vector<Found> found;
  std::string problem;  // the directory can't be read, or no broker is the one asked for
  int exitCode = kDone;
};

// Reads all brokers that `options` mean. `emptyIsFine` says that no broker at all is an answer.
Brokers readBrokers(const Options& options, bool emptyIsFine);

// The name of a state in JSON.
const char* stateName(reader::State state);

// "BRK1", or "uuid ..." while the label is unknown; printable.
std::string nameOf(const Found& found);

// What is wrong and the remedy, in one printable line; empty when nothing is.
std::string describe(const Found& found);

// True for the states that make a command end with kNotAllRead.
bool isFailure(reader::State state);

// Writes what is wrong to standard error: one line a broker, then one a damaged place.
void reportProblems(const Brokers& brokers);
void reportProblem(const Found& found);

}  // namespace cli

#endif  // ZEB_AGENT_CLI_BROKERS_H
