// SPDX-License-Identifier: Apache-2.0
// How a value is looked up, in a configuration file and in a registry directory.
#include "base/settings.h"

#include <filesystem>
#include <fstream>

#include "base/memory_size.h"
#include "tests/support/failing.h"
#include "tests/support/library_test.h"

namespace settings_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kUnit[] = "zebctool";
constexpr char kGet[] = "ZEB_GetRegistryValue";
constexpr char kFind[] = "ZEB_FindRegistryValue";
constexpr char kFile[] = "/opt/test.cfg";
constexpr char kDirectory[] = "/opt/registry";

class Lookup : public LibraryTest {
 protected:
  void TearDown() override {
    fs::remove(kFile);
    fs::remove_all(kDirectory);
    LibraryTest::TearDown();
  }

  static std::string value(const std::string& content, const std::string& name) {
    std::ofstream(kFile) << content;
    const ZEB_String found = ZEB_GetRegistryValue(kFile, name.c_str());
    EXPECT_TRUE(found.OK());
    return found.getcValue();
  }

  static std::string registered(const std::string& content) {
    fs::create_directories(kDirectory);
    std::ofstream(std::string(kDirectory) + "/BrokerUUID") << content;
    return ZEB_GetRegistryValue(kDirectory, "BrokerUUID").getcValue();
  }
};

TEST_F(Lookup, TakesTheWordBehindTheKey) {
  EXPECT_EQ("word", value("KEY word\n", "KEY"));
  EXPECT_EQ("word", value("KEY=word\n", "KEY"));
  EXPECT_EQ("word", value("KEY =word\n", "KEY"));
  EXPECT_EQ("word", value("KEYword\n", "KEY"));
  EXPECT_EQ("word", value("KEY \t  word\n", "KEY"));
  EXPECT_EQ("word", value("KEY word and more\n", "KEY"));
  EXPECT_EQ("word", value("KEY word\tmore\n", "KEY"));
  EXPECT_EQ("word", value("KEY word\r\n", "KEY"));
  EXPECT_EQ("word", value("KEY word", "KEY"));
  EXPECT_EQ("w=x", value("KEY w=x\n", "KEY"));
}

TEST_F(Lookup, DropsOneEqualsSignAndNoMore) {
  EXPECT_EQ("=word", value("KEY==word\n", "KEY"));
  EXPECT_EQ("", value("KEY=\n", "KEY"));
  EXPECT_EQ("", value("KEY = word\n", "KEY"));
  EXPECT_EQ("", value("KEY= word\n", "KEY"));
}

TEST_F(Lookup, AKeyBeginsTheLineExactly) {
  EXPECT_EQ("", value("XKEY word\n", "KEY"));
  EXPECT_EQ("", value("key word\n", "KEY"));
  EXPECT_EQ("", value("KE word\n", "KEY"));
  EXPECT_EQ("", value("# KEY word\n", "KEY"));
  EXPECT_EQ("", value("x\nxKEY word\n", "KEY"));
  EXPECT_EQ("", value("", "KEY"));
  EXPECT_EQ("", value("\n", "KEY"));
}

TEST_F(Lookup, BlanksThatBeginALineAreSkippedOnAllButTheFirst) {
  EXPECT_EQ("", value("  KEY word\n", "KEY"));
  EXPECT_EQ("word", value("x\n  KEY word\n", "KEY"));
  EXPECT_EQ("word", value("x\n\n\n\t KEY word\n", "KEY"));
}

TEST_F(Lookup, TheFirstMatchWins) {
  EXPECT_EQ("first", value("KEY first\nKEY second\n", "KEY"));
  EXPECT_EQ("second", value("OTHER first\nKEY second\nKEY third", "KEY"));
  EXPECT_EQ("", value("KEY = first\nKEY second\n", "KEY"));
}

TEST_F(Lookup, AKeyWithNothingBehindItIsNoMatch) {
  EXPECT_EQ("second", value("KEY\nKEY second\n", "KEY"));
  EXPECT_EQ("second", value("KEY  \t\nKEY second\n", "KEY"));
}

TEST_F(Lookup, AnEmptyFirstLineIsPassed) {
  EXPECT_EQ("word", value("\nKEY word\n", "KEY"));
  EXPECT_EQ("word", value("\n\n\nKEY word\n", "KEY"));
  EXPECT_EQ("", value("\n  KEY word\n", "KEY")) << "the one behind it keeps its blanks";
}

TEST_F(Lookup, TheKeyForAllIsProtectedFromThatForOne) {
  const std::string file = "ZEBActivateNodeForBRK1 No\nZEBActivateNode Yes\n";
  EXPECT_EQ("Yes", value(file, "ZEBActivateNode"));
  EXPECT_EQ("No", value(file, "ZEBActivateNodeForBRK1"));
  EXPECT_EQ("", value("ZEBActivateNodeForBRK1 No\n", "ZEBActivateNode"));
  EXPECT_EQ("", value("ZEBActivateNodeForBRK1=No\n", "ZEBActivateNode"));
  EXPECT_EQ("Yes", value("ZEBActivateNodeFor BRK1\nZEBActivateNode=Yes\n", "ZEBActivateNode"));
  EXPECT_EQ("For", value("ZEBActivateNodeFor\n", "ZEBActivateNode"));
  EXPECT_EQ("Fox", value("ZEBActivateNodeFox\n", "ZEBActivateNode"));
}

TEST_F(Lookup, NothingElseIsProtected) {
  EXPECT_EQ("2", value("ZEBActivateNodeForBRK12 Yes\nZEBActivateNodeForBRK1 No\n",
                       "ZEBActivateNodeForBRK1"));
  EXPECT_EQ("Level", value("ZEBNodeTraceLevel 3\n", "ZEBNodeTrace"));
  EXPECT_EQ("NodeForBRK1", value("ZEBActivateNodeForBRK1 No\n", "ZEBActivate"));
  EXPECT_EQ("BRK1", value("ZEBActivateNodeForBRK1 No\n", "ZEBActivateNodeFor"));
}

TEST_F(Lookup, ABlankInTheNameIsAnyRunOfBlanks) {
  EXPECT_EQ("word", value("MY  BROKER word\n", "MY BROKER"));
  EXPECT_EQ("word", value("MYBROKER word\n", "MY BROKER"));
  EXPECT_EQ("", value("MY_BROKER word\n", "MY BROKER"));
}

TEST_F(Lookup, AFormatInTheNameIsText) {
  EXPECT_EQ("word", value("K%s%n word\n", "K%s%n"));
  EXPECT_EQ("", value("Kabc word\n", "K%s"));
}

TEST_F(Lookup, LinesAreReadUpTo511Characters) {
  const std::string word(507, 'x');
  EXPECT_EQ(word, value("KEY " + word + "\n", "KEY"));
  EXPECT_EQ(word, value("KEY " + word + "y\n", "KEY"));
  EXPECT_EQ("word", value(std::string(511, 'x') + "\nKEY word\n", "KEY"));
  EXPECT_EQ("word", value(std::string(512, 'x') + "\nKEY word\n", "KEY"));
  EXPECT_EQ("word", value(std::string(100000, 'x') + "\nKEY word\n", "KEY"));
  EXPECT_EQ("", value(std::string(511, 'x') + "KEY word\n", "KEY"));
}

TEST_F(Lookup, AWordHas511CharactersAtMost) {
  EXPECT_EQ(std::string(511, 'x'), registered(std::string(511, 'x')));
  EXPECT_EQ(std::string(511, 'x'), registered(std::string(512, 'x') + "\n"));
}

TEST_F(Lookup, ABinaryFileIsPassed) {
  EXPECT_EQ("word", value(std::string("\0\x80\xFF\n\nKEY word\n", 14), "KEY"));
}

TEST_F(Lookup, AValueFileGivesItsFirstWord) {
  EXPECT_EQ("uuid", registered("uuid\n"));
  EXPECT_EQ("uuid", registered("=uuid\n"));
  EXPECT_EQ("uuid", registered("  uuid more\nother\n"));
  EXPECT_EQ("uuid", registered("\nuuid\n"));
  EXPECT_EQ("", registered("= uuid\n"));
  EXPECT_EQ("", registered(""));
  EXPECT_EQ("BrokerUUID", registered("BrokerUUID x\n"));
}

TEST_F(Lookup, ADirectoryInThePlaceOfAValueIsEmpty) {
  fs::create_directories(std::string(kDirectory) + "/BrokerUUID");
  EXPECT_EQ(0U, ZEB_GetRegistryValue(kDirectory, "BrokerUUID").size());
}

TEST_F(Lookup, WithoutPathNameOrFileIsEmpty) {
  EXPECT_EQ(0U, ZEB_GetRegistryValue(nullptr, "KEY").size());
  EXPECT_EQ(0U, ZEB_GetRegistryValue(kFile, nullptr).size());
  EXPECT_EQ(0U, ZEB_GetRegistryValue(kFile, "KEY").size());
  EXPECT_EQ(0U, ZEB_GetRegistryValue(std::string(5000, 'x').c_str(), "KEY").size());
  fs::create_directories(kDirectory);
  EXPECT_EQ(0U, ZEB_GetRegistryValue(kDirectory, "KEY").size());
  EXPECT_TRUE(host().log().empty());
}

TEST_F(Lookup, AFileThatFindsNoMemoryIsNotTakenForAnEmptyOne) {
  std::ofstream(kFile) << std::string(100, 'x') << "\nKEY word\n";
  refuseMemory();
  const ZEB_String lost = ZEB_GetRegistryValue(kFile, "KEY");
  succeedAgain();
  EXPECT_FALSE(lost.OK());
  EXPECT_EQ("word", value(std::string(100, 'x') + "\nKEY word\n", "KEY"));
}

TEST_F(Lookup, ReportsAnEmptyValueOnlyWhenTold) {
  std::ofstream(kFile) << "KEY word\nEMPTY =\n";
  EXPECT_TRUE(ZEB_FindRegistryValue(kFile, "", "KEY", 1) == "word");
  EXPECT_TRUE(ZEB_FindRegistryValue(kFile, nullptr, "KEY", 0) == "word");
  EXPECT_EQ(0U, ZEB_FindRegistryValue(kFile, "", "OTHER", 0).size());
  EXPECT_EQ(0U, ZEB_FindRegistryValue(nullptr, "", "KEY", 1).size());
  EXPECT_EQ(0U, ZEB_FindRegistryValue(kFile, "", nullptr, 1).size());
  EXPECT_TRUE(messageLines().empty());
  EXPECT_EQ(0U, ZEB_FindRegistryValue(kFile, "KEY", "OTHER", 1).size());
  EXPECT_EQ(0U, ZEB_FindRegistryValue(kFile, "", "EMPTY", -1).size());
  const std::string message = std::string("2 zebctool ") + kFind + " | Function fopen failed in " +
                              kFind + ". 0. | fopen | " + kFind + " | 0";
  EXPECT_EQ((Texts{message, message}), messageLines());
}

TEST_F(Lookup, TheConfigurationIsReadAnewEachTime) {
  configure("KEY one\n");
  EXPECT_TRUE(ZEB_ConfigurationValue("KEY") == "one");
  configure("KEY two\n");
  EXPECT_TRUE(ZEB_ConfigurationValue("KEY") == "two");
  EXPECT_EQ(0U, ZEB_ConfigurationValue("OTHER").size());
  EXPECT_TRUE(host().log().empty());
}

// The numbers that the traces of opendir and fopen end in are addresses.
Texts withoutAddresses(Texts texts) {
  for (std::string& text : texts) {
    const std::size_t number = text.find(" rc ");
    if (number != std::string::npos && text.substr(number) != " rc 0")
      text.replace(number, std::string::npos, " rc N");
  }
  return texts;
}

TEST_F(Lookup, Traces) {
  std::ofstream(kFile) << "KEY =word\n";
  const Tracing on;
  ZEB_FindRegistryValue(kFile, "", "KEY", 0);
  EXPECT_EQ((Texts{"Entry", "opendir /opt/test.cfg rc 0", "fopen /opt/test.cfg rc N",
                   "Looking for KEY in /opt/test.cfg", "value=<=word>", "Value = word", "Exit"}),
            withoutAddresses(textsOf(kUnit, kGet)));
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(kUnit, kFind));
  host().forget();
  ZEB_GetRegistryValue(kFile, "OTHER");
  EXPECT_EQ((Texts{"opendir /opt/test.cfg rc 0", "fopen /opt/test.cfg rc N",
                   "Looking for OTHER in /opt/test.cfg", "Value = "}),
            withoutAddresses(ownTextsOf(kUnit, kGet)));
  host().forget();
  ZEB_GetRegistryValue("/opt", "none");
  EXPECT_EQ((Texts{"opendir /opt rc N", "fopen /opt/none rc 0"}),
            withoutAddresses(ownTextsOf(kUnit, kGet)));
}

TEST_F(Lookup, TheMemorySizeIsBounded) {
  const std::pair<const char*, std::uint32_t> cases[] = {{"", 32768},
                                                         {"4095", 4096},
                                                         {"4096", 4096},
                                                         {"4097", 4097},
                                                         {"65536", 65536},
                                                         {"0", 4096},
                                                         {"abc", 4096},
                                                         {"-1", 2147483647},
                                                         {"8192x", 8192},
                                                         {"2147483646", 2147483646},
                                                         {"2147483647", 2147483647},
                                                         {"2147483648", 2147483647},
                                                         {"4294967296", 4096},
                                                         {"99999999999999999999", 2147483647}};
  for (const auto& [text, size] : cases) {
    configure(std::string("ZEBMemorySize ") + text + "\n");
    EXPECT_EQ(size, ZEB_ConfiguredMemorySize()) << text;
  }
}

}  // namespace

}  // namespace settings_test
