// SPDX-License-Identifier: Apache-2.0
// Writes looks into a history, each in one transaction.
#ifndef ZEB_AGENT_FRONT_HISTORY_RECORDER_H
#define ZEB_AGENT_FRONT_HISTORY_RECORDER_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/front/history/broker_counts.h"
#include "agent/front/history/database.h"
#include "agent/front/history/event_writer.h"
#include "agent/front/history/moment.h"
#include "agent/front/history/names.h"
#include "agent/front/history/parts.h"
#include "agent/front/history/reading.h"
#include "agent/model/findings.h"
#include "agent/model/follower.h"
#include "agent/model/snapshot.h"

namespace history {

// What one turn of a watcher brought.
struct Sight {
  std::shared_ptr<const model::Snapshot> snapshot;  // never null
  model::Findings findings = {};

  // What was posted since the sight before.
  std::vector<model::News> news = {};

  // Sights were dropped since the last one that was recorded.
  bool behindLost = false;
};

// What was posted, as the snapshot itself has it.
std::vector<model::News> newsOf(const model::Snapshot& snapshot);

// One run of a recorder on tables that are there. For one thread. After a Failure it is of no more
// use: another one goes on from what is stored.
class Recorder {
 public:
  struct Settings {
    std::string version = {};               // of zebmon
    std::string boot = {};                  // of the machine
    std::size_t names = 20000;              // of nodes of one broker
    std::int64_t eventsPerSecond = 1000;    // of one broker
    std::int64_t rowsAtOnce = 50000;        // in one transaction, and sorted in memory
    std::int64_t recentRows = 4000000;      // before they become a part, whatever the time is
    std::function<void()> between = [] {};  // called behind each transaction but that of the look
  };

  Recorder(const Database& database, Settings settings, std::int64_t nowMs);

  // True when it also put ten minutes into parts: then the file has grown.
  bool record(const Sight& sight);

  // Removes old things of brokers that take more than `quota` bytes, and then of any, until no more
  // than `all` bytes of the file are in use.
  void shrink(std::int64_t quota, std::int64_t all);

  // Bytes of the file that are in use.
  std::int64_t used() const;

 private:
  // A broker as the last look found it.
  struct Known {
    std::int64_t id = 0;
    Moment last = {};          // when its segment was last read
    std::int64_t present = 0;  // 0 gone, 1 there, 2 there and damaged
    std::int64_t segment = 0;
    reader::Time reset = {};
    std::int64_t span = 0;  // first look of the present one; 0: none
    AreaUse use = {};
    BrokerCounts counts = {};
  };

  // Something between two looks.
  struct Mark {
    const char* kind;
    Moment before;
    std::int64_t unknownMs = 0;
    const BrokerCounts::Look* look = nullptr;
  };

  void load();
  void loadCounts(Known& known);
  void write(const Sight& sight);
  void seeClock();
  void see(const model::SeenBroker& broker, bool wasAbsent);
  BrokerCounts::New beginOf(const Known& known, const model::SeenBroker& broker, bool wasAbsent);
  void seeReset(const Known& known, const model::SeenBroker& broker,
                const BrokerCounts::Look& look);
  void writeCounts(const Known& known, const BrokerCounts::Look& look);
  void writeSpan(Known& known, std::int64_t beginMs);
  void writeBroker(Known& known, const model::SeenBroker& broker);
  void writeUse(Known& known, const model::SeenBroker& broker);
  void seeAbsent(Known& known, bool gone);
  void writeMark(const Known& known, const Mark& mark);
  void writeNews(const model::News& news);
  void writeFindings(const model::Findings& findings);
  void closePart();

  const Database& database_;
  const Settings settings_;
  Names names_;
  EventWriter events_;
  Parts parts_;
  std::map<std::string, Known> brokers_;          // by uuid
  std::map<std::string, std::int64_t> findings_;  // those that are there, by key
  std::int64_t run_ = 0;
  Moment before_ = {};  // the look before; its steady time is 0 when another run had it
  Moment now_ = {};
  bool continuous_ = false;           // this run had the look before, and none was lost since
  bool sawAll_ = false;               // the look before did
  std::set<std::string> unreadable_;  // brokers at the look before
  std::int64_t recent_ = 0;           // rows

  Statement addSample_;
  Statement addCount_;
  Statement removeCount_;
};

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_RECORDER_H
