// SPDX-License-Identifier: Apache-2.0
// What the keys of "top" do.
#include "agent/render/top/state.h"

#include <gtest/gtest.h>

namespace top_state_test {

namespace {

using top::Key;
using top::State;
using Kind = top::Key::Kind;

// Two flows: A with two nodes, B with one.
top::Screen screen() {
  top::Screen made;
  made.rows = {{"A", "A"}, {"A1", "A"}, {"A2", "A"}, {"B", "B"}, {"B1", "B"}};
  made.page = 2;
  return made;
}

Key letter(const std::string& text) {
  return {Kind::character, text};
}

State after(const Key& key, State state = {}) {
  top::Screen shown = screen();
  if (state.cursor) shown.at = state.row;
  return top::pressed(std::move(state), key, shown);
}

State after(std::initializer_list<Key> keys) {
  State state;
  for (const Key& key : keys) state = after(key, state);
  return state;
}

std::string chosenAfter(std::initializer_list<Key> keys) {
  const State state = after(keys);
  return state.cursor ? state.cursor->key : "";
}

}  // namespace

TEST(TopKeys, QuitEndsItEverywhereButInTheFilter) {
  EXPECT_TRUE(after(letter("q")).ended);
  EXPECT_TRUE(after({letter("?"), letter("q")}).ended);
  EXPECT_FALSE(after({letter("/"), letter("q")}).ended);
}

TEST(TopKeys, SpacePausesAndGoesOn) {
  EXPECT_TRUE(after(letter(" ")).paused);
  EXPECT_FALSE(after({letter(" "), letter(" ")}).paused);
}

TEST(TopKeys, HelpComesAndAnyKeyTakesItAway) {
  EXPECT_TRUE(after(letter("?")).help);
  EXPECT_TRUE(after(letter("h")).help);
  EXPECT_TRUE(after(Key{Kind::help}).help);
  EXPECT_FALSE(after({letter("?"), letter("x")}).help);
  EXPECT_FALSE(after({letter("?"), letter("s")}).help);
  EXPECT_EQ(top::Sort::chain, after({letter("?"), letter("s")}).sort);
}

TEST(TopKeys, HelpScrollsOnASmallScreen) {
  State state = after(letter("?"));
  top::Screen shown;
  shown.page = 5;
  state = top::pressed(state, {Kind::down}, shown);
  EXPECT_EQ(1U, state.helpFirst);
  shown.first = 1;
  state = top::pressed(state, {Kind::pageDown}, shown);
  EXPECT_EQ(6U, state.helpFirst);
  shown.first = 3;
  state = top::pressed(state, {Kind::up}, shown);
  EXPECT_EQ(2U, state.helpFirst);
  shown.first = 2;
  state = top::pressed(state, {Kind::pageUp}, shown);
  EXPECT_EQ(0U, state.helpFirst);
  EXPECT_TRUE(state.help);
}

TEST(TopKeys, ArrowsAndPagesChooseARow) {
  EXPECT_EQ("A", chosenAfter({{Kind::down}}));
  EXPECT_EQ("A1", chosenAfter({{Kind::down}, {Kind::down}}));
  EXPECT_EQ("A", chosenAfter({{Kind::down}, {Kind::down}, {Kind::up}}));
  EXPECT_EQ("A", chosenAfter({{Kind::down}, {Kind::up}, {Kind::up}}));
  EXPECT_EQ("A2", chosenAfter({{Kind::down}, {Kind::pageDown}}));
  EXPECT_EQ("B1", chosenAfter({{Kind::down}, {Kind::pageDown}, {Kind::pageDown}, {Kind::down}}));
  EXPECT_EQ("A", chosenAfter({{Kind::end}, {Kind::pageUp}, {Kind::pageUp}}));
  EXPECT_EQ("B1", chosenAfter({{Kind::end}}));
  EXPECT_EQ("A", chosenAfter({{Kind::end}, {Kind::home}}));
  EXPECT_EQ("A1", chosenAfter({letter("j"), letter("j")}));
  EXPECT_EQ("A", chosenAfter({letter("j"), letter("j"), letter("k")}));
  EXPECT_EQ("B1", chosenAfter({letter("G")}));
  EXPECT_EQ("A", chosenAfter({letter("G"), letter("g")}));
  EXPECT_EQ("", chosenAfter({{Kind::down}, {Kind::escape}}));
}

TEST(TopKeys, MeanNothingOnAnEmptyTable) {
  for (const Kind kind :
       {Kind::down, Kind::up, Kind::pageDown, Kind::end, Kind::enter, Kind::left}) {
    const State state = top::pressed({}, {kind}, {});
    EXPECT_EQ(std::nullopt, state.cursor);
    EXPECT_TRUE(state.others.empty());
  }
}

TEST(TopKeys, EnterFoldsTheFlowOfTheChosenRow) {
  EXPECT_TRUE(after({{Kind::end}, {Kind::enter}}).isFolded("B"));
  EXPECT_FALSE(after({{Kind::end}, {Kind::enter}}).isFolded("A"));
  EXPECT_EQ("B", chosenAfter({{Kind::end}, {Kind::enter}}));
  EXPECT_TRUE(after({{Kind::end}, letter("f")}).isFolded("B"));
  EXPECT_FALSE(after({{Kind::end}, letter("f"), letter("f")}).isFolded("B"));
  EXPECT_TRUE(after({letter("f")}).isFolded("A")) << "none chosen: the first on the screen";
}

TEST(TopKeys, LeftFoldsAndRightUnfolds) {
  EXPECT_TRUE(after({{Kind::down}, {Kind::left}}).isFolded("A"));
  EXPECT_TRUE(after({{Kind::down}, {Kind::left}, {Kind::left}}).isFolded("A"));
  EXPECT_FALSE(after({{Kind::down}, {Kind::left}, {Kind::right}}).isFolded("A"));
  EXPECT_FALSE(after({{Kind::down}, {Kind::right}}).isFolded("A"));
}

TEST(TopKeys, FoldAllIsForFlowsThatComeLaterToo) {
  const State state = after({{Kind::down}, letter("F")});
  EXPECT_TRUE(state.isFolded("A"));
  EXPECT_TRUE(state.isFolded("comes later"));
  EXPECT_FALSE(after({{Kind::down}, letter("F"), {Kind::enter}}).isFolded("A"));
  EXPECT_FALSE(after({{Kind::down}, {Kind::enter}, letter("F"), letter("F")}).isFolded("A"));
}

TEST(TopKeys, SGoesThroughAllFiguresAndBack) {
  State state;
  std::set<std::string> seen;
  for (int i = 0; i < 6; ++i) {
    state = after(letter("s"), state);
    seen.insert(wordsOf(state.sort));
  }
  EXPECT_EQ(6U, seen.size());
  EXPECT_EQ(top::Sort::chain, state.sort);
  EXPECT_EQ(top::Sort::rate, after(letter("s")).sort);
  EXPECT_EQ(top::Sort::exceptions, after(letter("S")).sort);
  EXPECT_EQ("", std::string(columnOf(top::Sort::chain)));
  EXPECT_EQ(std::nullopt, after({{Kind::down}, letter("s")}).cursor);
}

TEST(TopKeys, EGoesThroughAllKindsOfEvents) {
  EXPECT_EQ(top::Pane::exceptions, after(letter("e")).pane);
  EXPECT_EQ(top::Pane::messages, after({letter("e"), letter("e")}).pane);
  EXPECT_EQ(top::Pane::none, after({letter("e"), letter("e"), letter("e")}).pane);
  EXPECT_EQ(top::Pane::all, after({letter("e"), letter("e"), letter("e"), letter("e")}).pane);
}

TEST(TopKeys, AFilterIsTypedKeptAndTakenBack) {
  EXPECT_EQ("pé", after({letter("/"), letter("p"), letter("é")}).filter);
  EXPECT_TRUE(after({letter("/"), letter("p")}).typing);
  const State kept = after({letter("/"), letter("p"), {Kind::enter}});
  EXPECT_EQ("p", kept.filter);
  EXPECT_FALSE(kept.typing);
  EXPECT_EQ("", after(Key{Kind::escape}, kept).filter);
  const State dropped = after({letter("/"), letter("p"), {Kind::escape}});
  EXPECT_EQ("", dropped.filter);
  EXPECT_FALSE(dropped.typing);
  EXPECT_EQ("p", after({letter("/"), letter("p"), letter("é"), {Kind::backspace}}).filter);
  EXPECT_EQ("", after({letter("/"), {Kind::backspace}}).filter);
  EXPECT_EQ("", after({letter("/"), letter("p"), letter("\x15")}).filter);
  EXPECT_EQ("p", after({letter("/"), letter("p"), letter("\x1b"), letter("\xff")}).filter);
  EXPECT_EQ("", after({letter("/"), {Kind::up}, {Kind::other}}).filter);
}

TEST(TopKeys, AFilterHasAnEnd) {
  State state = after(letter("/"));
  for (int i = 0; i < 500; ++i) state = after(letter("x"), state);
  EXPECT_EQ(200U, state.filter.size());
}

TEST(TopKeys, OthersDoNothing) {
  const State state = after({letter("x"), letter("é"), {Kind::other}, {Kind::backspace}});
  EXPECT_FALSE(state.ended || state.paused || state.help || state.typing || state.cursor);
  EXPECT_EQ(top::Sort::chain, state.sort);
}

}  // namespace top_state_test
