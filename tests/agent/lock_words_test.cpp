// SPDX-License-Identifier: Apache-2.0
// Words for locks, for what becomes of processes, and for settings.
#include "agent/render/lock_words.h"

#include <gtest/gtest.h>

#include "agent/render/config_screens.h"
#include "text/printable.h"

namespace lock_words_test {

namespace {

using model::Doubt;
using model::Fate;
using model::Guarded;
using model::LockView;
using model::Trap;
using reader::Presence;
using render::guardText;
using What = Guarded::What;
using Kind = Trap::Kind;

Guarded guarded(What what) {
  Guarded guarded;
  guarded.what = what;
  return guarded;
}

std::string stateOf(Presence semaphore, Presence queue, int value = 1, unsigned waiting = 0) {
  LockView view;
  view.lock.semaphore.presence = semaphore;
  view.lock.semaphore.value = value;
  view.lock.semaphore.waiting = waiting;
  view.lock.queue.presence = queue;
  return render::lockState(view);
}

}  // namespace

TEST(LockWords, SayWhatIsGuarded) {
  Guarded node = guarded(What::statistics);
  EXPECT_EQ("statistics of a node that is not stored", guardText(node));
  node.broker = std::make_shared<model::SeenBroker>();
  node.group = "orders";
  node.flow = "Fulfil";
  node.node = "Re\nserve";
  EXPECT_EQ("Re\\x0Aserve of Fulfil, orders", guardText(node));
  Guarded table = guarded(What::attachTable);
  table.process = 7;
  EXPECT_EQ("attach table of process 7", guardText(table));
  table.group = "orders";
  EXPECT_EQ("attach table of process 7 (orders)", guardText(table));
  const std::tuple<What, const char*, const char*> blocks[] = {
      {What::segment, "segment", "segment"},
      {What::statisticsArea, "area of statistics", "statisticsArea"},
      {What::templatesArea, "area of event templates", "eventTemplatesArea"},
      {What::eventsArea, "area of event data", "eventDataArea"},
      {What::unknown, "unknown", "unknown"}};
  for (const auto& [what, text, name] : blocks) {
    EXPECT_EQ(text, guardText(guarded(what)));
    EXPECT_STREQ(name, render::guardName(what));
  }
  EXPECT_STREQ("statistics", render::guardName(What::statistics));
  EXPECT_STREQ("attachTable", render::guardName(What::attachTable));
}

TEST(LockWords, SayInWhatStateALockIs) {
  using enum Presence;
  EXPECT_EQ("free", stateOf(there, there));
  EXPECT_EQ("held", stateOf(there, there, 0, 1));
  EXPECT_EQ("held", stateOf(there, absent, 0));
  EXPECT_EQ("waited for", stateOf(there, there, 1, 1));
  EXPECT_EQ("half a lock", stateOf(there, absent));
  EXPECT_EQ("half a lock", stateOf(absent, there));
  EXPECT_EQ("no objects", stateOf(absent, absent));
  EXPECT_EQ("no permission", stateOf(refused, absent));
  EXPECT_EQ("no permission", stateOf(there, refused));
  EXPECT_EQ("failed", stateOf(reader::Presence::failed, there));
}

TEST(LockWords, EachFateHasANameAndEachDoubtAReason) {
  EXPECT_STREQ("alive", render::fateName(Fate::alive));
  EXPECT_STREQ("dead", render::fateName(Fate::dead));
  EXPECT_STREQ("numberUsedAgain", render::fateName(Fate::numberUsedAgain));
  EXPECT_STREQ("diedMaking", render::fateName(Fate::diedMaking));
  EXPECT_STREQ("unknown", render::fateName(Fate::unknown));
  EXPECT_EQ("", render::doubtText(Doubt::none));
  std::set<std::string> reasons;
  for (const Doubt doubt : {Doubt::unreadable, Doubt::otherNamespace, Doubt::clocksDisagree,
                            Doubt::clockStepped, Doubt::oneLook, Doubt::attached, Doubt::tooSoon}) {
    reasons.insert(render::doubtText(doubt));
  }
  EXPECT_EQ(7U, reasons.size());
  EXPECT_FALSE(reasons.contains(""));
}

TEST(SettingWords, EachTrapHasANameAndASentenceOfItsOwn) {
  std::set<std::string> names;
  std::set<std::string> sentences;
  for (int kind = 0; kind <= static_cast<int>(Kind::neverReached); ++kind) {
    const Trap trap{static_cast<Kind>(kind), "K\x1B", 3, "raw", 2, "write"};
    names.insert(render::trapName(trap.kind));
    const std::string text = render::trapText(trap);
    EXPECT_TRUE(text.starts_with("line 3: ")) << text;
    EXPECT_NE(text.npos, text.find("K\\x1B")) << text;
    EXPECT_EQ(text::printable(text), text);
    sentences.insert(text);
  }
  EXPECT_EQ(13U, names.size());
  EXPECT_EQ(13U, sentences.size());
  EXPECT_EQ("line 3: line 2 decides for K, so this one is never read. Delete one of the two",
            render::trapText({Kind::neverReached, "K", 3, "", 2, ""}));
}

TEST(SettingWords, ARestartIsAskedForWithItsReason) {
  model::SeenBroker broker;
  broker.tree.emplace();
  broker.tree->label = "BRK1";
  model::Restart restart{.why = model::Restart::Why::fileIsYounger,
                         .broker = std::make_shared<model::SeenBroker>(broker),
                         .group = "or\nders",
                         .process = 42,
                         .started = 1'000'000'000};
  EXPECT_EQ(
      "broker BRK1: group or\\x0Aders (process 42) started at 2001-09-09T01:46:40Z, before the "
      "file was changed. Restart it, or it keeps the tracing, activation and directory that it has",
      render::restartText(restart));
  restart.why = model::Restart::Why::otherSize;
  restart.area = 4096;
  restart.configured = 8192;
  EXPECT_EQ(
      "broker BRK1: its areas have 4096 bytes, and 8192 are configured. Stop all its execution "
      "groups, then start them",
      render::restartText(restart));
}

TEST(SettingWords, EachPlaceHasItsState) {
  reader::Configuration file;
  file.places = {{"/a", ENOENT, {}}, {"/b", EACCES, {}}, {"/c", 0, {}}, {"/d", 0, {}}};
  EXPECT_EQ("not there", render::placeState(file, 0));
  EXPECT_EQ("Permission denied", render::placeState(file, 1));
  EXPECT_EQ("in force", render::placeState(file, 2));
  EXPECT_EQ("there, but not used", render::placeState(file, 3));
}

}  // namespace lock_words_test
