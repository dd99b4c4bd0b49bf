// SPDX-License-Identifier: Apache-2.0
// The attributes in the order in which the host has set them.
#include "node/attributes_list.h"

#include "tests/unit/node/node_test.h"

namespace attributes_list_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebpattr";

class AttributesList : public LibraryTest {
 protected:
  void append(const char* name, const char* value) {
    const ZEB_String wideName(name);
    const ZEB_String wideValue(value);
    EXPECT_TRUE(list.append(
        std::make_unique<ZEB_Attribute>(wideName.getwcValue(), wideValue.getwcValue())));
  }
  std::string valueOf(const char* name) const {
    const ZEB_Attribute* const found = list.find(ZEB_String(name));
    return found ? found->getValue().getcValue() : "(none)";
  }

  ZEB_Attributes_List list;
};

TEST_F(AttributesList, FindsTheFirstOfThatName) {
  append("type", "input");
  append("label", "NODE");
  append("type", "output");
  EXPECT_EQ("input", valueOf("type"));
  EXPECT_EQ("NODE", valueOf("label"));
}

TEST_F(AttributesList, FindsNamesExactly) {
  append("type", "input");
  EXPECT_EQ("(none)", valueOf("Type"));
  EXPECT_EQ("(none)", valueOf("typ"));
  EXPECT_EQ("(none)", valueOf("types"));
  EXPECT_EQ("(none)", valueOf(""));
}

TEST_F(AttributesList, TellsWhenThereIsNoMemoryForOneMore) {
  auto attribute = std::make_unique<ZEB_Attribute>(ZEB_String("type").getwcValue(),
                                                   ZEB_String("input").getwcValue());
  refuseMemory();
  const bool appended = list.append(std::move(attribute));
  succeedAgain();
  EXPECT_FALSE(appended);
  EXPECT_EQ("(none)", valueOf("type"));
}

TEST_F(AttributesList, CleanupDestroysEveryElement) {
  append("type", "input");
  append("label", "NODE");
  const Tracing on;
  list.cleanup();
  EXPECT_EQ(2U, entriesOf("ZEB_Attribute::~ZEB_Attribute"));
  EXPECT_EQ("(none)", valueOf("type"));
}

TEST_F(AttributesList, TheDestructorDoesToo) {
  const Tracing on;
  {
    ZEB_Attributes_List other;
    other.append(std::make_unique<ZEB_Attribute>(units(u"a"), units(u"b")));
  }
  EXPECT_EQ(1U, entriesOf("ZEB_Attribute::~ZEB_Attribute"));
  expectTraced(kUnit, {{"ZEB_Attributes_List::ZEB_Attributes_List", "Exit"},
                       {"ZEB_Attributes_List::append", "Exit: 0x1"},
                       {"ZEB_Attributes_List::cleanup", "Exit"},
                       {"ZEB_Attributes_List::~ZEB_Attributes_List", "Exit"}});
}

TEST_F(AttributesList, TracesWhatItFinds) {
  append("type", "input");
  const Tracing on;
  const ZEB_Attribute* const found = list.find(ZEB_String("type"));
  EXPECT_EQ((Texts{"Entry", "Attribute type found", exitOf(found)}),
            textsOf(kUnit, "ZEB_Attributes_List::find"));
  host().forget();
  list.find(ZEB_String("label"));
  EXPECT_EQ((Texts{"Entry", "Exit: 0x0"}), textsOf(kUnit, "ZEB_Attributes_List::find"));
}

}  // namespace

}  // namespace attributes_list_test
