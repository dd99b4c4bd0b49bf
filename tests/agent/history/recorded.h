// SPDX-License-Identifier: Apache-2.0
// A recorder over tables in memory, and what they hold.
#ifndef ZEB_TESTS_AGENT_HISTORY_RECORDED_H
#define ZEB_TESTS_AGENT_HISTORY_RECORDED_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/front/history/recorder.h"
#include "agent/front/history/tables.h"
#include "tests/agent/grown.h"

// The seconds of the first look, since 1970: the begin of an hour.
inline constexpr std::int64_t kBegin = 1'800'000'000;

class Recorded {
 public:
  explicit Recorded(const std::string& path = ":memory:");

  // Ends the recorder and begins another one.
  void restart(history::Recorder::Settings settings = {});

  // A look at that time; the wall clock may be ahead of the other one.
  void look(double second, std::shared_ptr<model::SeenBroker> broker, double ahead = 0);
  void look(double second, history::Sight sight);

  // Of a statement's first row, columns with blanks between them; "-" is NULL, empty is no row.
  std::string row(const std::string& sql) const;
  std::int64_t number(const std::string& sql) const;

  // All messages that were added, and all marks: "kind unknown seconds" each.
  std::int64_t messages() const;
  std::string marks() const;

  history::Database database;
  std::unique_ptr<history::Recorder> recorder;

 private:
  int runs_ = 0;
};

// That broker with a segment that could be read.
std::shared_ptr<model::SeenBroker> present(const std::vector<reader::Node>& nodes);

// The same, with so many bytes of its area of nodes in use.
std::shared_ptr<model::SeenBroker> filled(std::uint32_t used, std::uint32_t size);

// One node "Reserve" that counted so many messages.
std::shared_ptr<model::SeenBroker> counting(std::int64_t messages);

// Two days of minutes of one node "Priced", whose time goes from 9 to 14 ms in the minute 2,500.
void addMinutes(const history::Database& database);

#endif  // ZEB_TESTS_AGENT_HISTORY_RECORDED_H
