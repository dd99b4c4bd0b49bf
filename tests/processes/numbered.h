// SPDX-License-Identifier: Apache-2.0
// Messages that say who sent them and as which of the sender's, and what their events then tell.
#ifndef ZEB_TESTS_PROCESSES_NUMBERED_H
#define ZEB_TESTS_PROCESSES_NUMBERED_H

#include <map>

#include "tests/support/plugin.h"

namespace support {

// Sends a message of `size` bytes that carries both numbers in its two identifiers and its
// application name. Numbers count from 1.
void sendNumbered(NodeContext& node, int writer, int number, int size = 364,
                  const std::string& putTime = Descriptor().putTime);

struct Numbers {
  int writer = 0;
  int number = 0;
};
// What an event's message carried. Throws when its three places don't agree.
Numbers numbersOf(const StoredRecord& event);

// The events of a ring whose records are equally long, oldest first.
std::vector<StoredRecord> oldestFirst(const Bytes& segment, const Block& area);

// Expects that these are the newest events of all: of each writer an unbroken row that ends with
// the last that it sent. `last` has every writer, with the number of messages it sent.
void expectNewest(const std::vector<StoredRecord>& events, const std::map<int, int>& last);

// Expects that each event belongs to exactly one of the templates.
void expectOneTemplateEach(const std::vector<StoredRecord>& events,
                           const std::vector<StoredRecord>& templates);

}  // namespace support

#endif  // ZEB_TESTS_PROCESSES_NUMBERED_H
