// SPDX-License-Identifier: Apache-2.0
// After each test: no System V object and no file in /tmp that was not there before it.
#ifndef ZEB_TESTS_SUPPORT_LEFTOVERS_H
#define ZEB_TESTS_SUPPORT_LEFTOVERS_H

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace support {

// Says that the running test leaves things behind on purpose, for a crash or a foreign user of a
// lock. They are removed all the same, so that the next test of the process starts clean.
void leavesThingsBehind();

// Fails a test that leaves something behind, and clears it away.
class LeftoverCheck : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override;
  void OnTestEnd(const testing::TestInfo&) override;

  std::set<std::string> before_;
};

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_LEFTOVERS_H
