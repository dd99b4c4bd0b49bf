// SPDX-License-Identifier: Apache-2.0
// Tokens: which files are taken, and which texts are the one in them.
#include "agent/front/serve/token.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "agent/front/serve/trouble.h"

namespace token_test {

namespace {

namespace fs = std::filesystem;

constexpr char kSecret[] = "0123456789abcdef0123456789abcdef";

class TokenFile : public testing::Test {
 protected:
  TokenFile() { write(kSecret); }
  ~TokenFile() override { fs::remove_all(folder_); }

  void write(const std::string& text, mode_t mode = 0600) {
    fs::create_directories(folder_);
    std::ofstream(path_) << text;
    chmod(path_.c_str(), mode);
  }

  std::string problem() const {
    try {
      serve::readToken(path_);
    } catch (const serve::Trouble& trouble) {
      return trouble.sentence;
    }
    return "";
  }

  const std::string folder_ = testing::TempDir() + "credentials";
  const std::string path_ = folder_ + "/token";
};

}  // namespace

TEST_F(TokenFile, HoldsTheTokenWithBlanksAroundIt) {
  for (const char* const around : {"", "\n", " \t\r\n"}) {
    write(around + std::string(kSecret) + around);
    const serve::Token token = serve::readToken(path_);
    EXPECT_TRUE(token.is(kSecret));
    EXPECT_FALSE(token.is(std::string(kSecret) + "0"));
    EXPECT_FALSE(token.is(std::string(kSecret).substr(1)));
    EXPECT_FALSE(token.is(""));
  }
}

TEST_F(TokenFile, MustBeClosedToOthers) {
  for (const mode_t mode : {0640U, 0604U, 0620U, 0610U, 0666U}) {
    write(kSecret, mode);
    EXPECT_NE(std::string::npos, problem().find("chmod 600")) << mode;
  }
  write(kSecret, 0400);
  EXPECT_EQ("", problem());
}

TEST_F(TokenFile, OfSystemdMayBeOpenToItsGroup) {
  write(kSecret, 0440);
  setenv("CREDENTIALS_DIRECTORY", folder_.c_str(), 1);
  EXPECT_EQ("", problem());
  setenv("CREDENTIALS_DIRECTORY", (folder_ + "2").c_str(), 1);
  EXPECT_NE("", problem());
  unsetenv("CREDENTIALS_DIRECTORY");
}

TEST_F(TokenFile, IsLongEnoughAndText) {
  for (const std::string& text :
       {std::string(), std::string("\n"), std::string(31, 'a'), std::string(4097, 'a')}) {
    write(text);
    EXPECT_NE(std::string::npos, problem().find("32 to 4096")) << text.size();
  }
  for (const char bad : {' ', '\0', '\x7F', '\xC3'}) {
    write(std::string(40, 'a') + bad + "b");
    EXPECT_NE(std::string::npos, problem().find("no ASCII")) << static_cast<int>(bad);
  }
  write(std::string(4096, 'a') + "\r\n");
  EXPECT_EQ("", problem());
}

TEST_F(TokenFile, MustBeARegularFile) {
  fs::remove(path_);
  EXPECT_NE(std::string::npos, problem().find("No such file"));
  ASSERT_EQ(0, mkfifo(path_.c_str(), 0600));
  EXPECT_NE(std::string::npos, problem().find("no regular file"));
}

}  // namespace token_test
