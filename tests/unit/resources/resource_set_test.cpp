// SPDX-License-Identifier: Apache-2.0
// The children of a resource.
#include "resources/resource_set.h"

#include "resources/execution_group.h"
#include "tests/unit/resources/resource_test.h"

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

TEST_F(ResourceSet, FindsTheFirstMemberAlikeWithoutMemoryForAnIndex) {
  ZEB_Execution_Group_Set groups;
  const ZEB_Resource_ID first = resourceId("A");
  const ZEB_Resource_ID second = resourceId("B");
  const ZEB_Resource_ID missing = resourceId("C");
  for (const ZEB_Resource_ID* id : {&first, &second, &second})
    groups.insert(std::make_unique<ZEB_Execution_Group>(id));
  refuseMemory();
  const ZEB_Execution_Group* const found[] = {groups.findExecutionGroup(&first),
                                              groups.findExecutionGroup(&second),
                                              groups.findExecutionGroup(&missing)};
  succeedAgain();
  EXPECT_EQ(groups.at(0), found[0]);
  EXPECT_EQ(groups.at(1), found[1]);
  EXPECT_EQ(nullptr, found[2]);
}

class DroppedMembers : public LibraryTest {
 protected:
  DroppedMembers() {
    for (const char* label : {"A", "B", "C", "D", "E"}) insert(label);
  }
  void insert(const char* label) {
    const ZEB_Resource_ID id = resourceId(label);
    groups.insert(std::make_unique<ZEB_Execution_Group>(&id));
  }
  // In the order of the labels.
  void store(const ZEB_Execution_Group& group) {
    group.getInformationRecord()->setAddress(&places_[textOf(group.getLabel())[0] - 'A']);
  }
  void drop(const std::string& dropped) {
    groups.dropIf([&](const ZEB_Execution_Group* group) {
      return dropped.find(textOf(group->getLabel())) != std::string::npos;
    });
  }
  std::string labels() const {
    std::string all;
    for (const ZEB_Execution_Group* group : groups) all += textOf(group->getLabel());
    return all;
  }
  std::string found(const char* label) const {
    const ZEB_Resource_ID id = resourceId(label);
    const ZEB_Execution_Group* const group = groups.findExecutionGroup(&id);
    return group ? textOf(group->getLabel()) : "";
  }

  ZEB_Execution_Group_Set groups;

 private:
  char places_[26];
};

TEST_F(DroppedMembers, AreGoneAndTheOthersAreFound) {
  EXPECT_EQ("D", found("D"));
  drop("ACE");
  EXPECT_EQ("BD", labels());
  EXPECT_EQ("D", found("D"));
  EXPECT_EQ("", found("E"));
}

TEST_F(DroppedMembers, ComeBackToWhereTheyAreStored) {
  for (ZEB_Execution_Group* const group : groups) store(*group);
  drop("ACE");
  for (const char* label : {"E", "A", "C"}) insert(label);
  for (ZEB_Execution_Group* const group : groups) store(*group);
  EXPECT_EQ("BDEAC", labels());
  EXPECT_EQ("E", found("E"));
  groups.sortByAddress();
  EXPECT_EQ("ABCDE", labels());
  for (const char* label : {"A", "B", "C", "D", "E"}) EXPECT_EQ(label, found(label));
}

TEST_F(DroppedMembers, StandBeforeThoseThatAreNotStored) {
  drop("C");
  insert("C");
  for (ZEB_Execution_Group* const group : groups)
    if (textOf(group->getLabel()) == "C") store(*group);
  groups.sortByAddress();
  EXPECT_EQ("CABDE", labels());
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
  }
  expectTraced(kUnit, {{"ZEB_ORVA_Resource_Set::ZEB_ORVA_Resource_Set", "Exit"},
                       {"ZEB_Execution_Group_Set::findExecutionGroup", "Exit: 0x0"},
                       {"ZEB_Message_Flow_Set::findMessageFlow", "Exit: 0x0"},
                       {"ZEB_Node_Set::findNode", "Exit: 0x0"},
                       {"ZEB_ORVA_Resource_Set::print", "Exit"},
                       {"ZEB_ORVA_Resource_Set::cleanup", "Exit"},
                       {"ZEB_ORVA_Resource_Set::~ZEB_ORVA_Resource_Set", "Exit"}});
}

}  // namespace
