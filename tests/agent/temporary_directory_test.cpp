// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/temporary_directory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "agent/reader/configuration.h"

namespace temporary_directory_test {

namespace {

namespace fs = std::filesystem;

class Configured : public testing::Test {
 protected:
  void write(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << text;
  }

  std::string valueOf(const std::string& text) {
    write(kFile, text);
    return valueNow("ZEBTempDirectory");
  }

  std::string valueNow(const std::string& key) {
    const reader::Configuration configuration = reader::readConfiguration();
    return std::string(reader::settingIn(configuration, key).value());
  }

  void TearDown() override {
    fs::remove_all("/opt/holt");
    fs::remove_all("/opt/orva");
  }

  static constexpr char kFile[] = "/opt/holt/lil/zebpnode.cfg";
  static constexpr char kSecond[] = "/opt/orva/lil/zebpnode.cfg";
};

}  // namespace

TEST_F(Configured, TheWordBehindTheKeyIsTheValue) {
  EXPECT_EQ("/a", valueOf("ZEBTempDirectory /a"));
  EXPECT_EQ("/a", valueOf("ZEBTempDirectory=/a\n"));
  EXPECT_EQ("/a", valueOf("ZEBTempDirectory =/a and more\n"));
  EXPECT_EQ("/a", valueOf("ZEBTempDirectory\t /a\r\n"));
  EXPECT_EQ("/a", valueOf("# comment\n\n  ZEBTempDirectory /a\nZEBTempDirectory /b\n"));
}

TEST_F(Configured, AKeyAlsoMatchesWhatOnlyBeginsWithIt) {
  EXPECT_EQ("Old", valueOf("ZEBTempDirectoryOld /b\nZEBTempDirectory /a\n"));
}

TEST_F(Configured, ABlankBehindTheEqualsSignGivesAnEmptyValueAndEndsTheSearch) {
  EXPECT_EQ("", valueOf("ZEBTempDirectory = /a\nZEBTempDirectory /b\n"));
}

TEST_F(Configured, OnlyOneEqualsSignIsDropped) {
  EXPECT_EQ("=/a", valueOf("ZEBTempDirectory ==/a\n"));
}

TEST_F(Configured, AKeyWithoutValueIsNoMatch) {
  EXPECT_EQ("/b", valueOf("ZEBTempDirectory\nZEBTempDirectory /b\n"));
}

TEST_F(Configured, LeadingBlanksCountOnTheFirstLineOnly) {
  EXPECT_EQ("", valueOf(" ZEBTempDirectory /a\n"));
  EXPECT_EQ("/b", valueOf(" ZEBTempDirectory /a\n \t ZEBTempDirectory /b\n"));
}

TEST_F(Configured, AnEmptyFirstLineIsSteppedOver) {
  EXPECT_EQ("/a", valueOf("\nZEBTempDirectory /a\n"));
  EXPECT_EQ("/a", valueOf("\n\n\nZEBTempDirectory /a\n"));
}

TEST_F(Configured, LongLinesAndBinaryFilesGiveNothing) {
  EXPECT_EQ("", valueOf(std::string(100000, 'x')));
  EXPECT_EQ("", valueOf(std::string("\0\xFF\0ZEBTempDirectory /a\0", 24)));
  EXPECT_EQ("/b", valueOf(std::string(100000, 'x') + "\nZEBTempDirectory /b"));
}

TEST_F(Configured, ADirectoryInTheFilesPlaceHoldsOneFileAKey) {
  write(std::string(kFile) + "/ZEBTempDirectory", "\n =/a b\n");
  EXPECT_EQ("/a", valueNow("ZEBTempDirectory"));
  EXPECT_EQ("", valueNow("Other"));
}

TEST_F(Configured, WithoutConfigurationItIsTmp) {
  EXPECT_EQ("/tmp/", reader::temporaryDirectory());
}

TEST_F(Configured, TheFirstFileThatOpensCountsEvenWithoutTheKey) {
  write(kSecond, "ZEBTempDirectory /second\n");
  EXPECT_EQ("/second/", reader::temporaryDirectory());
  write(kFile, "ZEBTempDirectory /first/\n");
  EXPECT_EQ("/first/", reader::temporaryDirectory());
  write(kFile, "ZEBNodeTrace On\n");
  EXPECT_EQ("/tmp/", reader::temporaryDirectory());
}

}  // namespace temporary_directory_test
