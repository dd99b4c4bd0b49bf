// SPDX-License-Identifier: Apache-2.0
// What a configuration means, and which of its lines mean something else than they seem to.
#include "agent/model/settings.h"

#include <gtest/gtest.h>

namespace settings_test {

namespace {

using model::Restart;
using model::Setting;
using model::Settings;
using model::Trap;
using Kind = Trap::Kind;

reader::Configuration file(const std::string& text) {
  reader::Configuration file;
  file.text = text;
  return file;
}

Settings of(const std::string& text, const std::vector<std::string>& labels = {"BRK1"}) {
  return model::settingsOf(file(text), labels);
}

Setting setting(const std::string& text, const std::string& key) {
  for (const Setting& one : of(text).settings) {
    if (one.key == key) return one;
  }
  throw std::runtime_error(key);
}

std::string effective(const std::string& text, const std::string& key) {
  return setting(text, key).effective;
}

// The only trap; a test failure when there is none or another one.
Trap trap(const std::string& text) {
  const Settings settings = of(text);
  EXPECT_EQ(1U, settings.traps.size()) << text;
  return settings.traps.empty() ? Trap() : settings.traps[0];
}

void expectTrap(const std::string& text, Kind kind, std::size_t line, const std::string& write) {
  const Trap found = trap(text);
  EXPECT_EQ(kind, found.kind) << text;
  EXPECT_EQ(line, found.line) << text;
  EXPECT_EQ(write, found.write) << text;
}

void expectNone(const std::string& text) {
  EXPECT_TRUE(of(text).traps.empty()) << text;
}

}  // namespace

TEST(Settings, AreAllKeysWithTheirDefaults) {
  std::vector<std::string> keys;
  for (const Setting& one : of("", {"BRK1", "B2", "BRK1"}).settings) {
    keys.push_back(one.key);
    EXPECT_EQ(0U, one.line);
    EXPECT_TRUE(one.isDefault);
    EXPECT_EQ("", one.raw);
  }
  EXPECT_EQ((std::vector<std::string>{"ZEBNodeTrace", "ZEBActivateNode", "ZEBActivateNodeForBRK1",
                                      "ZEBActivateNodeForB2", "ZEBTempDirectory", "ZEBMemorySize"}),
            keys);
  EXPECT_EQ("off", effective("", "ZEBNodeTrace"));
  EXPECT_EQ("NoOverride", effective("", "ZEBActivateNode"));
  EXPECT_EQ("NoOverride", effective("", "ZEBActivateNodeForBRK1"));
  EXPECT_EQ("/tmp/", effective("", "ZEBTempDirectory"));
  EXPECT_EQ("32768", effective("", "ZEBMemorySize"));
}

TEST(Settings, HaveTheLineThatDecidesAndWhatItComesTo) {
  const Setting one = setting("# x\nZEBTempDirectory =/run/zeb rest\r\n", "ZEBTempDirectory");
  EXPECT_EQ(2U, one.line);
  EXPECT_EQ("ZEBTempDirectory =/run/zeb rest", one.raw);
  EXPECT_EQ("/run/zeb", one.value);
  EXPECT_EQ("/run/zeb/", one.effective);
  EXPECT_FALSE(one.isDefault);
  EXPECT_TRUE(setting("ZEBTempDirectory /tmp\n", "ZEBTempDirectory").isDefault);
}

TEST(Settings, OfTracingOnlyOnInTheseLettersIsOn) {
  EXPECT_EQ("on", effective("ZEBNodeTrace On", "ZEBNodeTrace"));
  EXPECT_EQ("off", effective("ZEBNodeTrace on", "ZEBNodeTrace"));
}

TEST(Settings, OfActivationTextsCaseDoesNotCount) {
  for (const char* const text :
       {"NoOverride", "Yes", "No", "EventOnly", "InputOutputOnly", "InputOutputAndEventOnly"}) {
    EXPECT_EQ(text, effective(std::string("ZEBActivateNode ") + text, "ZEBActivateNode"));
  }
  EXPECT_EQ("EventOnly", effective("ZEBActivateNode eVENToNLY", "ZEBActivateNode"));
  EXPECT_EQ("NoOverride", effective("ZEBActivateNode Maybe", "ZEBActivateNode"));
}

TEST(Settings, ForABrokerTheProcessWideOneCountsUnlessItsOwnMeansSomething) {
  const std::string wide = "ZEBActivateNode Yes\n";
  const std::string key = "ZEBActivateNodeForBRK1";
  EXPECT_EQ("Yes", effective(wide, key));
  EXPECT_TRUE(setting(wide, key).isDefault);
  EXPECT_EQ("Yes", effective(wide + key + " Maybe\n", key));
  EXPECT_TRUE(setting(wide + key + " Maybe\n", key).isDefault);
  EXPECT_EQ("No", effective(wide + key + " no\n", key));
  EXPECT_EQ("NoOverride", effective(wide + key + " NoOverride\n", key));
  EXPECT_FALSE(setting(wide + key + " NoOverride\n", key).isDefault);
}

TEST(Settings, TheMemorySizeIsThatOfTheLibrary) {
  const auto size = [](const std::string& value) {
    return effective("ZEBMemorySize " + value, "ZEBMemorySize");
  };
  EXPECT_EQ("65536", size("65536"));
  EXPECT_EQ("4096", size("0"));
  EXPECT_EQ("4096", size("x"));
  EXPECT_EQ("2147483647", size("-1"));
  EXPECT_EQ("5000", size("4294972296"));
  EXPECT_EQ("32768", size("= 65536"));
}

TEST(Settings, InADirectoryAreFilesAndHaveNoTraps) {
  reader::Configuration folder;
  folder.directory = true;
  folder.files = {{"ZEBMemorySize", "\n=8192 x"}};
  const Settings settings = model::settingsOf(folder, {});
  EXPECT_EQ("8192", settings.settings.back().effective);
  EXPECT_EQ("8192", settings.settings.back().raw);
  EXPECT_EQ(2U, settings.settings.back().line);
  EXPECT_TRUE(settings.traps.empty());
}

TEST(SettingTraps, ABlankBehindTheEqualsSign) {
  expectTrap("ZEBMemorySize = 65536\n", Kind::blankAroundEquals, 1, "ZEBMemorySize=65536");
  expectTrap("#\nZEBMemorySize= 65536\n", Kind::blankAroundEquals, 2, "ZEBMemorySize=65536");
  expectTrap("ZEBMemorySize =\n", Kind::blankAroundEquals, 1, "ZEBMemorySize=32768");
  expectNone("ZEBMemorySize =65536\n");
  EXPECT_EQ("ZEBMemorySize = 65536", trap("ZEBMemorySize = 65536\r\n").raw);
  EXPECT_EQ("ZEBMemorySize", trap("ZEBMemorySize = 65536\n").key);
}

TEST(SettingTraps, TwoEqualsSigns) {
  expectTrap("ZEBTempDirectory==/a\n", Kind::doubleEquals, 1, "ZEBTempDirectory=/a");
}

TEST(SettingTraps, AKeyThatBeginsAlike) {
  expectTrap("ZEBNodeTraceLevel 3\n", Kind::longerKey, 1, "ZEBNodeTrace=Off");
  expectTrap("ZEBActivateNodeForBRK12 Yes\n", Kind::longerKey, 1,
             "ZEBActivateNodeForBRK1=NoOverride");
  const Settings both = of("ZEBNodeTraceLevel 3\nZEBNodeTrace On\n");
  ASSERT_EQ(2U, both.traps.size());
  EXPECT_EQ(Kind::longerKey, both.traps[0].kind);
  EXPECT_EQ("ZEBNodeTrace=On", both.traps[0].write);
  EXPECT_EQ(Kind::neverReached, both.traps[1].kind);
  EXPECT_EQ(1U, both.traps[1].decidedBy);
  expectNone("ZEBNodeTrace On\nZEBNodeTraceLevel 3\n");
  expectNone("ZEBActivateNodeForBRK1 Yes\nZEBActivateNodeForBRK12 No\n");
  expectNone("ZEBActivateNodeForOTHER Yes\n");
}

TEST(SettingTraps, BlanksInFrontOfAFirstLine) {
  expectTrap(" ZEBMemorySize 65536\n", Kind::blanksInFront, 1, "ZEBMemorySize 65536");
  expectTrap("\n\n\tZEBMemorySize 65536\n", Kind::blanksInFront, 3, "ZEBMemorySize 65536");
  expectNone("#\n ZEBMemorySize 65536\n");
  expectNone("#\n\n ZEBMemorySize 65536\n");
  expectNone(" # ZEBMemorySize 65536\n");
}

TEST(SettingTraps, AKeyInOtherLetters) {
  expectTrap("zebmemorysize 65536\n", Kind::keyCase, 1, "ZEBMemorySize=65536");
  expectTrap("ZebActivateNodeForBrk1 =Yes\n", Kind::keyCase, 1, "ZEBActivateNodeForBRK1=Yes");
  expectTrap("ZEBMEMORYSIZE\n", Kind::keyCase, 1, "ZEBMemorySize=32768");
  expectNone("zebmemorysizes 5\n");
}

TEST(SettingTraps, ValuesThatMeanNothing) {
  expectTrap("ZEBNodeTrace ON\n", Kind::valueCase, 1, "ZEBNodeTrace=On");
  expectTrap("ZEBNodeTrace 1\n", Kind::unknownValue, 1, "ZEBNodeTrace=Off");
  expectTrap("ZEBActivateNode Maybe\n", Kind::unknownValue, 1, "ZEBActivateNode=NoOverride");
  expectTrap("ZEBActivateNodeForBRK1 x\n", Kind::unknownValue, 1,
             "ZEBActivateNodeForBRK1=NoOverride");
  expectNone("ZEBNodeTrace off\n");
  expectNone("ZEBNodeTrace On\nZEBActivateNode yes\n");
}

TEST(SettingTraps, SizesThatAreTakenForOthers) {
  expectTrap("ZEBMemorySize 64k\n", Kind::notANumber, 1, "ZEBMemorySize=65536");
  expectTrap("ZEBMemorySize 1M\n", Kind::notANumber, 1, "ZEBMemorySize=1048576");
  expectTrap("ZEBMemorySize 1g\n", Kind::notANumber, 1, "ZEBMemorySize=1073741824");
  expectTrap("ZEBMemorySize 2g\n", Kind::notANumber, 1, "ZEBMemorySize=4096");
  expectTrap("ZEBMemorySize -1\n", Kind::notANumber, 1, "ZEBMemorySize=2147483647");
  expectTrap("ZEBMemorySize much\n", Kind::notANumber, 1, "ZEBMemorySize=4096");
  expectTrap("ZEBMemorySize 4095\n", Kind::otherNumber, 1, "ZEBMemorySize=4096");
  expectTrap("ZEBMemorySize 000\n", Kind::otherNumber, 1, "ZEBMemorySize=4096");
  expectTrap("ZEBMemorySize 4294972296\n", Kind::otherNumber, 1, "ZEBMemorySize=5000");
  expectTrap("ZEBMemorySize 1431655755\n", Kind::tooLarge, 1, "ZEBMemorySize=1431655754");
  expectNone("ZEBMemorySize 1431655754\n");
  expectNone("ZEBMemorySize 04096\n");
}

TEST(SettingTraps, WhatIsNotRead) {
  expectTrap("ZEBTempDirectory /my files\n", Kind::restIgnored, 1, "ZEBTempDirectory=/my");
  expectTrap("ZEBTempDirectory\n", Kind::noValue, 1, "ZEBTempDirectory=/tmp/");
  expectTrap("ZEBTempDirectory /a\nZEBTempDirectory /b\n", Kind::neverReached, 2, "");
  EXPECT_EQ(1U, trap("ZEBTempDirectory /a\nZEBTempDirectory /b\n").decidedBy);
  expectNone("ZEBTempDirectory /a \t\r\n");
  expectNone("ZEBNodeTrace On # for a test\n");
}

TEST(SettingTraps, HostileFilesGiveBoundedlyMany) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += "zebnodetrace on\n";
  EXPECT_EQ(Settings::kMostTraps, of(text).traps.size());
  const Trap cut = trap("ZEBTempDirectory = " + std::string(100000, 'x'));
  EXPECT_EQ(511U, cut.raw.size());
  of(std::string("\0\xFF\n\0ZEBMemorySize\0=5", 21));
  of(std::string(100000, '\n') + std::string(1000, ' '));
  of("ZEBMemorySize" + std::string(600, ' ') + "5");
}

namespace {

// A group of the orders broker that started 1000 s after boot, and a file of 1100 s after.
model::Snapshot running() {
  auto machine = std::make_shared<model::Machine>();
  machine->clocks.bootTime = 1'000'000;
  machine->clocks.wall = std::chrono::seconds(1'002'000);
  machine->clocks.sinceBoot = std::chrono::seconds(2000);
  machine->clocks.ticksPerSecond = 100;
  machine->configuration.modified = 1'001'100;
  reader::Process& process = machine->processes[42];
  process.id = 42;
  process.exists = true;
  process.startTicks = 100'000;
  model::SeenBroker broker;
  broker.tree.emplace();
  broker.tree->executionGroups.push_back(
      {.label = "orders", .uuid = {}, .processId = 42, .recordId = {}, .messageFlows = {}});
  reader::Area area;
  area.name = "statistics";
  area.size = 32768;
  broker.segment.copy.areas.push_back(area);
  model::Snapshot snapshot;
  snapshot.machine = machine;
  snapshot.brokers.push_back(std::make_shared<const model::SeenBroker>(broker));
  return snapshot;
}

model::Machine& machineOf(model::Snapshot& snapshot) {
  return const_cast<model::Machine&>(*snapshot.machine);
}

}  // namespace

TEST(Restarts, AreNeededWhenTheFileIsYoungerThanAProcess) {
  model::Snapshot snapshot = running();
  std::vector<Restart> restarts = model::restartsOf(snapshot);
  ASSERT_EQ(1U, restarts.size());
  EXPECT_EQ(Restart::Why::fileIsYounger, restarts[0].why);
  EXPECT_EQ("orders", restarts[0].group);
  EXPECT_EQ(42, restarts[0].process);
  EXPECT_EQ(1'001'000, restarts[0].started);
  machineOf(snapshot).configuration.modified = 1'001'000;
  EXPECT_TRUE(model::restartsOf(snapshot).empty());
}

TEST(Restarts, AreNotAskedOfTheDeadNorOfUnknownOnes) {
  model::Snapshot snapshot = running();
  machineOf(snapshot).processes[42].exists = false;
  EXPECT_TRUE(model::restartsOf(snapshot).empty());
  machineOf(snapshot).processes[42].exists = true;
  machineOf(snapshot).processes[42].startTicks.reset();
  EXPECT_TRUE(model::restartsOf(snapshot).empty());
  machineOf(snapshot).processes.clear();
  EXPECT_TRUE(model::restartsOf(snapshot).empty());
  snapshot.machine.reset();
  EXPECT_TRUE(model::restartsOf(snapshot).empty());
}

TEST(Restarts, AreNeededForAnotherSizeOfTheAreas) {
  model::Snapshot snapshot = running();
  machineOf(snapshot).configuration.modified = 0;
  machineOf(snapshot).configuration.text = "ZEBMemorySize 65536\n";
  const std::vector<Restart> restarts = model::restartsOf(snapshot);
  ASSERT_EQ(1U, restarts.size());
  EXPECT_EQ(Restart::Why::otherSize, restarts[0].why);
  EXPECT_EQ(32768U, restarts[0].area);
  EXPECT_EQ(65536U, restarts[0].configured);
  EXPECT_EQ(snapshot.brokers[0], restarts[0].broker);
  machineOf(snapshot).configuration.text = "ZEBMemorySize 32768\n";
  EXPECT_TRUE(model::restartsOf(snapshot).empty());
}

}  // namespace settings_test
