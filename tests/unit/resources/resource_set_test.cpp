// SPDX-License-Identifier: Apache-2.0
// The children of a resource.
#include "resources/resource_set.h"

#include "resources/execution_group.h"
#include "tests/unit/resources/resource_test.h"

namespace resource_set_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcmsre";

struct Counted : ZEB_ORVA_Resource {
  Counted(const char* label, int* alive)
      : ZEB_ORVA_Resource(ZEB_REIR_RECORD, nullptr), alive_(alive) {
    const ZEB_String text(label);
    getInformationRecord()->setLabel(&text);
    ++*alive_;
  }
  ~Counted() override { --*alive_; }
  int* alive_;
};

class ResourceSet : public LibraryTest {
 protected:
  const ZEB_ORVA_Resource* insert(const char* label) {
    auto member = std::make_unique<Counted>(label, &alive);
    const ZEB_ORVA_Resource* const inserted = member.get();
    EXPECT_TRUE(set.insert(std::move(member)));
    return inserted;
  }

  int alive = 0;
  ZEB_ORVA_Resource_Set set;
};

TEST_F(ResourceSet, OwnsItsMembers) {
  insert("A");
  insert("B");
  EXPECT_EQ(2U, set.entries());
  set.cleanup();
  EXPECT_EQ(0, alive);
  EXPECT_EQ(0U, set.entries());
  {
    ZEB_ORVA_Resource_Set other;
    other.insert(std::make_unique<Counted>("A", &alive));
    EXPECT_EQ(1, alive);
  }
  EXPECT_EQ(0, alive);
}

TEST_F(ResourceSet, HandsOutARemovedMember) {
  const ZEB_ORVA_Resource* const first = insert("A");
  const ZEB_ORVA_Resource* const second = insert("A");
  const std::unique_ptr<ZEB_ORVA_Resource> removed = set.remove(second);
  EXPECT_EQ(second, removed.get());
  EXPECT_EQ(2, alive);
  ASSERT_EQ(1U, set.entries());
  EXPECT_EQ(first, set.at(0));
  EXPECT_EQ(nullptr, set.remove(second));
  EXPECT_EQ(nullptr, set.remove(nullptr));
  EXPECT_EQ(1U, set.entries());
  set.remove(first);
  EXPECT_EQ(1, alive);
}

TEST_F(ResourceSet, YieldsItsMembersInTheOrderInWhichTheyCame) {
  const ZEB_ORVA_Resource* const first = insert("B");
  const ZEB_ORVA_Resource* const second = insert("A");
  ZEB_ORVA_Resource_Set_Iterator next(set);
  EXPECT_EQ(first, next.getNext());
  EXPECT_EQ(second, next.getNext());
  EXPECT_EQ(nullptr, next.getNext());
  EXPECT_EQ(nullptr, next.getNext());
}

TEST_F(ResourceSet, PrintsEachMember) {
  insert("A");
  insert("B");
  host().forget();
  set.print();
  Texts expected = printed("n/a", "A", "");
  for (const std::string& line : printed("n/a", "B", "")) expected.push_back(line);
  EXPECT_EQ(expected, linesOf("ZEB_ORVA_Resource::print"));
}

TEST_F(ResourceSet, ATypedSetFindsTheFirstMemberAlike) {
  ZEB_Execution_Group_Set groups;
  const ZEB_Resource_ID first = resourceId("A");
  const ZEB_Resource_ID second = resourceId("B");
  const ZEB_Resource_ID missing = resourceId("B", "UUID");
  EXPECT_EQ(nullptr, groups.findExecutionGroup(&first));
  for (const ZEB_Resource_ID* id : {&first, &second, &second})
    groups.insert(std::make_unique<ZEB_Execution_Group>(id));
  EXPECT_EQ(groups.at(0), groups.findExecutionGroup(&first));
  EXPECT_EQ(groups.at(1), groups.findExecutionGroup(&second));
  EXPECT_EQ(nullptr, groups.findExecutionGroup(&missing));
  EXPECT_EQ(nullptr, groups.findExecutionGroup(nullptr));
  std::vector<ZEB_Execution_Group*> members;
  for (ZEB_Execution_Group* group : groups) members.push_back(group);
  EXPECT_EQ((std::vector<ZEB_Execution_Group*>{static_cast<ZEB_Execution_Group*>(groups.at(0)),
                                               static_cast<ZEB_Execution_Group*>(groups.at(1)),
                                               static_cast<ZEB_Execution_Group*>(groups.at(2))}),
            members);
}

TEST_F(ResourceSet, FindsAMemberUnderTheLabelThatItGotAfterALookup) {
  ZEB_Node_Set nodes;
  const ZEB_Resource_ID before = resourceId("BEFORE");
  const ZEB_Resource_ID after = resourceId("AFTER");
  nodes.insert(std::make_unique<ZEB_Node>(&before));
  ZEB_Node* const node = nodes.findNode(&before);
  EXPECT_EQ(nullptr, nodes.findNode(&after));
  node->setLabel(&after.getLabel());
  EXPECT_EQ(node, nodes.findNode(&after));
  EXPECT_EQ(nullptr, nodes.findNode(&before));
}

TEST_F(ResourceSet, AMemberThatIsInsertedAgainCountsOnce) {
  auto* const member = new Counted("A", &alive);
  EXPECT_TRUE(set.insert(std::unique_ptr<ZEB_ORVA_Resource>(member)));
  EXPECT_TRUE(set.insert(std::unique_ptr<ZEB_ORVA_Resource>(member)));
  EXPECT_EQ(1U, set.entries());
  EXPECT_EQ(1, alive);
  EXPECT_TRUE(set.insert(set.remove(member)));
  EXPECT_EQ(1U, set.entries());
}

TEST_F(ResourceSet, MovesItsFirstMemberBehindOthers) {
  const ZEB_ORVA_Resource* const first = insert("A");
  const ZEB_ORVA_Resource* const second = insert("B");
  const ZEB_ORVA_Resource* const third = insert("C");
  const auto order = [&] {
    return std::vector<const ZEB_ORVA_Resource*>{set.at(0), set.at(1), set.at(2)};
  };
  set.moveFirst(0);
  EXPECT_EQ((std::vector{first, second, third}), order());
  set.moveFirst(1);
  EXPECT_EQ((std::vector{second, first, third}), order());
  set.moveFirst(9);
  EXPECT_EQ((std::vector{first, third, second}), order());
  ZEB_ORVA_Resource_Set().moveFirst(1);
}

TEST_F(ResourceSet, Traces) {
  const ZEB_Resource_ID id = resourceId("A");
  const Tracing on;
  {
    ZEB_Execution_Group_Set groups;
    groups.findExecutionGroup(&id);
    groups.print();
    ZEB_Message_Flow_Set flows;
    flows.findMessageFlow(&id);
    ZEB_Node_Set nodes;
    nodes.findNode(&id);
    ZEB_ORVA_Resource_Set_Iterator(nodes).getNext();
  }
  expectTraced(kUnit, {{"ZEB_ORVA_Resource_Set::ZEB_ORVA_Resource_Set", "Exit"},
                       {"ZEB_Execution_Group_Set::findExecutionGroup", "Exit: 0x0"},
                       {"ZEB_Message_Flow_Set::findMessageFlow", "Exit: 0x0"},
                       {"ZEB_Node_Set::findNode", "Exit: 0x0"},
                       {"ZEB_Execution_Group_Set::ZEB_Execution_Group_Set", "Exit"},
                       {"ZEB_Execution_Group_Set::~ZEB_Execution_Group_Set", "Exit"},
                       {"ZEB_Message_Flow_Set::ZEB_Message_Flow_Set", "Exit"},
                       {"ZEB_Message_Flow_Set::~ZEB_Message_Flow_Set", "Exit"},
                       {"ZEB_Node_Set::ZEB_Node_Set", "Exit"},
                       {"ZEB_Node_Set::~ZEB_Node_Set", "Exit"},
                       {"ZEB_ORVA_Resource_Set_Iterator::ZEB_ORVA_Resource_Set_Iterator", "Exit"},
                       {"ZEB_ORVA_Resource_Set_Iterator::~ZEB_ORVA_Resource_Set_Iterator", "Exit"},
                       {"ZEB_ORVA_Resource_Set_Iterator::getNext", "Exit: 0x0"},
                       {"ZEB_ORVA_Resource_Set::print", "Exit"},
                       {"ZEB_ORVA_Resource_Set::cleanup", "Exit"},
                       {"ZEB_ORVA_Resource_Set::~ZEB_ORVA_Resource_Set", "Exit"}});
}

}  // namespace

}  // namespace resource_set_test
