// SPDX-License-Identifier: Apache-2.0
// Where settings are looked for, and what a line of the configuration file means.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/ipc_objects.h"
#include "tests/support/plugin.h"

namespace configuration_test {

using namespace support;

namespace fs = std::filesystem;

namespace {

using Configuration = PluginBeforeStart;

bool tracing() {
  host().forget();
  table().deleteContext(nullptr);
  return !host().trace().empty();
}

// Whether this text of the configuration file switches tracing on.
bool switchesOn(const std::string& text) {
  writeFile(kConfiguration, "ZEBNodeTrace Off\n");
  readCommonValues();
  writeFile(kConfiguration, text);
  readCommonValues();
  return tracing();
}

TEST_F(Configuration, WithoutAFileTracingIsOffAndNothingIsLeft) {
  startLibrary();
  EXPECT_FALSE(tracing());
  EXPECT_FALSE(fs::exists("/tmp/zebregtemp"));
}

TEST_F(Configuration, TheFirstFolderComesBeforeTheSecond) {
  writeFile("/opt/orva/lil/zebpnode.cfg", "ZEBNodeTrace On\n");
  writeFile("/tmp/zebregtemp", "a probe would remove this");
  startLibrary("ZEBNodeTrace Off\n");
  EXPECT_FALSE(tracing());
  EXPECT_TRUE(fs::remove("/tmp/zebregtemp"));
}

TEST_F(Configuration, TheSecondFolderIsReadWithoutAProbe) {
  writeFile("/opt/orva/lil/zebpnode.cfg", "ZEBNodeTrace On\n");
  writeFile("/tmp/zebregtemp", "a probe would remove this");
  startLibrary();
  EXPECT_TRUE(tracing());
  EXPECT_TRUE(fs::remove("/tmp/zebregtemp"));
}

TEST_F(Configuration, TheInstallationOfTheFirstVersionIsProbed) {
  writeFile("/var/orva/install.properties", "other=5.0\nfound at /opt/inst60=6.0 =x\n");
  writeFile("/opt/inst60/lil/zebpnode.cfg", "ZEBNodeTrace On\n");
  startLibrary();
  EXPECT_TRUE(tracing());
  EXPECT_FALSE(fs::exists("/tmp/zebregtemp"));
}

TEST_F(Configuration, TheInstallationOfTheSecondVersionIsProbedAfterTheFirst) {
  writeFile("/var/orva/install.properties", "/opt/inst60=6.0\n/opt/inst61=6.1\n/opt/inst62=6.2\n");
  writeFile("/opt/inst61/lil/zebpnode.cfg", "ZEBNodeTrace On\n");
  writeFile("/opt/inst62/lil/zebpnode.cfg", "ZEBNodeTrace Off\n");
  startLibrary();
  EXPECT_TRUE(tracing());
}

TEST_F(Configuration, NoOtherVersionIsProbed) {
  writeFile("/var/orva/install.properties", "/opt/inst62=6.2\n/opt/inst7=7.0\n");
  writeFile("/opt/inst62/lil/zebpnode.cfg", "ZEBNodeTrace On\n");
  writeFile("/opt/inst7/lil/zebpnode.cfg", "ZEBNodeTrace On\n");
  startLibrary();
  EXPECT_FALSE(tracing());
}

TEST_F(Configuration, APropertiesLineWithoutAFolderFindsNothing) {
  writeFile("/var/orva/install.properties", "version=6.0\n/opt/nothing follows\n");
  startLibrary();
  EXPECT_FALSE(tracing());
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Configuration, AnEndlessInstallationLineFindsNothing) {
  writeFile("/var/orva/install.properties",
            "/" + std::string(5000, 'd') + "=6.0\n/" + std::string(600, 'd') + "=6.1\n");
  startLibrary();
  EXPECT_FALSE(tracing());
}

TEST_F(Configuration, ThePathIsResolvedOnceAndTheFileReadEachTime) {
  startLibrary();
  EXPECT_FALSE(tracing());
  writeFile("/opt/orva/lil/zebpnode.cfg", "ZEBNodeTrace On\n");
  startLibrary("ZEBNodeTrace On\n");
  EXPECT_FALSE(tracing()) << "the path of the first time is kept, though it does not exist";
}

TEST_F(Configuration, AChangeIsSeenAtTheNextRead) {
  startLibrary("ZEBNodeTrace On\n");
  EXPECT_TRUE(tracing());
  writeFile(kConfiguration, "ZEBNodeTrace Off\n");
  EXPECT_TRUE(tracing());
  readCommonValues();
  EXPECT_FALSE(tracing());
}

TEST_F(Configuration, AWordMayFollowItsKeyInTheseWays) {
  startLibrary("");
  for (const char* line :
       {"ZEBNodeTrace On\n", "ZEBNodeTrace=On\n", "ZEBNodeTrace =On\n", "ZEBNodeTraceOn\n",
        "ZEBNodeTrace\tOn\n", "ZEBNodeTrace     On\n", "ZEBNodeTrace On and more\n",
        "ZEBNodeTrace On", "ZEBNodeTrace On\r\n", "# first\nZEBNodeTrace On\n",
        "#\n   ZEBNodeTrace On\n", "\nZEBNodeTrace On\n", "\n\n\nZEBNodeTrace On\n",
        "a\n\n\nZEBNodeTrace On\n", "ZEBNodeTrace\nZEBNodeTrace On\n",
        "ZEBNodeTrace   \nZEBNodeTrace On\n", "zebnodetrace Off\nZEBNodeTrace On\n"}) {
    EXPECT_TRUE(switchesOn(line)) << line;
  }
}

TEST_F(Configuration, AWordIsSomethingElseInThese) {
  startLibrary("");
  for (const char* line :
       {"ZEBNodeTrace on\n", "ZEBNodeTrace ON\n", "ZEBNodeTrace = On\n", "ZEBNodeTrace ==On\n",
        "ZEBNodeTrace Off\nZEBNodeTrace On\n", "ZEBNodeTrace =\nZEBNodeTrace On\n",
        "ZEBNodeTraceLevel 3\nZEBNodeTrace On\n", "  ZEBNodeTrace On\n", "#ZEBNodeTrace On\n",
        "ZEBNodeTrace Only\n", "NodeTrace On\n", ""}) {
    EXPECT_FALSE(switchesOn(line)) << line;
  }
}

TEST_F(Configuration, TooLongALineIsPassedOver) {
  startLibrary("");
  EXPECT_TRUE(switchesOn(std::string(100000, 'x') + "\nZEBNodeTrace On\n"));
  EXPECT_TRUE(switchesOn("ZEBNodeTrace On " + std::string(100000, 'x') + "\n"));
  EXPECT_FALSE(switchesOn("ZEBNodeTrace " + std::string(5000, 'O') + "\n"));
  EXPECT_FALSE(switchesOn(std::string(510, 'x') + std::string(3000, ' ') + "ZEBNodeTrace On\n"));
}

TEST_F(Configuration, ABinaryFileSwitchesNothing) {
  startLibrary("");
  std::string bytes;
  for (int i = 0; i < 20000; ++i) bytes.push_back(static_cast<char>(i * 7919 % 256));
  EXPECT_FALSE(switchesOn(bytes));
  EXPECT_FALSE(switchesOn(std::string(3000, '\0')));
}

TEST_F(Configuration, AFolderInPlaceOfTheFileHoldsAFilePerKey) {
  writeFile(std::string(kConfiguration) + "/ZEBNodeTrace", "  On\n");
  startLibrary();
  EXPECT_TRUE(tracing());
  fs::remove_all(kConfiguration);
  fs::create_directories(std::string(kConfiguration) + "/ZEBNodeTrace");
  readCommonValues();
  EXPECT_FALSE(tracing());
}

TEST_F(Configuration, AnUnreadableFileGivesTheDefaults) {
  startLibrary("ZEBNodeTrace On\n");
  fs::remove(kConfiguration);
  readCommonValues();
  EXPECT_FALSE(tracing());
}

TEST_F(Configuration, LabelsThatLookLikeFormatsAreMatchedAsTheyStand) {
  writeFile("/var/holt/registry/B%n%s/BrokerUUID", "UUID4");
  startLibrary("ZEBActivateNodeForB%n%s No\nZEBNodeTrace On\n");
  const auto node = deploy({.label = u"%n%n"}, {.broker = u"B%n%s"});
  host().forget();
  node->send();
  EXPECT_EQ((std::vector<std::string>{"hnxPropagate"}), host().callNames());
  node->set("label", std::u16string(3000, u'%'));
}

bool measures() {
  NodeContext node;
  node.set(attributesOf({.label = u"N", .activateNode = u"yes"}));
  host().forget();
  node.send();
  return host().countOf("hnxBufferSize") != 0;
}

TEST_F(Configuration, TheBrokersLineIsNotTakenForTheLineForAll) {
  startLibrary("ZEBActivateNodeForBRK1 No\nZEBActivateNode Yes\n");
  EXPECT_FALSE(measures());
  writeFile("/var/holt/registry/BRK2/BrokerUUID", "UUID2");
  const auto elsewhere = deploy({.activateNode = u"no"}, {.broker = u"BRK2"});
  host().forget();
  elsewhere->send();
  EXPECT_EQ(1U, host().countOf("hnxBufferSize")) << "the word for all is Yes";
}

TEST_F(Configuration, NoOverrideTakesAnEarlierOverrideBack) {
  startLibrary("ZEBActivateNode No\n");
  EXPECT_FALSE(measures());
  startLibrary("");
  EXPECT_FALSE(measures()) << "an absent key leaves it";
  startLibrary("ZEBActivateNode =\n");
  EXPECT_FALSE(measures()) << "an empty word leaves it";
  startLibrary("ZEBActivateNode nooverride\n");
  EXPECT_TRUE(measures());
  EXPECT_TRUE(host().messages().empty());
}

TEST_F(Configuration, EveryWordOfTheOverrideIsKnownInAnyLetterCase) {
  startLibrary("");
  const std::pair<const char*, bool> words[] = {{"Yes", true},
                                                {"YES", true},
                                                {"No", false},
                                                {"no", false},
                                                {"EventOnly", false},
                                                {"INPUTOUTPUTONLY", false},
                                                {"inputoutputandeventonly", false},
                                                {"yes", true}};
  for (const auto& [word, measured] : words) {
    startLibrary(std::string("ZEBActivateNode ") + word + "\n");
    EXPECT_EQ(measured, measures()) << word;
    startLibrary(std::string("ZEBActivateNode ") + (measured ? "No" : "Yes") +
                 "\nZEBActivateNodeForBRK1 " + word + "\n");
    EXPECT_EQ(measured, measures()) << word << " for the broker";
  }
}

TEST_F(Configuration, AnOverrideIsFixedWhenTheContextIsMade) {
  startLibrary("ZEBActivateNode No\n");
  NodeContext node;
  startLibrary("ZEBActivateNode Yes\n");
  node.set(attributesOf({}));
  host().forget();
  node.send();
  EXPECT_EQ(0U, host().countOf("hnxBufferSize"));
}

TEST_F(Configuration, TheTemporaryDirectoryIsReadOncePerProcess) {
  fs::create_directories("/tmp/keys");
  startLibrary("ZEBTempDirectory /tmp/keys\n");
  for (int round = 0; round < 2; ++round) {
    const auto node = deploy({});
    EXPECT_TRUE(segmentOf("/tmp/keys/UUID1.zebcshme"));
    EXPECT_TRUE(keyFiles("/tmp").empty());
    writeFile(kConfiguration, "ZEBTempDirectory /tmp/\n");
  }
  EXPECT_TRUE(fs::remove("/tmp/keys")) << "it is empty again";
}

TEST_F(Configuration, ATemporaryDirectoryKeepsItsSlash) {
  fs::create_directories("/var/keys");
  startLibrary("ZEBTempDirectory=/var/keys/\n");
  const auto node = deploy({});
  EXPECT_TRUE(segmentOf("/var/keys/UUID1.zebcshme"));
  EXPECT_TRUE(semaphoreOf("/var/keys/UUID1.zebcstar.zebmutx"));
}

struct Size {
  const char* line;
  unsigned long segment;
};

class MemorySize : public PluginBeforeStart, public testing::WithParamInterface<Size> {};

TEST_P(MemorySize, GivesTheSegmentThreeAreasOfItAndAHeader) {
  startLibrary(GetParam().line);
  const auto node = deploy({.eventMessage = u"text"});
  node->send();
  const auto segment = segmentOf("/tmp/UUID1.zebcshme");
  ASSERT_TRUE(segment);
  EXPECT_EQ(GetParam().segment, segment->size);
  const auto blocks = blocksOf(bytesOf(*segment));
  ASSERT_EQ(3U, blocks.size());
  for (const Block& block : blocks) EXPECT_EQ((GetParam().segment - 32) / 3, block.size);
  EXPECT_EQ(1, statisticsOf(u"NODE1").count());
}

INSTANTIATE_TEST_SUITE_P(Lines, MemorySize,
                         testing::Values(Size{"", 98336}, Size{"ZEBMemorySize =\n", 98336},
                                         Size{"ZEBMemorySize 100\n", 12320},
                                         Size{"ZEBMemorySize 0\n", 12320},
                                         Size{"ZEBMemorySize abc\n", 12320},
                                         Size{"ZEBMemorySize 4096\n", 12320},
                                         Size{"ZEBMemorySize 4097\n", 12323},
                                         Size{"ZEBMemorySize=65536 bytes\n", 196640},
                                         Size{"ZEBMemorySize 8192kB\n", 24608}));

// Three times the size passes 4 GiB here, and the sum is cut to 32 bits: the statistics area then
// ends two bytes behind the segment, inside its last page.
TEST_F(Configuration, ANegativeMemorySizeIsTheLargestAndTheSumWraps) {
  startLibrary("ZEBMemorySize -1\n");
  const auto node = deploy({});
  const auto segment = segmentOf("/tmp/UUID1.zebcshme");
  ASSERT_TRUE(segment);
  EXPECT_EQ(2147483677UL, segment->size);
  const auto second = deploy({.label = u"NODE2"});
  node->send();
  const WritableSegment memory;
  const Bytes start(memory.at(0), memory.at(4096));
  const auto records = recordsOf(start, blockAt(start, 32));
  ASSERT_EQ(7U, records.size());
  EXPECT_EQ(1, records[4].count());
  EXPECT_EQ(0, records[6].count());
}

TEST_F(Configuration, ASegmentThatWrapsToNothingLeavesTheNodeUnmeasured) {
  startLibrary("ZEBMemorySize 1431655755\n");
  const auto node = deploy({.eventMessage = u"text"});
  const auto segment = segmentOf("/tmp/UUID1.zebcshme");
  ASSERT_TRUE(segment);
  EXPECT_EQ(1UL, segment->size);
  host().forget();
  node->send();
  EXPECT_EQ(1U, host().countOf("hnxPropagate"));
}

}  // namespace

}  // namespace configuration_test
