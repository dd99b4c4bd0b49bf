// SPDX-License-Identifier: Apache-2.0
// Stored forms that trees keep of records.
#include "records/stored_image.h"

#include "records/node_record.h"
#include "tests/unit/records/records_test.h"

using namespace support;

namespace {

class StoredImage : public LibraryTest {
 protected:
  static Bytes bytesOf(ZEB_Record& record) {
    Bytes bytes(record.size());
    record.putTo(bytes.data(), record.getAddress());
    return bytes;
  }

  static ZEB_NOIR nodeAt(void* place) {
    ZEB_Resource_ID id;
    const ZEB_String label("NODE");
    id.setLabel(&label);
    ZEB_NOIR node(&id);
    node.setAddress(place);
    return node;
  }

  std::uint8_t place_[200] = {};
};

TEST_F(StoredImage, GivesTheRecordBackWithItsAddress) {
  ZEB_NOIR node = nodeAt(place_);
  node.setNodeType(ZEB_OUTPUT_NODE);
  const ZEB_Stored_Image image = ZEB_Stored_Image::of(node);
  ASSERT_TRUE(image);
  const auto record = image.record();
  ASSERT_TRUE(record);
  EXPECT_EQ(place_, record->getAddress());
  EXPECT_EQ(bytesOf(node), bytesOf(*record));
}

TEST_F(StoredImage, StaysAsItWasWhenTheRecordChanges) {
  ZEB_NOIR node = nodeAt(place_);
  const Bytes before = bytesOf(node);
  const ZEB_Stored_Image first = ZEB_Stored_Image::of(node);
  node.markDeleted();
  const ZEB_Stored_Image second = ZEB_Stored_Image::of(node);
  const ZEB_Stored_Image third = ZEB_Stored_Image::of(node);
  EXPECT_EQ(before, bytesOf(*first.record()));
  EXPECT_EQ(bytesOf(node), bytesOf(*second.record()));
  EXPECT_EQ(bytesOf(node), bytesOf(*third.record()));
}

TEST_F(StoredImage, IsGoneWithItsLastUser) {
  ZEB_NOIR node = nodeAt(place_);
  const auto needsNoMemory = [&] {
    refuseMemory();
    const bool made = static_cast<bool>(ZEB_Stored_Image::of(node));
    succeedAgain();
    return made;
  };
  {
    const ZEB_Stored_Image image = ZEB_Stored_Image::of(node);
    { const ZEB_Stored_Image copy = image; }
    EXPECT_TRUE(needsNoMemory());
  }
  EXPECT_FALSE(needsNoMemory());
}

TEST_F(StoredImage, LivesOnInWhatItWasMovedTo) {
  ZEB_NOIR node = nodeAt(place_);
  ZEB_Stored_Image image = ZEB_Stored_Image::of(node);
  ZEB_Stored_Image moved;
  moved = std::move(image);
  EXPECT_FALSE(image);  // NOLINT(bugprone-use-after-move): that it is null is what it promises
  EXPECT_EQ(bytesOf(node), bytesOf(*moved.record()));
}

TEST_F(StoredImage, IsNullForARecordThatWasNotStored) {
  ZEB_NOIR node = nodeAt(nullptr);
  EXPECT_FALSE(ZEB_Stored_Image::of(node));
  EXPECT_EQ(nullptr, ZEB_Stored_Image().record());
}

}  // namespace
