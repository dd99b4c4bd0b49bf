// SPDX-License-Identifier: Apache-2.0
// How long a stored record is, and whether a whole one is there.
#include "format/layout.h"

#include "tests/unit/records/records_test.h"

namespace layout_test {

using namespace support;

namespace {

// With strings of one, two and three units, and so on.
Bytes storedOf(std::uint32_t type) {
  Image image = headerImage(type);
  switch (type) {
    case 1:
    case 4:
      return image.string(u"a").string(u"bc").bytes();
    case 2:
    case 3:
      return image.string(u"a").string(u"bc").number(7).bytes();
    case 5:
      return image.string(u"a").string(u"bc").number(7).string(u"def").bytes();
    case 6:
      return image.characters("", 128).bytes();
    case 7:
      return image.string(u"a").string(u"bc").string(u"def").number(7).string(u"ghij").bytes();
    case 8:
      return image.characters("", 104).bytes();
    default:
      return image.append(storedOf(7)).append(storedOf(8)).bytes();
  }
}

constexpr std::size_t kSizes[] = {0, 58, 62, 62, 58, 74, 168, 88, 144, 40 + 88 + 144};

std::size_t sizeOf(const Bytes& bytes) {
  return layout::storedSize(bytes);
}

TEST(Layout, EachTypeHasItsLength) {
  for (std::uint32_t type = 1; type <= 9; ++type) {
    const Bytes stored = storedOf(type);
    EXPECT_EQ(kSizes[type], stored.size()) << type;
    EXPECT_EQ(kSizes[type], sizeOf(stored)) << type;
  }
}

TEST(Layout, WhatFollowsARecordIsNotCounted) {
  for (std::uint32_t type = 1; type <= 9; ++type) {
    Bytes stored = storedOf(type);
    stored.resize(stored.size() + 100, 0xFF);
    EXPECT_EQ(kSizes[type], sizeOf(stored)) << type;
  }
}

TEST(Layout, ARecordThatIsCutAnywhereIsNone) {
  for (std::uint32_t type = 1; type <= 9; ++type) {
    const Bytes stored = storedOf(type);
    for (std::size_t count = 0; count < stored.size(); ++count)
      EXPECT_EQ(0U, sizeOf(slice(stored, 0, count))) << type << " cut at " << count;
  }
}

TEST(Layout, PlainAndUnknownTypesAreNone) {
  for (const std::uint32_t type : {0U, 10U, 0x106U, 0xFFFFFFFFU}) {
    Bytes stored = headerImage(type).bytes();
    stored.resize(400);
    EXPECT_EQ(0U, sizeOf(stored)) << type;
  }
}

TEST(Layout, EachCharacterOfTheEyecatcherCounts) {
  for (std::size_t i = 0; i < 4; ++i) {
    Bytes stored = storedOf(6);
    ++stored[i];
    EXPECT_EQ(0U, sizeOf(stored)) << i;
  }
}

TEST(Layout, AHostileCountIsNoRecord) {
  for (const std::uint32_t count : {2U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFDU, 0xFFFFFFFFU}) {
    Image image = headerImage(1);
    image.string(u"").number(count).number(std::uint16_t{0}).number(std::uint16_t{0});
    EXPECT_EQ(0U, sizeOf(image.bytes())) << count;
  }
  Image image = headerImage(1);
  image.string(u"").number(1U).number(std::uint16_t{0}).number(std::uint16_t{0});
  EXPECT_EQ(54U, sizeOf(image.bytes()));
}

TEST(Layout, AJoinedEventNeedsATemplateAndThenAnEvent) {
  const auto joined = [](std::uint32_t first, std::uint32_t second) {
    return sizeOf(headerImage(9).append(storedOf(first)).append(storedOf(second)).bytes());
  };
  EXPECT_EQ(272U, joined(7, 8));
  for (std::uint32_t type = 1; type <= 9; ++type) {
    if (type != 7) {
      EXPECT_EQ(0U, joined(type, 8)) << type;
    }
    if (type != 8) {
      EXPECT_EQ(0U, joined(7, type)) << type;
    }
  }
  Bytes nested = storedOf(9);
  nested[40] = 'X';
  EXPECT_EQ(0U, sizeOf(nested));
  nested = storedOf(9);
  nested[40 + 88] = 'X';
  EXPECT_EQ(0U, sizeOf(nested));
}

TEST(Layout, TheTypeIsTheFirstNumberOfTheIdentifier) {
  EXPECT_EQ(0x01020304U, layout::typeOf(headerImage(0x01020304U).bytes().data()));
}

TEST(Layout, EachTypeHasItsFieldsInOrder) {
  const auto names = [](std::uint32_t type) {
    Texts texts;
    for (const layout::Field& field : layout::fieldsOf(type)) texts.emplace_back(field.name);
    return texts;
  };
  EXPECT_EQ((Texts{"uuid", "label"}), names(1));
  EXPECT_EQ((Texts{"uuid", "label", "reset time"}), names(2));
  EXPECT_EQ((Texts{"uuid", "label", "process ID"}), names(3));
  EXPECT_EQ((Texts{"uuid", "label"}), names(4));
  EXPECT_EQ((Texts{"uuid", "label", "node type", "sub-flow name"}), names(5));
  EXPECT_EQ((Texts{"message count", "sum size", "max size", "min size", "sum elapsed time",
                   "max elapsed time", "min elapsed time", "sum queued time", "max queued time",
                   "min queued time", "first collection", "last collection"}),
            names(6));
  EXPECT_EQ((Texts{"execution group name", "message flow name", "node name", "node type",
                   "message text"}),
            names(7));
  EXPECT_EQ((Texts{"event time", "thread ID", "message ID", "correlation ID",
                   "put-application type", "put-application name", "put date", "put time"}),
            names(8));
  for (const std::uint32_t type : {0U, 9U, 10U}) EXPECT_EQ(Texts{}, names(type)) << type;
}

}  // namespace

}  // namespace layout_test
