// SPDX-License-Identifier: Apache-2.0
// Where the configuration file is found: once per process, so each case is a process of its own.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "base/settings.h"
#include "base/temp_directory.h"
#include "tests/support/failing.h"
#include "tests/support/library_test.h"
#include "tests/support/processes.h"

namespace configuration_path_test {

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char kUnit[] = "zebctool";
constexpr char kFunction[] = "ZEB_Environment_Registry";
constexpr char kHolt[] = "/opt/holt/lil/zebpnode.cfg";
constexpr char kOrva[] = "/opt/orva/lil/zebpnode.cfg";
constexpr char kProperties[] = "/var/orva/install.properties";
constexpr char kCommand0[] =
    "Issuing command 0 </bin/cat /var/orva/install.properties|/bin/grep =6.0 > /tmp/zebregtemp>";
constexpr char kCommand1[] =
    "Issuing command 1 </bin/cat /var/orva/install.properties|/bin/grep =6.1 > /tmp/zebregtemp>";
constexpr char kFallback[] = "/lil/zebpnode.cfg";

// Tells the path, the path of a second call with another argument, and what was traced.
int resolve(Steps& parent, const std::vector<std::string>& arguments) {
  if (arguments.at(0) == "no shell") failCalls("system", 0);
  bZEBTracing = 1;
  const bool given = arguments.size() > 1;
  const char* const path = ZEB_Environment_Registry(given ? arguments[1].c_str() : nullptr);
  bZEBTracing = 0;
  parent.tell(std::string("at ") + path);
  parent.tell(ZEB_Environment_Registry("/another.cfg") == path ? "kept" : "changed");
  const Texts texts = textsOf(kUnit, kFunction);
  for (std::string text : texts) {
    const std::size_t number = text.find(" errno=");
    if (number != std::string::npos) text.resize(number);
    if (text == exitOf(path)) text = "Exit: path";
    if (text.ends_with('\n')) text.back() = '!';
    parent.tell("- " + text);
  }
  parent.tell("end");
  return 0;
}

const Role kResolver("resolver", resolve);

struct Resolved {
  std::string path;
  Texts texts;  // between the first two and the path itself
};

Resolved resolved(const std::vector<std::string>& arguments = {"shell"}) {
  Child child("resolver", arguments);
  Resolved result{child.hear().substr(3), {}};
  EXPECT_EQ("kept", child.hear());
  for (std::string text = child.hear(); text != "end"; text = child.hear())
    result.texts.push_back(text.substr(2));
  EXPECT_EQ(0, child.wait());
  const std::string given = arguments.size() > 1 ? arguments[1] : "";
  EXPECT_LE(5U, result.texts.size());
  EXPECT_EQ("Entry", result.texts.at(0));
  EXPECT_EQ("parameter=<" + given + ">", result.texts.at(1));
  EXPECT_EQ("pZEBEnvironmentRegistry=0", result.texts.at(2));
  EXPECT_EQ("Exit: path", result.texts.back());
  result.texts.pop_back();
  EXPECT_EQ(result.path, result.texts.back());
  result.texts.pop_back();
  result.texts.erase(result.texts.begin(), result.texts.begin() + 3);
  EXPECT_FALSE(fs::exists("/tmp/zebregtemp"));
  return result;
}

void write(const std::string& path, const std::string& text = "") {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path) << text;
}

class ConfigurationPath : public testing::Test {
 protected:
  void TearDown() override {
    for (const char* folder : {"/opt", "/var"})
      for (const auto& entry : fs::directory_iterator(folder)) fs::remove_all(entry);
  }
};

TEST_F(ConfigurationPath, IsTheFirstFixedPlaceThatOpens) {
  write(kHolt);
  write(kOrva);
  write(kProperties, "/opt/host60=6.0\n");
  write("/opt/host60/lil/zebpnode.cfg");
  EXPECT_EQ(kHolt, resolved().path);
  EXPECT_EQ(Texts{}, resolved().texts);
  fs::remove(kHolt);
  EXPECT_EQ(kOrva, resolved().path);
  EXPECT_EQ(Texts{}, resolved().texts);
}

TEST_F(ConfigurationPath, IsFoundThroughVersion60First) {
  write(kProperties, "a=b\nhost:/opt/host60=6.0.0.1\nhost:/opt/host61=6.1\n");
  write("/opt/host60/lil/zebpnode.cfg");
  write("/opt/host61/lil/zebpnode.cfg");
  const Resolved result = resolved();
  EXPECT_EQ("/opt/host60/lil/zebpnode.cfg", result.path);
  EXPECT_EQ((Texts{kCommand0, "system() rc=0",
                   "Found the cfg file under folder /opt/host60/lil/zebpnode.cfg"}),
            result.texts);
}

TEST_F(ConfigurationPath, IsFoundThroughVersion61Then) {
  write(kProperties, "host:/opt/host60=6.0\nhost:/opt/host61=6.1\n");
  write("/opt/host61/lil/zebpnode.cfg");
  const Resolved result = resolved();
  EXPECT_EQ("/opt/host61/lil/zebpnode.cfg", result.path);
  EXPECT_EQ((Texts{kCommand0, "system() rc=0", kCommand1, "system() rc=0",
                   "Found the cfg file under folder /opt/host61/lil/zebpnode.cfg"}),
            result.texts);
}

TEST_F(ConfigurationPath, IsNotFoundThroughOtherVersions) {
  write(kProperties, "host:/opt/host62=6.2\nhost:/opt/host70=7.0\n");
  write("/opt/host62/lil/zebpnode.cfg");
  const Resolved result = resolved();
  EXPECT_EQ(kFallback, result.path);
  EXPECT_EQ((Texts{kCommand0, "system() rc=256", kCommand1, "system() rc=256"}), result.texts);
}

TEST_F(ConfigurationPath, TheLastAttemptStandsWithoutAFile) {
  EXPECT_EQ(kFallback, resolved().path);
  write(kProperties, "host:/opt/host60=6.0\nhost:/opt/host61=6.1\n");
  EXPECT_EQ("/opt/host61/lil/zebpnode.cfg", resolved().path);
  write(kProperties, "host:/opt/host60=6.0\n");
  EXPECT_EQ(kFallback, resolved().path);
}

TEST_F(ConfigurationPath, TheDirectoryEndsAtTheEqualsSignBehindItsFirstSlash) {
  const std::pair<const char*, const char*> cases[] = {
      {"a=/opt/x=6.1\n", "/opt/x/lil/zebpnode.cfg"},
      {"a /opt/x/y=z=6.1\n", "/opt/x/y/lil/zebpnode.cfg"},
      {"/=6.1\n", "//lil/zebpnode.cfg"},
      {"a=6.1 /opt/x\n", kFallback},
      {"a=6.1\n", kFallback},
      {"/opt/x=6.1\n/opt/y=6.1\n", "/opt/x/lil/zebpnode.cfg"}};
  for (const auto& [properties, path] : cases) {
    write(kProperties, properties);
    EXPECT_EQ(path, resolved().path) << properties;
  }
}

TEST_F(ConfigurationPath, ALongDirectoryNamesNone) {
  const std::string fits = "/" + std::string(237, 'x');
  write(kProperties, fits + "=6.1\n");
  EXPECT_EQ(fits + kFallback, resolved().path);
  write(kProperties, fits + "y=6.1\n");
  EXPECT_EQ(kFallback, resolved().path);
}

TEST_F(ConfigurationPath, OneThatIsGivenFirstIsTaken) {
  write(kHolt);
  const Resolved result = resolved({"shell", "/not/there.cfg"});
  EXPECT_EQ("/not/there.cfg", result.path);
  EXPECT_EQ(Texts{}, result.texts);
  const std::string longest = "/" + std::string(254, 'x');
  EXPECT_EQ(longest, resolved({"shell", longest}).path);
  EXPECT_EQ("", resolved({"shell", longest + "x"}).path);
}

TEST_F(ConfigurationPath, ATemporaryFileThatIsMissingIsTraced) {
  const Resolved result = resolved({"no shell"});
  EXPECT_EQ(kFallback, result.path);
  const Texts once{"system() rc=0", "Open temp file return false!", "Del temp file return false!"};
  Texts all{kCommand0};
  all.insert(all.end(), once.begin(), once.end());
  all.emplace_back(kCommand1);
  all.insert(all.end(), once.begin(), once.end());
  EXPECT_EQ(all, result.texts);
}

// Tells the directory, then once more after the configuration has changed.
int tellDirectory(Steps& parent, const std::vector<std::string>& arguments) {
  useOwnConfiguration();
  configure(arguments.at(0));
  bZEBTracing = 1;
  parent.tell(ZEB_GetTempDirectory().getcValue());
  bZEBTracing = 0;
  configure("ZEBTempDirectory /changed\n");
  parent.tell(ZEB_GetTempDirectory().getcValue());
  for (const std::string& text : textsOf("zebcbrkr", "ZEB_Broker::getTempDirectory"))
    parent.tell(text);
  return 0;
}

const Role kDirectoryReader("directory reader", tellDirectory);

TEST_F(ConfigurationPath, TheTemporaryDirectoryIsReadOnceAndEndsInASlash) {
  const std::string longest = "ZEBTempDirectory" + std::string(495, 'x');
  const std::pair<std::string, std::string> cases[] = {
      {"", "/tmp/"},
      {"ZEBTempDirectory /opt/dir\n", "/opt/dir/"},
      {"ZEBTempDirectory /opt/dir/\n", "/opt/dir/"},
      {"ZEBTempDirectory=x\n", "x/"},
      {longest, longest.substr(16) + "/"},
      {"ZEBTempDirectory /\n", "/"}};
  for (const auto& [configuration, directory] : cases) {
    Child child("directory reader", {configuration});
    EXPECT_EQ(directory, child.hear());
    EXPECT_EQ(directory, child.hear());
    EXPECT_EQ("Entry", child.hear());
    EXPECT_EQ("Exit", child.hear());
    EXPECT_EQ(0, child.wait());
  }
}

// Tells the directory while some buffer of its name can't be had, and then once more.
int tellDirectoryWithoutMemory(Steps& parent, const std::vector<std::string>& arguments) {
  useOwnConfiguration();
  configure("ZEBTempDirectory " + std::string(300, 'x') + "\n");  // no other string is as long
  failAllocations(std::stoul(arguments.at(0)));
  const ZEB_String directory = ZEB_GetTempDirectory();
  succeedAgain();
  parent.tell(directory.OK() ? directory.getcValue() : "not OK");
  parent.tell(ZEB_GetTempDirectory().getcValue());
  return 0;
}

const Role kDirectoryReaderWithoutMemory("directory reader without memory",
                                         tellDirectoryWithoutMemory);

TEST_F(ConfigurationPath, TheTemporaryDirectoryIsReadAgainWhenMemoryRanOut) {
  const std::string whole = std::string(300, 'x') + "/";
  const std::pair<std::size_t, std::string> cases[] = {
      {2 * 301, "not OK"},    // the configured value
      {2 * 302, "not OK"},    // the directory
      {3 * 300 + 1, whole}};  // a narrow view, which nobody needs
  for (const auto& [bytes, first] : cases) {
    Child child("directory reader without memory", {std::to_string(bytes)});
    EXPECT_EQ(first, child.hear()) << bytes;
    EXPECT_EQ(whole, child.hear()) << bytes;
    EXPECT_EQ(0, child.wait());
  }
}

}  // namespace

}  // namespace configuration_path_test
