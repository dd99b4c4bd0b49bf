// SPDX-License-Identifier: Apache-2.0
// What is different between two snapshots, besides the figures of the nodes (rates.h).
#ifndef ZEB_AGENT_MODEL_DIFF_H
#define ZEB_AGENT_MODEL_DIFF_H

#include <string>
#include <vector>

#include "agent/model/rates.h"
#include "agent/model/selection.h"
#include "agent/model/snapshot.h"

namespace model {

// How two looks lie in time.
struct Apart {
  enum class Kind {
    sameLook,      // they are one and the same
    sameRun,       // the machine ran from the one to the other
    startedAgain,  // it was started in between: no figure goes on from the first to the second
    otherMachine,  // they are of two machines
  };

  Kind kind = Kind::sameRun;

  // From the first look to the second; negative when the second one is older.
  Seconds time{0};

  // By so much the wall clock was set forward in between; 0 unless it was set by more than 2 s, and
  // known only within one run of the machine.
  Seconds clockSet{0};

  // Whether nodes have growths that mean something.
  bool comparesFigures() const { return kind == Kind::sameLook || kind == Kind::sameRun; }
};

// Without the machine's facts a run is taken for the same while both of its clocks agree.
Apart apart(const Snapshot& before, const Snapshot& after, bool sameHost);

// One thing that is in one of the looks only, or not the same in both. Texts may hold any bytes.
struct Difference {
  enum class Kind { finding, lock, broker, group, flow, node, process, setting };
  enum class How {
    came,     // `before` is empty
    went,     // `after` is empty
    changed,  //
    reset,    // its statistics went back to zero
  };

  Kind kind = Kind::broker;
  How how = How::changed;

  // "BRK1/orders/Fulfil/Reserve", the key of a finding or setting, or what a lock guards.
  std::string name;

  // What is to be said of it in each look; may be empty.
  std::string before;
  std::string after;

  reader::Time resetTime = {};  // of a broker that was reset
};

struct Differences {
  std::vector<Difference> list;          // by kind, in the order of the enumeration
  std::vector<std::string> notCompared;  // what, and why, a sentence each without its full stop
};

// Both snapshots are whole. Resources are compared by their labels, so that a broker that was
// started again is not one that went and one that came. Those that are deleted count as gone. What
// holds others is told without them. Findings are those that one look tells. A selection of
// groups, flows or nodes leaves out locks, findings and settings, which are of whole brokers.
Differences differencesOf(const Snapshot& before, const Snapshot& after, Apart::Kind apart,
                          const Selection& selection);

// Whether some node measured anything between the looks, or was not there in one of them.
bool anythingMeasured(const Growths& growths, const Selection& selection);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_DIFF_H
