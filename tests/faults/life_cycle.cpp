// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/life_cycle.h"

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <thread>

#include "tests/faults/blocks.h"
#include "tests/faults/host.h"
#include "tests/faults/inside.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/stored_bytes.h"

namespace faults {
namespace {

constexpr char kSegmentPath[] = "/tmp/UUID1.zebcshme";

const Context::Attributes kWithEvents = {
    {u"type", u"input"},        {u"eventMessage", u"an event"}, {u"collectQueueTime", u"yes"},
    {u"subFlowName", u"inner"}, {u"activateNode", u"yes"},      {u"unknown", u"kept"},
    {u"label", u"NODE1"}};
const Context::Attributes kWithoutEvents = {{u"label", u"NODE2"},
                                            {u"type", u"output"},
                                            {u"eventMessage", u""},
                                            {u"subFlowName", u"here"},
                                            {u"activateNode", u"inputOutputOnly"}};
// Another length: the node is replaced, and keeps its statistics.
const Context::Attributes kElsewhere = {{u"label", u"NODE2"},
                                        {u"type", u"output"},
                                        {u"eventMessage", u""},
                                        {u"subFlowName", u"elsewhere"},
                                        {u"activateNode", u"inputOutputOnly"}};
// Completed by the enumeration.
const Context::Attributes kIncomplete = {{u"label", u"NODE3"}, {u"type", u"output"}};
// Set again, while messages flow.
const Context::Attributes kAgain = {{u"collectQueueTime", u"no"}, {u"type", u"input"},
                                    {u"activateNode", u"yes"},    {u"eventMessage", u"an event"},
                                    {u"label", u"NODE1"},         {u"subFlowName", u"inner"}};

void lookAtStoredBytes() {
  const auto segment = support::segmentOf(kSegmentPath);
  if (!segment) return;
  const support::Bytes bytes = support::bytesOf(*segment);
  const auto statistics = support::findBlock(bytes, "zebcstar");
  const auto events = support::findBlock(bytes, "zebcedar");
  if (!statistics || !events) return;
  long long counted = 0;
  for (const auto& record : support::recordsOf(bytes, *statistics)) {
    if (record.type() == support::kStatistics) counted += record.count();
  }
  run->counted = counted;
  run->events = static_cast<long long>(support::recordsOf(bytes, *events).size());
}

int descriptors() {
  int open = 0;
  for (int file = 0; file < 64; ++file) open += dup2(file, file) == file ? 1 : 0;
  return open;
}

// The body of one process, and what it must not leave in it. It has a thread of its own, so that
// what the library keeps for each thread ends with the thread: its memory goes when another one
// takes its place.
template <typename Body>
void live(Body body) {
  const int before = descriptors();
  std::thread(body).join();
  std::thread([] {}).join();
  if (descriptors() != before) complain("a descriptor stayed open");
  if (livingBlocks() != 0) complain("%ld blocks of memory were not freed", livingBlocks());
}

void firstProcess(Turns& turns) {
  if (!load()) return turns.pass(), turns.pass();
  Context first(u"group 1");
  first.set(kWithEvents);
  first.readBack(kWithEvents);
  first.enumerate();
  for (int number = 1; number <= 4; ++number) first.send(number, number == 3);
  auto second = std::make_unique<Context>(u"group 1");
  second->set(kWithoutEvents);
  for (int number = 5; number <= 6; ++number) second->send(number);
  second = nullptr;
  second = std::make_unique<Context>(u"group 1");
  second->set(kElsewhere);
  second->send(7, true);
  turns.pass();  // 8 to 10
  for (int number = 11; number <= 15; ++number) first.send(number, number == 12);
  for (int number = 16; number <= 17; ++number) second->send(number);
  turns.pass();  // 18, and the other one ends
  first.set(kAgain);
  for (int number = 19; number <= kMessages; ++number) first.send(number, number == 20);
  lookAtStoredBytes();
}

void secondProcess(Turns& turns) {
  if (!load()) return turns.pass();
  Context third(u"group 2");
  third.set(kIncomplete);
  third.enumerate();
  for (int number = 8; number <= 10; ++number) third.send(number, number == 9);
  turns.pass();
  third.send(18);
}

}  // namespace

void Turns::pass() {
  give();
  await();
}

void Turns::give() {
  if (write(out_, "", 1) != 1) _exit(kAlone);
}

void Turns::await() {
  char byte = 0;
  if (read(in_, &byte, 1) != 1) _exit(kAlone);
}

void liveFirst(Turns& turns) {
  live([&] { firstProcess(turns); });
}

void liveSecond(Turns& turns) {
  turns.await();
  live([&] { secondProcess(turns); });
  turns.give();
}

}  // namespace faults
