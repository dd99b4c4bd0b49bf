// SPDX-License-Identifier: Apache-2.0
// How activation modes are written.
#include "node/activation.h"

#include "tests/support/library_test.h"

namespace activation_test {

using namespace support;

namespace {

using Activation = LibraryTest;

TEST_F(Activation, ModesHaveTheirNumbers) {
  EXPECT_EQ(0U, ZEB_NO_OVERRIDE);
  EXPECT_EQ(1U, ZEB_ACTIVE);
  EXPECT_EQ(2U, ZEB_INACTIVE);
  EXPECT_EQ(3U, ZEB_EVENT_ONLY);
  EXPECT_EQ(4U, ZEB_INPUT_OUTPUT_ONLY);
  EXPECT_EQ(5U, ZEB_INPUT_OUTPUT_AND_EVENT_ONLY);
}

TEST_F(Activation, AnAttributeNamesAModeInAnyLetterCase) {
  const std::pair<const char*, unsigned> modes[] = {{"yes", 1},
                                                    {"YES", 1},
                                                    {"no", 2},
                                                    {"No", 2},
                                                    {"eventOnly", 3},
                                                    {"EVENTONLY", 3},
                                                    {"inputOutputOnly", 4},
                                                    {"inputoutputonly", 4},
                                                    {"inputOutputAndEventOnly", 5},
                                                    {"InputOutputAndEventONLY", 5}};
  for (const auto& [text, mode] : modes)
    EXPECT_EQ(mode, ZEB_ActivationOf(ZEB_String(text))) << text;
}

TEST_F(Activation, AnyOtherAttributeIsActive) {
  for (const char* text : {"", "NoOverride", "nooverride", "n", "nop", "no ", "event"})
    EXPECT_EQ(1U, ZEB_ActivationOf(ZEB_String(text))) << text;
}

TEST_F(Activation, AnOverrideIsWrittenInAnyLetterCase) {
  const std::pair<const char*, int> modes[] = {{"NoOverride", 0},
                                               {"nooverride", 0},
                                               {"Yes", 1},
                                               {"yes", 1},
                                               {"No", 2},
                                               {"NO", 2},
                                               {"EventOnly", 3},
                                               {"eventonly", 3},
                                               {"InputOutputOnly", 4},
                                               {"inputOutputOnly", 4},
                                               {"InputOutputAndEventOnly", 5},
                                               {"INPUTOUTPUTANDEVENTONLY", 5}};
  for (const auto& [text, mode] : modes)
    EXPECT_EQ(mode, ZEB_OverrideOf(ZEB_String(text), 77)) << text;
}

TEST_F(Activation, AnyOtherOverrideChangesNothing) {
  for (const char* text : {"", "Off", "Ye", "Yess"}) {
    EXPECT_EQ(0, ZEB_OverrideOf(ZEB_String(text), 0)) << text;
    EXPECT_EQ(4, ZEB_OverrideOf(ZEB_String(text), 4)) << text;
  }
}

}  // namespace

}  // namespace activation_test
