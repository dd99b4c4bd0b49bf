// SPDX-License-Identifier: Apache-2.0
// What a history tells, as what the model knows. The file is believed in nothing: texts may hold
// anything, and numbers may be any.
#ifndef ZEB_AGENT_FRONT_HISTORY_READER_H
#define ZEB_AGENT_FRONT_HISTORY_READER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/front/history/database.h"
#include "agent/front/history/samples.h"
#include "agent/model/capacity.h"
#include "agent/model/changes.h"
#include "agent/model/gaps.h"
#include "agent/model/past.h"

namespace history {

// Whether the file at `path` begins as a database does. False when it can't be read.
bool isHistory(const std::string& path);

// A broker that is in a history.
struct KnownBroker {
  std::int64_t id = 0;
  std::string uuid;
  std::string label;
  std::int64_t lastLook = 0;  // milliseconds since 1970
  bool present = false;       // it was there then

  // The label, else the uuid.
  std::string name() const { return label.empty() ? uuid : label; }
};

// Events that nobody saw.
struct KnownGap {
  std::int64_t time = 0;  // of the look behind it, in milliseconds since 1970
  model::Gap gap;
};

// Reads one file, which a recorder may be writing. Every function throws Failure when the file
// can't be read.
class Reader {
 public:
  // Throws Failure too when it is no history, or one of a newer version.
  explicit Reader(const std::string& path);

  // For what reading.h asks of it: all of the same moment.
  const Database& database() const { return database_; }

  // In the order of their names.
  std::vector<KnownBroker> brokers() const;

  // The last look of all, in milliseconds since 1970; 0: there was none.
  std::int64_t lastLook() const;

  // What was added in a period, by looks, minutes or hours: the finest that reach back as far. With
  // `parts` above 1 there are looks in between, that many parts of about the same length.
  model::PastBroker past(const KnownBroker& broker, const model::Period& period,
                         std::size_t parts = 1) const;

  // What the broker's nodes held at its last look, since their reset.
  model::PastBroker last(const KnownBroker& broker) const;

  // The broker at its last look, with the events of a period. `bounded` says that there are more of
  // them than are taken.
  std::shared_ptr<const model::SeenBroker> events(const KnownBroker& broker,
                                                  const model::Period& period, bool& bounded) const;

  // How the area of nodes filled up in the thirty days before the last look; nothing when that was
  // never recorded.
  std::optional<model::AreaGrowth> growth(const KnownBroker& broker) const;

  std::vector<KnownGap> gaps(const KnownBroker& broker, const model::Period& period) const;

  // All that were there at any time of the period, by their begin.
  std::vector<model::PastFinding> findings(const model::Period& period) const;

  std::vector<model::Mark> marks(const KnownBroker& broker, const model::Period& period) const;

  // Minutes of the period and hours of `days` before it, flow by flow; the days are whole ones of
  // UTC. Nestings are unknown.
  void minutes(const KnownBroker& broker, const model::Period& period, const model::Period& days,
               const std::function<void(model::FlowMinutes)>& take) const;

 private:
  struct Flow {
    std::vector<std::int64_t> nodes;  // their numbers
    model::FlowMinutes minutes;
  };

  model::Period within(Step step, const KnownBroker& broker, const model::Period& period) const;
  std::vector<model::Period> observed(std::int64_t broker, const model::Period& period) const;
  std::vector<Flow> flowsOf(std::int64_t broker) const;

  Database database_;
  Transaction transaction_;  // all that is read is of one moment
  std::int64_t version_;     // of the tables
};

}  // namespace history

#endif  // ZEB_AGENT_FRONT_HISTORY_READER_H
