// SPDX-License-Identifier: Apache-2.0
// Stored forms that trees keep of records.
#include "records/stored_image.h"

#include "records/node_record.h"
#include "tests/unit/records/records_test.h"

namespace stored_image_test {

using namespace support;

namespace {

class StoredImage : public LibraryTest {
 protected:
  static Bytes bytesOf(ZEB_Record& record) {
    Bytes bytes(record.size());
    record.putTo(bytes.data(), record.getAddress());
    return bytes;
  }

  static ZEB_Stored_Image imageOf(ZEB_Record& record) {
    return ZEB_Stored_Image::of(bytesOf(record), record.getAddress());
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
  const ZEB_Stored_Image image = imageOf(node);
  ASSERT_TRUE(image);
  const auto record = image.record();
  ASSERT_TRUE(record);
  EXPECT_EQ(place_, record->getAddress());
  EXPECT_EQ(bytesOf(node), bytesOf(*record));
}

TEST_F(StoredImage, StaysAsItWasWhenTheRecordChanges) {
  ZEB_NOIR node = nodeAt(place_);
  const Bytes before = bytesOf(node);
  const ZEB_Stored_Image first = imageOf(node);
  node.markDeleted();
  const ZEB_Stored_Image second = imageOf(node);
  const ZEB_Stored_Image third = imageOf(node);
  EXPECT_EQ(before, bytesOf(*first.record()));
  EXPECT_EQ(bytesOf(node), bytesOf(*second.record()));
  EXPECT_EQ(bytesOf(node), bytesOf(*third.record()));
}

TEST_F(StoredImage, IsGoneWithItsLastUser) {
  ZEB_NOIR node = nodeAt(place_);
  const Bytes bytes = bytesOf(node);
  const auto needsNoMemory = [&] {
    refuseMemory();
    const bool made = static_cast<bool>(ZEB_Stored_Image::of(bytes, place_));
    succeedAgain();
    return made;
  };
  {
    const ZEB_Stored_Image image = imageOf(node);
    { const ZEB_Stored_Image copy = image; }
    EXPECT_TRUE(needsNoMemory());
  }
  EXPECT_FALSE(needsNoMemory());
}

TEST_F(StoredImage, LivesOnInWhatItWasMovedTo) {
  ZEB_NOIR node = nodeAt(place_);
  ZEB_Stored_Image image = imageOf(node);
  ZEB_Stored_Image moved;
  moved = std::move(image);
  EXPECT_FALSE(image);  // NOLINT(bugprone-use-after-move): that it is null is what it promises
  EXPECT_EQ(bytesOf(node), bytesOf(*moved.record()));
}

TEST_F(StoredImage, IsSharedWithTheLatestOfItsPlaceOnly) {
  ZEB_NOIR node = nodeAt(place_);
  const ZEB_Stored_Image first = imageOf(node);
  EXPECT_EQ(first, imageOf(node));
  node.markDeleted();
  const ZEB_Stored_Image second = imageOf(node);
  node.undelete();
  const ZEB_Stored_Image third = imageOf(node);
  EXPECT_FALSE(first == second);
  EXPECT_FALSE(first == third);
  EXPECT_EQ(bytesOf(*first.record()), bytesOf(*third.record()));
}

TEST_F(StoredImage, HasNoRecordWhenItIsNull) {
  EXPECT_FALSE(ZEB_Stored_Image());
  EXPECT_EQ(nullptr, ZEB_Stored_Image().record());
}

}  // namespace

}  // namespace stored_image_test
