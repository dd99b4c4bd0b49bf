// SPDX-License-Identifier: Apache-2.0
// The version in programs and library, and the commit in it.
#include "format/version.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

namespace version_test {

namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(Version, NamesVersionCommitAndFormat) {
  const std::regex form("([0-9.]+), commit ([0-9a-f]{12}(-dirty)?|unknown), format ([0-9]+)");
  std::cmatch parts;
  ASSERT_TRUE(std::regex_match(layout::kVersion, parts, form)) << layout::kVersion;
  EXPECT_EQ(ZEB_VERSION, parts[1].str());
  EXPECT_NE(std::string::npos,
            contents(ZEB_FORMAT_DOCUMENT).find("This is format " + parts[4].str() + "."));
}

TEST(Version, StandsInTheLibraryAsAStringOfItsOwn) {
  const std::string wanted = std::string("zebpnode ") + layout::kVersion;
  EXPECT_NE(std::string::npos, contents(ZEB_LIBRARY).find('\0' + wanted + '\0'));
}

// A source tree and the header that a build of it writes.
class Commit : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(kTree);
    fs::create_directories(kTree);
  }
  void TearDown() override { fs::remove_all(kTree); }

  static bool shell(const std::string& command) {
    return std::system(("{ " + command + "; } >/dev/null 2>&1").c_str()) == 0;
  }

  static std::string header() {
    EXPECT_TRUE(shell("'" ZEB_CMAKE "' -DSOURCE_TREE=" + (kTree / "source").string() +
                      " -DCOMMIT_HEADER=" + (kTree / "commit.h").string() +
                      " -P '" ZEB_COMMIT_SCRIPT "'"));
    return contents(kTree / "commit.h");
  }

  // A checkout with one commit.
  static void checkOut(const fs::path& where) {
    fs::create_directories(where);
    std::ofstream(where / "file") << "one\n";
    ASSERT_TRUE(shell("cd " + where.string() + " && git init -q && git add file && git -c " +
                      "user.name=n -c user.email=e commit -q -m first"));
  }

  inline static const fs::path kTree = "/tmp/version_test";
};

TEST_F(Commit, IsUnknownOutsideACheckout) {
  fs::create_directories(kTree / "source");
  EXPECT_EQ("#define ZEB_COMMIT \"unknown\"\n", header());
}

TEST_F(Commit, IsNotThatOfACheckoutAround) {
  checkOut(kTree);
  fs::create_directories(kTree / "source");
  EXPECT_EQ("#define ZEB_COMMIT \"unknown\"\n", header());
}

TEST_F(Commit, IsThatOfTheCheckoutAndSaysWhetherFilesDiffer) {
  checkOut(kTree / "source");
  const std::string clean = header();
  EXPECT_TRUE(std::regex_match(clean, std::regex("#define ZEB_COMMIT \"[0-9a-f]{12}\"\n")))
      << clean;
  std::ofstream(kTree / "source/file") << "two\n";
  std::string dirty = clean;
  dirty.insert(dirty.rfind('"'), "-dirty");
  EXPECT_EQ(dirty, header());
}

TEST_F(Commit, LeavesTheHeaderAloneWhileItIsTheSame) {
  checkOut(kTree / "source");
  header();
  const auto longAgo = fs::file_time_type() + std::chrono::hours(1);
  fs::last_write_time(kTree / "commit.h", longAgo);
  header();
  EXPECT_EQ(longAgo, fs::last_write_time(kTree / "commit.h"));
  std::ofstream(kTree / "source/file") << "two\n";
  header();
  EXPECT_NE(longAgo, fs::last_write_time(kTree / "commit.h"));
}

}  // namespace

}  // namespace version_test
