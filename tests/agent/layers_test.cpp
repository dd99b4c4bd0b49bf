// SPDX-License-Identifier: Apache-2.0
// Each folder of the agent, and the reader library's, includes only those below it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr char kAgent[] = ZEB_AGENT_SOURCES;

// A folder, and what of this repository it may include besides itself.
const std::map<std::string, std::vector<std::string>> kBelow = {
    {"reader", {"format/", "text/"}},
    {"model", {"agent/reader/", "flowfile/", "format/"}},
    {"archive", {"agent/model/", "agent/reader/", "format/", "text/"}},
    {"render", {"agent/archive/", "agent/model/", "agent/reader/", "text/"}},
    {"act", {"agent/model/", "agent/reader/", "format/"}},
    {"front",
     {"agent/act/", "agent/archive/", "agent/render/", "agent/model/", "agent/reader/",
      "completion/", "flowfile/", "format/", "text/"}},
    {"read", {"agent/model/", "agent/reader/", "agent/render/", "format/", "text/"}},
};

std::vector<std::string> includesOf(const fs::path& file) {
  std::vector<std::string> paths;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    constexpr std::string_view start = "#include \"";
    if (!line.starts_with(start)) continue;
    paths.push_back(line.substr(start.size(), line.rfind('"') - start.size()));
  }
  return paths;
}

bool allowed(const std::string& folder, const std::string& path) {
  if (path.starts_with("agent/" + folder + "/") || path.starts_with(folder + "/")) return true;
  const auto& below = kBelow.at(folder);
  return std::ranges::any_of(below, [&](const std::string& one) { return path.starts_with(one); });
}

}  // namespace

TEST(AgentFolders, IncludeOnlyWhatIsBelowThem) {
  std::size_t looked = 0;
  for (const fs::path& top : {fs::path(kAgent), fs::path(kAgent).parent_path() / "read"}) {
    for (const auto& entry : fs::recursive_directory_iterator(top)) {
      if (entry.path().extension() != ".h" && entry.path().extension() != ".cpp") continue;
      const fs::path within = entry.path().lexically_relative(kAgent);
      const std::string folder = top == kAgent ? within.begin()->string() : "read";
      ASSERT_TRUE(kBelow.contains(folder)) << "say what may be included by " << folder;
      for (const std::string& path : includesOf(entry.path())) {
        EXPECT_TRUE(allowed(folder, path)) << entry.path() << " includes " << path;
        ++looked;
      }
    }
  }
  EXPECT_LT(50U, looked);
}
