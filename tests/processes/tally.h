// SPDX-License-Identifier: Apache-2.0
// Messages of which everything differs, and a count of them that is kept beside the library's.
#ifndef ZEB_TESTS_PROCESSES_TALLY_H
#define ZEB_TESTS_PROCESSES_TALLY_H

#include <atomic>
#include <limits>
#include <string>
#include <thread>

#include "tests/support/plugin.h"

namespace support {

struct Series {
  void add(int value);
  void add(const Series& other);

  long long sum = 0;
  int max = std::numeric_limits<int>::min();
  int min = std::numeric_limits<int>::max();
};

struct Tally {
  void add(const Tally& other);
  // As one line, and back.
  std::string line() const;
  static Tally from(const std::string& line);

  long long count = 0;
  Series size;
  Series queued;  // milliseconds
};

// Expects what is stored of the node with this label to be the tally, to the last digit. The clock
// must have stood still, so that no time passed behind the node.
void expectTally(const std::u16string& label, const Tally& tally);

// Sets the clock, which stands still from now on, and what the host answers: messages fail with
// one of three texts when the thread that sends them says so.
void prepareTally();

// Sends that many messages; sizes and put times differ, and every third fails.
Tally sendTallied(NodeContext& node, int writer, int messages);

// Expects that the newest events of all are there: one for each message of these writers from 1 to
// `messages`, and a second one for each that failed. The areas must hold that many.
void expectTalliedEvents(int writers, int messages);

// Makes and deletes node contexts of the host until its destructor, and once at least: nodes of the
// same broker that are not active, and active ones of another broker, which reset nothing here.
class PassingContexts {
 public:
  PassingContexts();
  ~PassingContexts();
  PassingContexts(const PassingContexts&) = delete;
  PassingContexts& operator=(const PassingContexts&) = delete;

 private:
  std::atomic<bool> enough_ = false;
  std::thread thread_;
};

}  // namespace support

#endif  // ZEB_TESTS_PROCESSES_TALLY_H
