// SPDX-License-Identifier: Apache-2.0
// The exported functions and the settings of the whole process.
#include <utility>

#include "node/common_values.h"
#include "node/node_context.h"
#include "tests/unit/node/node_test.h"

namespace entry_test {

namespace fs = std::filesystem;
using namespace support;

extern "C" {
void getCommonValues();
void* zebCreateNodeContext(HostFactory*, const std::uint16_t*, HostNode*);
void zebDeleteNodeContext(void*);
int zebSetAttribute(void*, const std::uint16_t*, const std::uint16_t*);
int zebGetAttribute(void*, const std::uint16_t*, std::uint16_t*, int);
int zebGetAttributeName(void*, int, std::uint16_t*, int);
void zebEvaluate(void*, HostTree*, HostTree*, HostMessage*);
HostFactory* gqaGetMessageflowNodeFactory();
}

namespace {

constexpr char kUnit[] = "zebpnode";
constexpr char kFactory[] = "gqaGetMessageflowNodeFactory";

class Entry : public NodeTest {
 protected:
  void SetUp() override {
    NodeTest::SetUp();
    overrideActivateNodeForAll = 0;
    host().script.defineClass = [this](int&, HostNodeFunctionTable* defined) { table = defined; };
  }

  ScriptedNode instance;
  HostNodeFunctionTable* table = nullptr;
};

TEST_F(Entry, TheTraceSwitchIsOnForOnExactly) {
  const std::pair<const char*, int> settings[] = {
      {"ZEBNodeTrace On\n", 1},   {"ZEBNodeTrace on\n", 0}, {"ZEBNodeTrace ON\n", 0},
      {"ZEBNodeTrace Only\n", 0}, {"ZEBNodeTrace On\n", 1}, {"", 0}};
  for (const auto& [setting, value] : settings) {
    configure(setting);
    getCommonValues();
    EXPECT_EQ(value, bZEBTracing) << setting;
  }
}

TEST_F(Entry, TheOverrideStaysWhereNothingSaysOtherwise) {
  const std::pair<const char*, int> settings[] = {{"", 0},
                                                  {"ZEBActivateNode eventonly\n", 3},
                                                  {"", 3},
                                                  {"ZEBActivateNode nonsense\n", 3},
                                                  {"ZEBActivateNodeForBRK1 No\n", 3},
                                                  {"ZEBActivateNode InputOutputAndEventOnly\n", 5},
                                                  {"ZEBActivateNode NoOverride\n", 0}};
  for (const auto& [setting, value] : settings) {
    configure(setting);
    getCommonValues();
    EXPECT_EQ(value, overrideActivateNodeForAll) << setting;
  }
  EXPECT_TRUE(messageLines().empty());
}

// Bytes of a string of so many units, and of its narrow view, by which overrides are compared.
constexpr std::size_t wide(std::size_t units) {
  return 2 * (units + 1);
}
constexpr std::size_t narrow(std::size_t units) {
  return 3 * units + 1;
}

TEST_F(Entry, AnOverrideThatFindsNoMemoryIsNotTakenForNone) {
  configure("ZEBActivateNode EventOnly\n");
  for (const std::size_t bytes : {wide(9), narrow(9)}) {
    failAllocations(bytes);
    getCommonValues();
    succeedAgain();
    const ZEB_Node_Context unmeasured(instance.handle());
    EXPECT_EQ(301, unmeasured.getStatus());
    EXPECT_EQ((Texts{message1(kUnit, "getCommonValues"),
                     message1("zebpcont", "ZEB_Node_Context::getResourceNames")}),
              messageLines());
    getCommonValues();
    EXPECT_EQ(3, overrideActivateNodeForAll);
    const ZEB_Node_Context known(instance.handle());
    EXPECT_TRUE(known.OK());
    overrideActivateNodeForAll = 0;
    host().forget();
  }
}

TEST_F(Entry, ATraceSwitchThatFindsNoMemoryStays) {
  configure("ZEBNodeTrace On\n");
  getCommonValues();
  failAllocations(wide(2));  // the value, or what it is compared with
  getCommonValues();
  succeedAgain();
  EXPECT_EQ(1, std::exchange(bZEBTracing, 0));
  EXPECT_EQ(Texts{message1(kUnit, "getCommonValues")}, messageLines());
}

TEST_F(Entry, MakesAFactoryAndDefinesItsClass) {
  HostFactory* const factory = gqaGetMessageflowNodeFactory();
  ASSERT_NE(nullptr, factory);
  EXPECT_EQ((Texts{"hnxCreateNodeFactory", "hnxDefineNodeClass"}), host().callNames());
  EXPECT_EQ(u"DravikMonitorNodeFactory", host().calls()[0].name);
  EXPECT_EQ(u"ComDravikMonitorNode", host().calls()[1].name);
  EXPECT_EQ(factory, host().calls()[1].handles[0]);
  ASSERT_NE(nullptr, table);
  const Bytes bytes = bytesAt(table, sizeof *table);
  EXPECT_EQ(0U, unsignedAt(bytes, 0));
  EXPECT_EQ("NVFT", charactersAt(bytes, 4, 4));
  EXPECT_EQ(3U, unsignedAt(bytes, 8));
  EXPECT_EQ(0U, unsignedAt(bytes, 12));
  EXPECT_EQ(zebCreateNodeContext, table->createContext);
  EXPECT_EQ(zebDeleteNodeContext, table->deleteContext);
  EXPECT_EQ(zebGetAttributeName, table->getAttributeName);
  EXPECT_EQ(zebSetAttribute, table->setAttribute);
  EXPECT_EQ(zebGetAttribute, table->getAttribute);
  EXPECT_EQ(zebEvaluate, table->evaluate);
  EXPECT_EQ(Bytes(24, 0), slice(bytes, 64, 24));
}

TEST_F(Entry, ASecondCallRefillsTheSameTable) {
  gqaGetMessageflowNodeFactory();
  HostNodeFunctionTable* const first = table;
  first->evaluate = nullptr;
  gqaGetMessageflowNodeFactory();
  EXPECT_EQ(first, table);
  EXPECT_EQ(zebEvaluate, first->evaluate);
  EXPECT_EQ(2U, host().countOf("hnxCreateNodeFactory"));
}

TEST_F(Entry, ReportsAFactoryThatCannotBeMade) {
  host().script.createFactory = [](int& code) {
    code = 12;
    return static_cast<HostFactory*>(nullptr);
  };
  EXPECT_EQ(nullptr, gqaGetMessageflowNodeFactory());
  EXPECT_EQ(
      Texts{std::string("2 zebpnode ") + kFactory + " | Function hnxCreateNodeFactory failed in " +
            kFactory + ". 12. | hnxCreateNodeFactory | " + kFactory + " | 12"},
      messageLines());
  EXPECT_EQ(Texts{"hnxCreateNodeFactory"}, host().callNames());
}

TEST_F(Entry, ReportsAClassThatCannotBeDefinedAndKeepsTheFactory) {
  host().script.createFactory = [](int& code) {
    code = 9;
    static char place;
    return reinterpret_cast<HostFactory*>(&place);
  };
  host().script.defineClass = [](int& code, HostNodeFunctionTable*) { code = -3; };
  EXPECT_NE(nullptr, gqaGetMessageflowNodeFactory());
  EXPECT_EQ(
      Texts{std::string("2 zebpnode ") + kFactory + " | Function hnxDefineNodeClass failed in " +
            kFactory + ". -3. | hnxDefineNodeClass | " + kFactory + " | -3"},
      messageLines());
  EXPECT_EQ(0, host().calls()[1].codeBefore);
}

TEST_F(Entry, TheSwitchIsKnownBeforeTheFirstTrace) {
  configure("ZEBNodeTrace On\n");
  HostFactory* const factory = gqaGetMessageflowNodeFactory();
  bZEBTracing = 0;
  EXPECT_EQ((Texts{"DravikMonitorNodeFactory-ComDravikMonitorNode", exitOf(factory)}),
            textsOf(kUnit, kFactory));
  EXPECT_EQ(Texts{"Exit"}, textsOf(kUnit, "getCommonValues"));
}

TEST_F(Entry, MissingMemoryForAContextIsReported) {
  failAllocations(sizeof(ZEB_Node_Context));
  EXPECT_EQ(nullptr, zebCreateNodeContext(nullptr, nullptr, instance.handle()));
  EXPECT_EQ(Texts{message1(kUnit, "zebCreateNodeContext")}, messageLines());
  EXPECT_TRUE(host().callNames().empty());
}

TEST_F(Entry, AFailedContextIsHandedOutAllTheSame) {
  host().script.createInputTerminal = [](int&) { return static_cast<HostTerminal*>(nullptr); };
  void* const context = zebCreateNodeContext(nullptr, nullptr, instance.handle());
  ASSERT_NE(nullptr, context);
  zebDeleteNodeContext(context);
}

TEST_F(Entry, WithoutAContextNothingHappens) {
  std::uint16_t buffer[8] = {7};
  zebDeleteNodeContext(nullptr);
  EXPECT_EQ(0, zebSetAttribute(nullptr, units(u"type"), units(u"x")));
  EXPECT_EQ(1, zebGetAttribute(nullptr, units(u"type"), buffer, 8));
  EXPECT_EQ(1, zebGetAttributeName(nullptr, 0, buffer, 8));
  zebEvaluate(nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(7, buffer[0]);
  EXPECT_TRUE(host().callNames().empty());
}

TEST_F(Entry, TheExportsForwardToTheContext) {
  const Tracing on;
  void* const context = zebCreateNodeContext(nullptr, nullptr, instance.handle());
  std::uint16_t buffer[32] = {};
  EXPECT_EQ(1, zebSetAttribute(context, units(u"type"), units(u"input")));
  EXPECT_EQ(0, zebSetAttribute(context, units(u"label"), units(u"NODE")));
  EXPECT_EQ(0, zebGetAttribute(context, units(u"type"), buffer, 32));
  EXPECT_EQ(u"input", std::u16string(reinterpret_cast<const char16_t*>(buffer)));
  EXPECT_EQ(1, zebGetAttribute(context, units(u"label"), buffer, 32));
  EXPECT_EQ(0, zebGetAttributeName(context, 1, buffer, 32));
  EXPECT_EQ(u"eventMessage", std::u16string(reinterpret_cast<const char16_t*>(buffer)));
  EXPECT_EQ(1, zebGetAttributeName(context, 5, buffer, 32));
  int trees[2];
  ScriptedMessage message;
  zebEvaluate(context, reinterpret_cast<HostTree*>(&trees[0]),
              reinterpret_cast<HostTree*>(&trees[1]), message.handle());
  const std::vector<const void*> handles{instance.handle(), &trees[0], &trees[1], message.handle()};
  EXPECT_EQ(handles, host().calls().back().handles);
  zebDeleteNodeContext(context);
  EXPECT_EQ(1U, entriesOf("ZEB_Node_Context::~ZEB_Node_Context"));
  expectTraced(kUnit, {{"zebCreateNodeContext", exitOf(context)},
                       {"zebSetAttribute", "Exit: 0x0"},
                       {"zebGetAttribute", "Exit: 0x1"},
                       {"zebGetAttributeName", "Exit: 0x1"},
                       {"zebEvaluate", "Exit"},
                       {"zebDeleteNodeContext", "Exit"}});
}

}  // namespace

}  // namespace entry_test
