// SPDX-License-Identifier: Apache-2.0
// The owning string of 16-bit units.
#include "base/string.h"

#include "tests/support/library_test.h"

namespace string_test {

using namespace support;

namespace {

constexpr zebchar kAb[] = {'a', 'b', 0};
constexpr zebchar kCde[] = {'c', 'd', 'e', 0};
constexpr zebchar kNothing[] = {0};

std::u16string unitsOf(const ZEB_String& string) {
  const zebchar* const units = string.getwcValue();
  if (units == nullptr) return u"(null)";
  EXPECT_EQ(0, units[string.size()]);
  return {units, units + string.size()};
}

Bytes storedForm(const ZEB_String& string) {
  Bytes bytes(string.binarySize() + 2, 0xEE);
  EXPECT_EQ(bytes.data() + bytes.size() - 2, string.put(bytes.data()));
  EXPECT_EQ(Bytes(2, 0xEE), slice(bytes, bytes.size() - 2, 2));
  bytes.resize(bytes.size() - 2);
  return bytes;
}

class String : public LibraryTest {};

TEST_F(String, IsMadeOfUnits) {
  const ZEB_String string(kAb);
  EXPECT_EQ(u"ab", unitsOf(string));
  EXPECT_EQ(2U, string.size());
  EXPECT_TRUE(string.OK());
  EXPECT_EQ(0, string.getStatus());
  EXPECT_NE(kAb, string.getwcValue());
}

TEST_F(String, IsMadeOfCharsWithTheirSignExtended) {
  const ZEB_String string("a\xE9");
  EXPECT_EQ(u"a\xFFE9", unitsOf(string));
  EXPECT_STREQ("a\xE9", string.getcValue());
}

TEST_F(String, IsEmptyOfNothing) {
  const ZEB_String cases[] = {ZEB_String(), ZEB_String(static_cast<const zebchar*>(nullptr)),
                              ZEB_String(static_cast<const char*>(nullptr)), ZEB_String(""),
                              ZEB_String(kNothing)};
  for (const ZEB_String& string : cases) {
    EXPECT_TRUE(string.OK());
    EXPECT_EQ(0U, string.size());
    ASSERT_NE(nullptr, string.getwcValue());
    EXPECT_EQ(0, *string.getwcValue());
    EXPECT_STREQ("", string.getcValue());
    EXPECT_EQ(6U, string.binarySize());
  }
}

TEST_F(String, CopiesAreDeep) {
  ZEB_String string("first");
  const ZEB_String copy(string);
  EXPECT_NE(string.getwcValue(), copy.getwcValue());
  string = "second";
  EXPECT_EQ(u"first", unitsOf(copy));
}

TEST_F(String, IsAssignedFromAllThree) {
  ZEB_String string("a long value before");
  EXPECT_EQ(&string, &(string = kAb));
  EXPECT_EQ(u"ab", unitsOf(string));
  EXPECT_EQ(&string, &(string = "xyz"));
  EXPECT_EQ(u"xyz", unitsOf(string));
  EXPECT_EQ(&string, &(string = ZEB_String("w")));
  EXPECT_EQ(u"w", unitsOf(string));
  EXPECT_STREQ("w", string.getcValue());
}

TEST_F(String, IsEmptiedByNull) {
  ZEB_String string("value");
  string = static_cast<const zebchar*>(nullptr);
  EXPECT_EQ(u"", unitsOf(string));
  string = "value";
  string = static_cast<const char*>(nullptr);
  EXPECT_EQ(u"", unitsOf(string));
}

TEST_F(String, IsAssignedFromItself) {
  ZEB_String string("value");
  const ZEB_String& itself = string;
  string = itself;
  EXPECT_EQ(u"value", unitsOf(string));
  string = string.getwcValue();
  EXPECT_EQ(u"value", unitsOf(string));
  string = string.getwcValue() + 2;
  EXPECT_EQ(u"lue", unitsOf(string));
  string += string;
  EXPECT_EQ(u"luelue", unitsOf(string));
}

TEST_F(String, Joins) {
  const ZEB_String string("x");
  EXPECT_EQ(u"xab", unitsOf(string + kAb));
  EXPECT_EQ(u"xyz", unitsOf(string + "yz"));
  EXPECT_EQ(u"xq", unitsOf(string + ZEB_String("q")));
  EXPECT_EQ(u"x", unitsOf(string + static_cast<const zebchar*>(nullptr)));
  EXPECT_EQ(u"x", unitsOf(string + static_cast<const char*>(nullptr)));
  EXPECT_EQ(u"x", unitsOf(string + ""));
  EXPECT_EQ(u"ab", unitsOf(ZEB_String() + kAb));
  EXPECT_EQ(u"x", unitsOf(string));
}

TEST_F(String, Appends) {
  ZEB_String string;
  EXPECT_EQ(&string, &(string += kAb));
  EXPECT_STREQ("ab", string.getcValue());
  EXPECT_EQ(&string, &(string += "c"));
  EXPECT_EQ(&string, &(string += ZEB_String("de")));
  EXPECT_EQ(u"abcde", unitsOf(string));
  EXPECT_EQ(5U, string.size());
  EXPECT_STREQ("abcde", string.getcValue());
}

TEST_F(String, AppendingNothingKeepsTheBuffer) {
  ZEB_String string("ab");
  const zebchar* const units = string.getwcValue();
  string += kNothing;
  string += "";
  string += ZEB_String();
  string += static_cast<const zebchar*>(nullptr);
  string += static_cast<const char*>(nullptr);
  EXPECT_EQ(units, string.getwcValue());
  EXPECT_EQ(u"ab", unitsOf(string));
}

TEST_F(String, EqualsByItsUnits) {
  const ZEB_String string("ab");
  EXPECT_TRUE(string == kAb);
  EXPECT_TRUE(string == "ab");
  EXPECT_TRUE(string == ZEB_String("ab"));
  EXPECT_FALSE(string != kAb);
  EXPECT_FALSE(string != "ab");
  EXPECT_FALSE(string != ZEB_String("ab"));
  EXPECT_FALSE(string == kCde);
  EXPECT_FALSE(string == "aB");
  EXPECT_FALSE(string == ZEB_String("abc"));
  EXPECT_TRUE(string != kCde);
  EXPECT_TRUE(string != "aB");
  EXPECT_TRUE(string != ZEB_String("abc"));
  const zebchar sameLowBytes[] = {0x161, 'b', 0};
  EXPECT_FALSE(string == sameLowBytes);
  EXPECT_TRUE(ZEB_String() == static_cast<const zebchar*>(nullptr));
  EXPECT_TRUE(ZEB_String("\xE9") == "\xE9");
}

TEST_F(String, TheNarrowViewFollowsTheValue) {
  ZEB_String string("ab");
  char* const view = string.getcValue();
  EXPECT_EQ(view, string.getcValue());
  EXPECT_EQ(view, string());
  view[0] = 'X';
  view[6] = 'Y';
  EXPECT_STREQ("ab", string.getcValue());
  EXPECT_EQ(std::string("ab\0\0\0\0\0", 7), std::string(view, 7));
  const ZEB_String copy(string);
  EXPECT_NE(view, copy.getcValue());
}

TEST_F(String, TheNarrowViewIsCutByALowByteOfZero) {
  const zebchar units[] = {'a', 0x100, 'b', 0};
  const ZEB_String string(units);
  EXPECT_STREQ("a", string.getcValue());
  EXPECT_EQ('b', string.getcValue()[2]);
  EXPECT_EQ(3U, string.size());
}

TEST_F(String, TheStoredFormIsCountUnitsAndZero) {
  EXPECT_EQ((Bytes{0, 0, 0, 0, 0, 0}), storedForm(ZEB_String()));
  EXPECT_EQ((Bytes{2, 0, 0, 0, 'a', 0, 0xE9, 0xFF, 0, 0}), storedForm(ZEB_String("a\xE9")));
  EXPECT_EQ(10U, ZEB_String("ab").binarySize());
}

TEST_F(String, IsReadFromItsStoredForm) {
  const Bytes form = storedForm(ZEB_String("value"));
  ZEB_String string("x");
  EXPECT_EQ(form.data() + 16, string.get(form.data()));
  EXPECT_EQ(u"value", unitsOf(string));
  const zebchar* const units = string.getwcValue();
  EXPECT_EQ(form.data() + 16, string.get(form.data()));
  EXPECT_EQ(u"value", unitsOf(string));
  EXPECT_EQ(units, string.getwcValue());
  const Bytes other = storedForm(ZEB_String("valuf"));
  string.get(other.data());
  EXPECT_EQ(u"valuf", unitsOf(string));
  EXPECT_STREQ("valuf", string.getcValue());
}

TEST_F(String, AStoredEmptyStringEmptiesIt) {
  const Bytes form(6, 0);
  ZEB_String string("value");
  EXPECT_EQ(form.data() + 6, string.get(form.data()));
  EXPECT_EQ(u"", unitsOf(string));
  EXPECT_EQ(form.data() + 6, string.get(form.data()));
  EXPECT_EQ(u"", unitsOf(string));
}

TEST_F(String, AZeroAmongStoredUnitsEndsTheValueAndNotTheWalk) {
  const Bytes form{3, 0, 0, 0, 'a', 0, 0, 0, 'c', 0, 0, 0};
  ZEB_String string;
  EXPECT_EQ(form.data() + 12, string.get(form.data()));
  EXPECT_EQ(1U, string.size());
  EXPECT_EQ(u"a", unitsOf(string));
}

TEST_F(String, NullIsNeitherReadNorWritten) {
  ZEB_String string("value");
  EXPECT_EQ(nullptr, string.put(nullptr));
  EXPECT_EQ(nullptr, string.get(nullptr));
  EXPECT_EQ(u"value", unitsOf(string));
}

}  // namespace

}  // namespace string_test
