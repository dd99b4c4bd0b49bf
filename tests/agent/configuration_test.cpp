// SPDX-License-Identifier: Apache-2.0
// Where the configuration is, as the library finds it.
#include "agent/reader/configuration.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "agent/reader/temporary_directory.h"

namespace configuration_test {

namespace {

namespace fs = std::filesystem;

constexpr char kFirst[] = "/opt/holt/lil/zebpnode.cfg";
constexpr char kSecond[] = "/opt/orva/lil/zebpnode.cfg";
constexpr char kProperties[] = "/var/orva/install.properties";

class ConfigurationPlaces : public testing::Test {
 protected:
  ~ConfigurationPlaces() override {
    for (const char* const folder : {"/opt/holt", "/opt/orva", "/var/orva", "/tmp/host"})
      fs::remove_all(folder);
  }

  static void write(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << text;
  }

  static std::vector<std::string> paths() {
    std::vector<std::string> paths;
    for (const auto& place : reader::readConfiguration().places) paths.push_back(place.path);
    return paths;
  }

  // Where the line leads when no file is anywhere.
  static std::string ledTo(const std::string& line) {
    write(kProperties, line);
    return paths().at(2);
  }
};

}  // namespace

TEST_F(ConfigurationPlaces, WithoutAnyFileItIsTheLastPlaceAndThatIsNotThere) {
  const reader::Configuration found = reader::readConfiguration();
  EXPECT_EQ((std::vector<std::string>{kFirst, kSecond, "/lil/zebpnode.cfg"}), paths());
  for (const auto& place : found.places) EXPECT_EQ(ENOENT, place.error);
  EXPECT_EQ("/lil/zebpnode.cfg", found.path);
  EXPECT_FALSE(found.exists);
  EXPECT_EQ(ENOENT, found.error);
  EXPECT_EQ(0, found.modified);
}

TEST_F(ConfigurationPlaces, TheFirstThatOpensCounts) {
  write(kSecond, "second");
  EXPECT_EQ(kSecond, reader::readConfiguration().path);
  write(kFirst, "first");
  const reader::Configuration found = reader::readConfiguration();
  EXPECT_EQ(kFirst, found.path);
  EXPECT_EQ("first", found.text);
  EXPECT_TRUE(found.exists);
  EXPECT_EQ(0, found.error);
  EXPECT_FALSE(found.cut);
  EXPECT_FALSE(found.directory);
  struct stat facts;
  ASSERT_EQ(0, stat(kFirst, &facts));
  EXPECT_EQ(facts.st_mtime, found.modified);
  EXPECT_EQ(0, found.places[0].error);
  EXPECT_EQ(0, found.places[1].error);
  EXPECT_EQ(ENOENT, found.places[2].error);
}

TEST_F(ConfigurationPlaces, TheInstallationPropertiesLeadToTheOthers) {
  write("/tmp/host/lil/zebpnode.cfg", "ZEBTempDirectory /tmp/host");
  write(kProperties, "name=x\n/absent=6.0\n/tmp/host=6.1.2\n/tmp/other=6.1\n");
  const reader::Configuration found = reader::readConfiguration();
  EXPECT_EQ("/absent/lil/zebpnode.cfg", found.places[2].path);
  EXPECT_EQ("/absent=6.0", found.places[2].because);
  EXPECT_EQ("/tmp/host/lil/zebpnode.cfg", found.places[3].path);
  EXPECT_EQ("/tmp/host=6.1.2", found.places[3].because);
  EXPECT_EQ("/tmp/host/lil/zebpnode.cfg", found.path);
  EXPECT_EQ("/tmp/host/", reader::temporaryDirectory());
}

TEST_F(ConfigurationPlaces, ALineLeadsFromItsFirstSlashToTheEqualsSignBehindIt) {
  EXPECT_EQ("/a/lil/zebpnode.cfg", ledTo("/a=6.0"));
  EXPECT_EQ("/a b/c/lil/zebpnode.cfg", ledTo("key=/a b/c=6.0=x\n"));
  EXPECT_EQ("/lil/zebpnode.cfg", ledTo("a=6.0"));
  EXPECT_EQ("/lil/zebpnode.cfg", ledTo("a=6.0 /b"));
  EXPECT_EQ("/a/lil/zebpnode.cfg", ledTo("/a=6x0"));
  EXPECT_EQ("/a/lil/zebpnode.cfg", ledTo("/a=6.2=6.0"));
  EXPECT_EQ("/lil/zebpnode.cfg", ledTo("/a=6.2"));
  EXPECT_EQ("/lil/zebpnode.cfg", ledTo("/a=6."));
  EXPECT_EQ("/lil/zebpnode.cfg", ledTo(""));
}

TEST_F(ConfigurationPlaces, APathThatIsTooLongLeadsNowhere) {
  const std::string name = "/lil/zebpnode.cfg";
  const std::string longest = "/" + std::string(254 - name.size(), 'x');
  EXPECT_EQ(longest + name, ledTo(longest + "=6.0"));
  EXPECT_EQ(name, ledTo(longest + "x=6.0"));
  EXPECT_EQ(name, ledTo("/" + std::string(5000, 'x') + "=6.0"));
}

TEST_F(ConfigurationPlaces, AFileThatIsTooLongIsCut) {
  write(kFirst, "ZEBTempDirectory /a\n");
  fs::resize_file(kFirst, reader::Configuration::kMostBytes);
  EXPECT_FALSE(reader::readConfiguration().cut);
  fs::resize_file(kFirst, reader::Configuration::kMostBytes + 1);
  const reader::Configuration found = reader::readConfiguration();
  EXPECT_TRUE(found.cut);
  EXPECT_EQ("/a", reader::settingIn(found, "ZEBTempDirectory").value());
}

TEST_F(ConfigurationPlaces, ADirectoryHoldsOneFileAKey) {
  write(std::string(kFirst) + "/ZEBMemorySize", "8192 rest\n");
  write(std::string(kFirst) + "/other", "x");
  const reader::Configuration found = reader::readConfiguration();
  EXPECT_TRUE(found.directory);
  EXPECT_TRUE(found.exists);
  EXPECT_EQ(0, found.error);
  EXPECT_EQ(1U, found.files.size());
  EXPECT_EQ("8192", reader::settingIn(found, "ZEBMemorySize").value());
  EXPECT_FALSE(reader::settingIn(found, "ZEBTempDirectory").matched());
}

TEST_F(ConfigurationPlaces, ADirectoryWithTooManyFilesIsCut) {
  for (int n = 0; n <= 1000; ++n) write(std::string(kFirst) + "/ZEB" + std::to_string(n), "x");
  EXPECT_TRUE(reader::readConfiguration().cut);
  EXPECT_EQ(1000U, reader::readConfiguration().files.size());
}

TEST_F(ConfigurationPlaces, AnotherMachinesFilesCanBeLookedAt) {
  write(std::string("/tmp/host") + kSecond, "there");
  const reader::Configuration found = reader::readConfiguration("/tmp/host");
  EXPECT_EQ(std::string("/tmp/host") + kSecond, found.path);
  EXPECT_EQ("there", found.text);
}

}  // namespace configuration_test
