// SPDX-License-Identifier: Apache-2.0
// Locks as somebody on call looks at them.
#include "agent/model/lock_view.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "agent/model/collector.h"
#include "agent/model/selection.h"
#include "tests/agent/live_lock.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace lock_view_test {

namespace {

using model::Fate;
using model::Guarded;
using model::LockView;
using reader::Presence;

std::shared_ptr<const model::Snapshot> take() {
  return model::Collector("/tmp", model::Events::leave, model::MachineFacts::read).take();
}

std::vector<std::string> names(const std::vector<LockView>& views) {
  std::vector<std::string> names;
  for (const LockView& view : views) names.push_back(view.lock.name);
  return names;
}

LockView asMade() {
  LockView view;
  view.lock.semaphore.presence = Presence::there;
  view.lock.semaphore.semaphores = 1;
  view.lock.semaphore.value = 1;
  view.lock.queue.presence = Presence::there;
  return view;
}

}  // namespace

TEST(LockViews, StandByBrokerAndByWhatTheyGuard) {
  const LiveSegment first("1-2-3", image::segment({image::ordersBlock()}));
  const LiveSegment second("4-5-6", image::segment({}));
  const LiveLock locks[] = {LiveLock("4-5-6.zebcshme"),
                            LiveLock("x"),
                            LiveLock("1-2-3.zebcstar"),
                            LiveLock("zeb_attach_1234"),
                            LiveLock("06000000E8030000050000000F000000"),
                            LiveLock("1-2-3.zebcshme")};
  const auto snapshot = take();
  const std::vector<LockView> views = model::locksOf(*snapshot, *snapshot, true);
  EXPECT_EQ((std::vector<std::string>{"06000000E8030000050000000F000000", "1-2-3.zebcshme",
                                      "1-2-3.zebcstar", "zeb_attach_1234", "4-5-6.zebcshme", "x"}),
            names(views));
  EXPECT_EQ("Reserve", views[0].guarded.node);
}

TEST(LockViews, OfOneBrokerAreItsOwn) {
  const LiveSegment first("1-2-3", image::segment({image::ordersBlock()}));
  const LiveSegment second("4-5-6", image::segment({}));
  const LiveLock locks[] = {LiveLock("4-5-6.zebcshme"), LiveLock("x"), LiveLock("1-2-3.zebcshme")};
  const auto snapshot = take();
  const model::Snapshot selected = model::select(*snapshot, {.broker = "BRK1"});
  EXPECT_EQ(std::vector<std::string>{"1-2-3.zebcshme"},
            names(model::locksOf(*snapshot, selected, false)));
  EXPECT_EQ(3U, model::locksOf(*snapshot, selected, true).size());
}

TEST(LockViews, OfAPartOfABrokerAreItsOwnAndThoseThatTheBrokerShares) {
  image::Block block = image::ordersBlock();
  const image::Id group{3, 1000, 2, 99};
  const image::Id flow{4, 1000, 3, 99};
  const image::Id node{5, 1000, 4, 99};
  block.add(image::group(group, image::kBroker, u"other", 4321));
  block.add(image::flow(flow, group, u"Ship"));
  block.add(image::node(node, flow, u"Pack", 1));
  block.add(image::statistics({6, 1000, 5, 99}, node));
  const LiveSegment segment("1-2-3", image::segment({block}));
  const LiveLock locks[] = {LiveLock("06000000E8030000050000000F000000"),
                            LiveLock("06000000E80300000500000063000000"),
                            LiveLock("zeb_attach_1234"),
                            LiveLock("zeb_attach_4321"),
                            LiveLock("1-2-3.zebcedar"),
                            LiveLock("x")};
  const auto snapshot = take();
  const auto of = [&snapshot](const model::Selection& selection) {
    return names(model::locksOf(*snapshot, model::select(*snapshot, selection), false));
  };
  using Names = std::vector<std::string>;
  const Names orders = {"06000000E8030000050000000F000000", "1-2-3.zebcedar", "zeb_attach_1234"};
  const Names others = {"06000000E80300000500000063000000", "1-2-3.zebcedar", "zeb_attach_4321"};
  EXPECT_EQ(orders, of({.group = "orders"}));
  EXPECT_EQ(orders, of({.flow = "Fulfil"}));
  EXPECT_EQ(orders, of({.node = "Reserve"}));
  EXPECT_EQ(others, of({.group = "other"}));
  EXPECT_EQ(others, of({.group = "*", .flow = "S*", .node = "Pack"}));
  EXPECT_EQ(Names(), of({.group = "orders", .node = "Pack"}));
}

TEST(LockViews, WithoutMachineFactsThereAreNone) {
  const model::Snapshot empty;
  EXPECT_TRUE(model::locksOf(empty, empty, true).empty());
}

TEST(LockViews, AHeldLockTellsWhetherItsHolderLives) {
  const LiveLock dead("dead");
  const LiveLock alive("alive");
  const pid_t holder = dead.takenByADeadProcess();
  alive.change(-1);
  const auto snapshot = take();
  const std::vector<LockView> views = model::locksOf(*snapshot, *snapshot, true);
  ASSERT_EQ(2U, views.size());
  EXPECT_TRUE(views[0].held());
  EXPECT_EQ(Fate::alive, views[0].lastUser.fate);
  EXPECT_EQ(getpid(), views[0].process->id);
  EXPECT_TRUE(views[1].held());
  EXPECT_EQ(Fate::dead, views[1].lastUser.fate);
  EXPECT_EQ(holder, views[1].process->id);
}

TEST(LockViews, OfWhichSomeAreWorthALook) {
  EXPECT_FALSE(asMade().held());
  EXPECT_FALSE(asMade().noteworthy());
  LockView view = asMade();
  view.lock.semaphore.value = 0;
  EXPECT_TRUE(view.held());
  EXPECT_TRUE(view.noteworthy());
  view = asMade();
  view.lock.semaphore.value = 2;
  EXPECT_FALSE(view.held());
  EXPECT_TRUE(view.noteworthy());
  view = asMade();
  view.lock.semaphore.waiting = 1;
  EXPECT_TRUE(view.noteworthy());
  view = asMade();
  view.lock.semaphore.semaphores = 2;
  EXPECT_TRUE(view.noteworthy());
  view = asMade();
  view.lock.queue.presence = Presence::absent;
  EXPECT_TRUE(view.noteworthy());
  view = {};
  EXPECT_FALSE(view.held());
  EXPECT_FALSE(view.noteworthy()) << "a key file alone";
  view.lock.semaphore.presence = Presence::refused;
  EXPECT_TRUE(view.noteworthy());
}

}  // namespace lock_view_test
