// SPDX-License-Identifier: Apache-2.0
// Identities of resources, and return codes.
#include "base/resource_id.h"

#include "base/return_code.h"
#include "tests/support/library_test.h"

namespace resource_id_test {

using namespace support;

namespace {

class ResourceId : public LibraryTest {
 protected:
  const ZEB_String uuid{"uuid"};
  const ZEB_String label{"label"};
  const ZEB_Resource_ID id{&uuid, &label};
};

TEST_F(ResourceId, TakesTheUuidFirst) {
  EXPECT_TRUE(id.getUuid() == "uuid");
  EXPECT_TRUE(id.getLabel() == "label");
}

TEST_F(ResourceId, IsEmptyWhereNothingIsGiven) {
  const ZEB_Resource_ID neither;
  EXPECT_EQ(0U, neither.getUuid().size());
  EXPECT_EQ(0U, neither.getLabel().size());
  const ZEB_Resource_ID noLabel(&uuid, nullptr);
  EXPECT_TRUE(noLabel.getUuid() == "uuid");
  EXPECT_EQ(0U, noLabel.getLabel().size());
  const ZEB_Resource_ID noUuid(nullptr, &label);
  EXPECT_EQ(0U, noUuid.getUuid().size());
  EXPECT_TRUE(noUuid.getLabel() == "label");
}

TEST_F(ResourceId, NullChangesNothing) {
  ZEB_Resource_ID changed(id);
  changed.setLabel(nullptr);
  changed.setUuid(nullptr);
  EXPECT_EQ(1U, changed.alike(&id));
  changed.setLabel(&uuid);
  EXPECT_TRUE(changed.getLabel() == "uuid");
  EXPECT_TRUE(changed.getUuid() == "uuid");
  changed.setUuid(&label);
  EXPECT_TRUE(changed.getLabel() == "uuid");
  EXPECT_TRUE(changed.getUuid() == "label");
}

TEST_F(ResourceId, IsAlikeOnlyInBoth) {
  const ZEB_String other("other");
  const ZEB_Resource_ID otherLabel(&uuid, &other);
  const ZEB_Resource_ID otherUuid(&other, &label);
  EXPECT_EQ(1U, id.alike(&id));
  EXPECT_EQ(0U, id.alike(&otherLabel));
  EXPECT_EQ(0U, id.alike(&otherUuid));
  EXPECT_EQ(0U, id.alike(nullptr));
  EXPECT_EQ(1U, ZEB_Resource_ID().alike(&static_cast<const ZEB_Resource_ID&>(ZEB_Resource_ID())));
}

TEST_F(ResourceId, IsAValue) {
  ZEB_Resource_ID assigned;
  EXPECT_EQ(&assigned, &(assigned = id));
  EXPECT_TRUE(assigned.getUuid() == "uuid");
  EXPECT_TRUE(assigned.getLabel() == "label");
  const ZEB_Resource_ID copy(assigned);
  assigned.setUuid(&label);
  EXPECT_EQ(1U, copy.alike(&id));
}

TEST_F(ResourceId, Traces) {
  const Tracing on;
  {
    ZEB_Resource_ID copy(id);
    copy = id;
    copy.setLabel(nullptr);
    copy.setUuid(nullptr);
    copy.getLabel();
    copy.getUuid();
    copy.alike(&id);
  }
  const char unit[] = "zebcreid";
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(unit, "ZEB_Resource_ID::ZEB_Resource_ID"));
  const ZEB_Resource_ID empty;
  EXPECT_EQ(2U, entriesOf("ZEB_Resource_ID::ZEB_Resource_ID"));
  expectTraced(unit, {{"ZEB_Resource_ID::ZEB_Resource_ID", "Exit"},
                      {"ZEB_Resource_ID::~ZEB_Resource_ID", "Exit"},
                      {"ZEB_Resource_ID::operator=", "Exit"},
                      {"ZEB_Resource_ID::setLabel", "Exit"},
                      {"ZEB_Resource_ID::setUuid", "Exit"},
                      {"ZEB_Resource_ID::getLabel", "Exit"},
                      {"ZEB_Resource_ID::getUuid", "Exit"},
                      {"ZEB_Resource_ID::alike", "Exit: 0x1"}});
}

TEST(ReturnCode, HoldsANumber) {
  const ZEB_ReturnCode none;
  EXPECT_EQ(0U, none.getCode());
  EXPECT_TRUE(none == ZEB_SUCCESS);
  const ZEB_ReturnCode code(0x80000005U);
  EXPECT_EQ(0x80000005U, code.getCode());
  EXPECT_EQ(static_cast<int>(0x80000005U), static_cast<int>(code));
  EXPECT_FALSE(code == ZEB_MAXIMUM);
  EXPECT_TRUE(ZEB_ReturnCode(5) == ZEB_MAXIMUM);
  ZEB_ReturnCode assigned;
  assigned = code;
  EXPECT_EQ(0x80000005U, assigned.getCode());
}

TEST(ReturnCode, HasItsNumbersAndNames) {
  const std::vector<std::uint32_t> codes{
      ZEB_SUCCESS, ZEB_NOT_READ,      ZEB_NO_ROOM,    ZEB_NULL_ARGUMENT,  ZEB_MISSING,
      ZEB_MAXIMUM, ZEB_NOT_ALLOCATED, ZEB_NOT_USABLE, ZEB_LOCK_NOT_BUILT, ZEB_NO_RECORD};
  EXPECT_EQ((std::vector<std::uint32_t>{0, 1, 2, 3, 4, 5, 6, 8, 9, 10}), codes);
  const Texts names(std::begin(ZEB_ReturnCodeNames), std::end(ZEB_ReturnCodeNames));
  EXPECT_EQ(
      (Texts{"Success", "BadArgument", "BadObject", "BusyObject", "Duplicate", "NotThere",
             "ProtocolError", "Shortage", "SystemError", "UnknownError", "Warning", "Authority"}),
      names);
}

}  // namespace

}  // namespace resource_id_test
