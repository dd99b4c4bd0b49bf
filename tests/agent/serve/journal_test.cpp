// SPDX-License-Identifier: Apache-2.0
// Log lines: few, and printable.
#include "agent/front/serve/journal.h"

#include <gtest/gtest.h>

#include "text/printable.h"
#include "text/utf8.h"

namespace journal_test {

namespace {

using Lines = std::vector<std::string>;

serve::Journal::Time at(int seconds) {
  return serve::Journal::Time() + std::chrono::seconds(seconds);
}

}  // namespace

TEST(Journal, RepeatsAreCountedForAMinute) {
  Lines lines;
  serve::Journal journal([&lines](const std::string& line) { lines.push_back(line); });
  for (int i = 0; i < 1000; ++i) journal.note("GET - 421", ", 0.1 ms: \"evil\"", at(10));
  journal.note("GET metrics 200", ", 2.0 ms", at(20));
  EXPECT_EQ((Lines{"GET - 421, 0.1 ms: \"evil\"", "GET metrics 200, 2.0 ms"}), lines);
  journal.sumUp(at(69));
  EXPECT_EQ(2U, lines.size());
  journal.sumUp(at(70));
  EXPECT_EQ("GET - 421: 999 more in a minute", lines.back());
  journal.sumUp(at(200));
  EXPECT_EQ(3U, lines.size()) << "what came once needs no sum";
  journal.note("GET - 421", "", at(201));
  EXPECT_EQ("GET - 421", lines.back());
}

TEST(Journal, WhatAClientSentIsShortAndPrintable) {
  EXPECT_EQ("", serve::cited(""));
  EXPECT_EQ("\"evil\"", serve::cited("evil"));
  EXPECT_EQ("\"\\x1B[2J\\x0A\"", serve::cited("\x1B[2J\n"));
  for (const std::string& piece : {std::string("a"), std::string("\xC3\xB6"), std::string("\xFF"),
                                   std::string("\xE2\x80\xAE"), std::string("a\xF0\x9F\x98\x80")}) {
    std::string sent;
    while (sent.size() < 5000) sent += piece;
    const std::string shown = serve::cited(sent);
    EXPECT_LE(shown.size(), 202U);
    EXPECT_LE(195U, shown.size());
    EXPECT_TRUE(text::wellFormed(shown));
    EXPECT_EQ(shown, text::printable(shown));
  }
}

}  // namespace journal_test
