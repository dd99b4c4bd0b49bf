// SPDX-License-Identifier: Apache-2.0
// A name and a value that the host has set.
#include "node/attribute.h"

#include "tests/unit/node/node_test.h"

namespace attribute_test {

using namespace support;

namespace {

using Attribute = LibraryTest;

TEST_F(Attribute, HoldsNameAndValue) {
  const ZEB_Attribute attribute(units(u"type"), units(u"input"));
  EXPECT_TRUE(attribute.OK());
  EXPECT_EQ(0, attribute.getStatus());
  EXPECT_TRUE(attribute.getName() == "type");
  EXPECT_TRUE(attribute.getValue() == "input");
  const ZEB_Attribute copy(attribute);
  EXPECT_TRUE(copy.OK());
  EXPECT_TRUE(copy.getName() == "type");
  EXPECT_TRUE(copy.getValue() == "input");
}

TEST_F(Attribute, NullIsAnEmptyString) {
  const ZEB_Attribute attribute(nullptr, nullptr);
  EXPECT_TRUE(attribute.OK());
  EXPECT_EQ(0U, attribute.getName().size());
  EXPECT_EQ(0U, attribute.getValue().size());
}

TEST_F(Attribute, IsReplacedByWhatIsNotNull) {
  ZEB_Attribute attribute(units(u"type"), units(u"input"));
  attribute.setName(units(u"label"));
  attribute.setValue(units(u"NODE"));
  EXPECT_TRUE(attribute.getName() == "label");
  EXPECT_TRUE(attribute.getValue() == "NODE");
  attribute.setName(nullptr);
  attribute.setValue(nullptr);
  EXPECT_TRUE(attribute.getName() == "label");
  EXPECT_TRUE(attribute.getValue() == "NODE");
}

TEST_F(Attribute, IsNotOkWithoutMemory) {
  failAllocations(2 * 10);
  const ZEB_Attribute name(units(u"ninechars"), units(u"v"));
  EXPECT_FALSE(name.OK());
  EXPECT_EQ(301, name.getStatus());
  EXPECT_EQ(301, ZEB_Attribute(units(u"n"), units(u"ninechars")).getStatus());
  succeedAgain();
  ZEB_Attribute later(units(u"n"), units(u"v"));
  failAllocations(2 * 10);
  later.setValue(units(u"ninechars"));
  EXPECT_EQ(301, later.getStatus());
  EXPECT_EQ(301, ZEB_Attribute(later).getStatus());
}

TEST_F(Attribute, OneThatIsNotOkKeepsNeitherNameNorValue) {
  failAllocations(2 * 10);
  const ZEB_Attribute name(units(u"ninechars"), units(u"v"));
  const ZEB_Attribute value(units(u"n"), units(u"ninechars"));
  for (const ZEB_Attribute* attribute : {&name, &value}) {
    EXPECT_EQ(nullptr, attribute->getName().getwcValue());
    EXPECT_EQ(nullptr, attribute->getValue().getwcValue());
  }
}

TEST_F(Attribute, ItsCleanupFreesNameAndValue) {
  ZEB_Attribute attribute(units(u"n"), units(u"v"));
  attribute.cleanup();
  EXPECT_EQ(nullptr, attribute.getName().getwcValue());
  EXPECT_EQ(nullptr, attribute.getValue().getwcValue());
}

TEST_F(Attribute, EveryOperationTraces) {
  const Tracing on;
  {
    ZEB_Attribute attribute(units(u"type"), units(u"input"));
    attribute.OK();
    attribute.getStatus();
    attribute.getName();
    attribute.getValue();
    attribute.setName(units(u"a"));
    attribute.setValue(units(u"a"));
  }
  expectTraced("zebpattr", {{"ZEB_Attribute::ZEB_Attribute", "Exit"},
                            {"ZEB_Attribute::OK", "Exit: 0x1"},
                            {"ZEB_Attribute::getStatus", "Exit: 0x0"},
                            {"ZEB_Attribute::getName", "Exit"},
                            {"ZEB_Attribute::getValue", "Exit"},
                            {"ZEB_Attribute::setName", "Exit"},
                            {"ZEB_Attribute::setValue", "Exit"},
                            {"ZEB_Attribute::cleanup", "Exit"},
                            {"ZEB_Attribute::~ZEB_Attribute", "Exit"}});
  ZEB_Attribute attribute(units(u"type"), units(u"input"));
  host().forget();
  const ZEB_Attribute copy(attribute);
  expectTraced("zebpattr", {{"ZEB_Attribute::ZEB_Attribute", "Exit"}});
}

}  // namespace

}  // namespace attribute_test
