// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/text.h"

#include <gtest/gtest.h>

namespace text_test {

using reader::utf8;

TEST(Text, Utf16BecomesUtf8) {
  EXPECT_EQ("", utf8(u""));
  EXPECT_EQ("order %n", utf8(u"order %n"));
  EXPECT_EQ("Gr\u00f6\u00dfe \u65e5\u672c", utf8(u"Gr\u00f6\u00dfe \u65e5\u672c"));
  EXPECT_EQ("\U0001F600\U0010FFFF", utf8(u"\U0001F600\U0010FFFF"));
}

TEST(Text, EndsAtTheFirstZeroUnit) {
  EXPECT_EQ("ab", utf8(std::u16string_view(u"ab\0cd", 5)));
  EXPECT_EQ("ab", utf8(std::string_view("ab\0cd", 5)));
}

TEST(Text, UnpairedSurrogatesBecomeReplacements) {
  const std::u16string high{0xD800};
  const std::u16string low{0xDC00};
  EXPECT_EQ("a\uFFFD", utf8(u"a" + high));
  EXPECT_EQ("\uFFFDa", utf8(high + u"a"));
  EXPECT_EQ("\uFFFD", utf8(low));
  EXPECT_EQ("\uFFFD\U00010000", utf8(high + high + low));
  EXPECT_EQ("\uFFFD\uFFFD", utf8(low + high));
}

TEST(Text, WidenedUtf8BytesAreTakenForThoseBytes) {
  const std::u16string widened{u'G', 0xFFC3, 0xFFB6, u'!'};
  EXPECT_EQ("G\u00f6!", utf8(widened));
  EXPECT_EQ("\U0001F600", utf8(std::u16string{0xFFF0, 0xFF9F, 0xFF98, 0xFF80}));
}

TEST(Text, WidenedUnitsThatAreNoUtf8AreTakenForUtf16) {
  EXPECT_EQ("\uFFE9", utf8(std::u16string{0xFFE9}));
  EXPECT_EQ("\uFF80\uFF81", utf8(std::u16string{0xFF80, 0xFF81}));
  // Overlong, a surrogate, beyond the last code point, cut short.
  EXPECT_EQ("\uFFC0\uFF80", utf8(std::u16string{0xFFC0, 0xFF80}));
  EXPECT_EQ("\uFFED\uFFA0\uFF80", utf8(std::u16string{0xFFED, 0xFFA0, 0xFF80}));
  EXPECT_EQ("\uFFF4\uFF90\uFF80\uFF80", utf8(std::u16string{0xFFF4, 0xFF90, 0xFF80, 0xFF80}));
  EXPECT_EQ("\uFFE2\uFF82", utf8(std::u16string{0xFFE2, 0xFF82}));
  EXPECT_EQ("\uFFE9a", utf8(std::u16string{0xFFE9, u'a'}));
}

TEST(Text, EightBitTextIsKeptWhenItIsUtf8) {
  EXPECT_EQ("zebhost", utf8(std::string_view("zebhost")));
  EXPECT_EQ("\u00f6", utf8(std::string_view("\xC3\xB6")));
  EXPECT_EQ("a\uFFFDb\u00f6", utf8(std::string_view("a\xF6"
                                                    "b\xC3\xB6")));
}

}  // namespace text_test
