// SPDX-License-Identifier: Apache-2.0
// Which segments this process has attached. The table belongs to the process, so each test takes
// keys that no other test uses and gives back what it attached.
#include "store/attach_table.h"

#include <sys/shm.h>

#include <cstring>
#include <thread>

#include "tests/support/failing.h"
#include "tests/support/library_test.h"

namespace attach_table_test {

using namespace support;

namespace {

constexpr std::size_t kEntries = 50;

struct Seen {
  int key;
  int segmentId;
  std::uint64_t address;
  std::uint64_t users;
};

std::vector<Seen> table() {
  host().forget();
  attach_table::dump();
  const std::vector<Bytes> dumps = dumpsTitled("zebshmsegments table");
  std::vector<Seen> entries;
  if (dumps.size() != 1 || dumps[0].size() != 1200) return entries;
  for (std::size_t at = 0; at < 1200; at += 24)
    entries.push_back({signedAt(dumps[0], at), signedAt(dumps[0], at + 4),
                       numberAt<std::uint64_t>(dumps[0], at + 8),
                       numberAt<std::uint64_t>(dumps[0], at + 16)});
  return entries;
}

Seen entryOf(int key) {
  for (const Seen& entry : table())
    if (entry.key == key) return entry;
  return {};
}

class AttachTable : public LibraryTest {
 protected:
  void TearDown() override {
    for (const int id : made) shmctl(id, IPC_RMID, nullptr);
    LibraryTest::TearDown();
  }

  int makeSegment() {
    made.push_back(shmget(IPC_PRIVATE, 100, 0600));
    return made.back();
  }

  static int freshKey() {
    static int last = 5000;
    return ++last;
  }

  static unsigned long attachments(int id) {
    shmid_ds state{};
    shmctl(id, IPC_STAT, &state);
    return state.shm_nattch;
  }

  bool attached = false;
  std::vector<int> made;
};

TEST_F(AttachTable, HasFiftyEntriesOfTwentyFourBytes) {
  EXPECT_EQ(kEntries, table().size());
}

TEST_F(AttachTable, TheSecondUserSharesTheAttachment) {
  const int id = makeSegment();
  const int key = freshKey();
  void* const first = attach_table::attach(id, key, attached);
  EXPECT_TRUE(attached);
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(1U, entryOf(key).users);
  EXPECT_EQ(first, attach_table::attach(id, key, attached));
  EXPECT_FALSE(attached);
  EXPECT_EQ(1U, attachments(id));
  const Seen entry = entryOf(key);
  EXPECT_EQ(id, entry.segmentId);
  EXPECT_EQ(reinterpret_cast<std::uint64_t>(first), entry.address);
  EXPECT_EQ(2U, entry.users);
  EXPECT_EQ(0, attach_table::detach(first));
  EXPECT_EQ(0, attach_table::detach(first));
}

TEST_F(AttachTable, TheLastUserDetachesAndLeavesTheKey) {
  const int id = makeSegment();
  const int key = freshKey();
  void* const address = attach_table::attach(id, key, attached);
  attach_table::attach(id, key, attached);
  EXPECT_EQ(0, attach_table::detach(address));
  EXPECT_EQ(1U, attachments(id));
  EXPECT_EQ(1U, entryOf(key).users);
  EXPECT_EQ(0, attach_table::detach(address));
  EXPECT_EQ(0U, attachments(id));
  const Seen entry = entryOf(key);
  EXPECT_EQ(key, entry.key);
  EXPECT_EQ(0, entry.segmentId);
  EXPECT_EQ(0U, entry.address);
  EXPECT_EQ(0U, entry.users);
}

TEST_F(AttachTable, DetachingGivesTheResultOfTheSystem) {
  const int id = makeSegment();
  void* const address = attach_table::attach(id, freshKey(), attached);
  failCalls("shmdt", EINVAL);
  EXPECT_EQ(-1, attach_table::detach(address));
  succeedAgain();
  shmdt(address);
}

TEST_F(AttachTable, ADetachedEntryAttachesAnew) {
  const int id = makeSegment();
  const int key = freshKey();
  attach_table::detach(attach_table::attach(id, key, attached));
  void* const again = attach_table::attach(id, key, attached);
  EXPECT_TRUE(attached);
  EXPECT_EQ(1U, attachments(id));
  EXPECT_EQ(1U, entryOf(key).users);
  attach_table::detach(again);
}

TEST_F(AttachTable, TheSameKeyWithAnotherSegmentOverwritesTheEntry) {
  const int key = freshKey();
  void* const old = attach_table::attach(makeSegment(), key, attached);
  const int id = makeSegment();
  void* const address = attach_table::attach(id, key, attached);
  EXPECT_TRUE(attached);
  EXPECT_NE(old, address);
  const Seen entry = entryOf(key);
  EXPECT_EQ(id, entry.segmentId);
  EXPECT_EQ(reinterpret_cast<std::uint64_t>(address), entry.address);
  EXPECT_EQ(1U, entry.users);
  std::size_t sameKey = 0;
  for (const Seen& other : table()) sameKey += other.key == key ? 1U : 0U;
  EXPECT_EQ(1U, sameKey);
  attach_table::detach(address);
  shmdt(old);
}

TEST_F(AttachTable, ARefusedAttachmentLeavesTheEntryFree) {
  const int key = freshKey();
  const int id = makeSegment();
  failCalls("shmat", ENOMEM);
  EXPECT_EQ(reinterpret_cast<void*>(-1), attach_table::attach(id, key, attached));
  EXPECT_TRUE(attached);
  succeedAgain();
  const Seen entry = entryOf(key);
  EXPECT_EQ(key, entry.key);
  EXPECT_EQ(0, entry.segmentId);
  EXPECT_EQ(0U, entry.address);
  EXPECT_EQ(0U, entry.users);
  void* const address = attach_table::attach(id, key, attached);
  EXPECT_TRUE(attached);
  EXPECT_EQ(1U, entryOf(key).users);
  attach_table::detach(address);
}

TEST_F(AttachTable, DetachingWhatIsNotAttachedDoesNothing) {
  const int key = freshKey();
  const int id = makeSegment();
  void* const address = attach_table::attach(id, key, attached);
  EXPECT_EQ(0, attach_table::detach(nullptr));
  EXPECT_EQ(0, attach_table::detach(static_cast<char*>(address) + 8));
  EXPECT_EQ(1U, entryOf(key).users);
  EXPECT_EQ(1U, attachments(id));
  attach_table::detach(address);
}

TEST_F(AttachTable, RefusesTheFiftyFirstOfFiftyLiveSegments) {
  const int id = makeSegment();
  std::vector<void*> addresses;
  for (std::size_t i = 0; i < kEntries; ++i) {
    addresses.push_back(attach_table::attach(id, freshKey(), attached));
    ASSERT_TRUE(attached);
    ASSERT_NE(nullptr, addresses.back());
  }
  EXPECT_EQ(nullptr, attach_table::attach(id, freshKey(), attached));
  EXPECT_FALSE(attached);
  EXPECT_EQ(kEntries, attachments(id));
  attach_table::detach(addresses[20]);
  addresses[20] = attach_table::attach(id, freshKey(), attached);
  EXPECT_NE(nullptr, addresses[20]);
  EXPECT_TRUE(attached);
  for (void* const address : addresses) attach_table::detach(address);
  EXPECT_EQ(0U, attachments(id));
}

TEST_F(AttachTable, SegmentsMayComeAndGoWithoutEnd) {
  const int id = makeSegment();
  for (std::size_t i = 0; i < 3 * kEntries; ++i) {
    void* const address = attach_table::attach(id, freshKey(), attached);
    ASSERT_NE(nullptr, address) << i;
    ASSERT_EQ(0, attach_table::detach(address));
  }
}

TEST_F(AttachTable, ThreadsCountEachOther) {
  const int id = makeSegment();
  const int key = freshKey();
  bool ignored = false;
  void* const address = attach_table::attach(id, key, ignored);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      bool mine = false;
      for (int i = 0; i < 5000; ++i) {
        EXPECT_EQ(address, attach_table::attach(id, key, mine));
        EXPECT_EQ(0, attach_table::detach(address));
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(1U, entryOf(key).users);
  EXPECT_EQ(1U, attachments(id));
  attach_table::detach(address);
}

TEST_F(AttachTable, ATakenOverEntryIsNotALiveOne) {
  const int id = makeSegment();
  const int liveKey = freshKey();
  void* const live = attach_table::attach(id, liveKey, attached);
  for (std::size_t i = 0; i < 2 * kEntries; ++i)
    attach_table::detach(attach_table::attach(id, freshKey(), attached));
  EXPECT_EQ(1U, entryOf(liveKey).users);
  EXPECT_EQ(live, attach_table::attach(id, liveKey, attached));
  EXPECT_FALSE(attached);
  attach_table::detach(live);
  attach_table::detach(live);
}

}  // namespace

}  // namespace attach_table_test
