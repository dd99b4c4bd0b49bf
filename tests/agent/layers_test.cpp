// SPDX-License-Identifier: Apache-2.0
// Each folder includes only what the tables of docs/architecture.md let it include.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace layers_test {

namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

const fs::path kSources = ZEB_AGENT_SOURCES "/..";

Texts linesOf(const fs::path& file) {
  Texts lines;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

Texts split(const std::string& text, const std::string& mark) {
  Texts parts;
  std::size_t begin = 0;
  for (std::size_t end; (end = text.find(mark, begin)) != std::string::npos;
       begin = end + mark.size()) {
    parts.push_back(text.substr(begin, end - begin));
  }
  parts.push_back(text.substr(begin));
  return parts;
}

// What stands between backticks.
Texts quoted(const std::string& text) {
  Texts names;
  const Texts parts = split(text, "`");
  for (std::size_t i = 1; i < parts.size(); i += 2) names.push_back(parts[i]);
  return names;
}

// A row of a table: folders (they end with "/") or files, and what they may include besides.
struct Room {
  Texts names;
  Texts below;
};

// All rows of both tables. "the above" are the rows above it in the same table.
std::vector<Room> roomsOf(const fs::path& document) {
  std::vector<Room> rooms;
  Texts above;
  bool within = false;
  for (const std::string& line : linesOf(document)) {
    if (line.starts_with("| folder | holds | includes only |")) {
      within = true;
      above.clear();
    }
    within = within && line.starts_with("|");
    const Texts cells = split(line, " | ");
    if (!within || cells.size() != 3 || !cells[0].starts_with("| `")) continue;
    Room room{quoted(cells[0]), quoted(cells[2])};
    if (cells[2].find("the above") != std::string::npos) {
      room.below.insert(room.below.end(), above.begin(), above.end());
    }
    above.insert(above.end(), room.names.begin(), room.names.end());
    rooms.push_back(std::move(room));
  }
  return rooms;
}

bool startsWithAny(const std::string& path, const Texts& names) {
  return std::ranges::any_of(names,
                             [&](const std::string& name) { return path.starts_with(name); });
}

// The room whose name is the longest that the path begins with; null for none.
const Room* roomOf(const std::vector<Room>& rooms, const std::string& path) {
  const Room* found = nullptr;
  std::size_t longest = 0;
  for (const Room& room : rooms) {
    for (const std::string& name : room.names) {
      if (!path.starts_with(name) || name.size() <= longest) continue;
      found = &room;
      longest = name.size();
    }
  }
  return found;
}

bool isSource(const fs::path& file) {
  return file.extension() == ".h" || file.extension() == ".cpp";
}

Texts sourcesIn(const fs::path& folder) {
  Texts files;
  for (const auto& entry : fs::recursive_directory_iterator(kSources / folder)) {
    if (isSource(entry.path())) files.push_back(entry.path().lexically_relative(kSources).string());
  }
  return files;
}

// The headers of this repository that a file includes.
Texts includesOf(const std::string& file) {
  constexpr std::string_view start = "#include \"";
  Texts paths;
  for (const std::string& line : linesOf(kSources / file)) {
    if (line.starts_with(start)) {
      paths.push_back(line.substr(start.size(), line.rfind('"') - start.size()));
    }
  }
  return paths;
}

}  // namespace

TEST(Folders, IncludeOnlyWhatTheTableOfFoldersSays) {
  const std::vector<Room> rooms = roomsOf(kSources / "docs/architecture.md");
  std::size_t looked = 0;
  for (const char* top : {"agent", "base", "completion", "flowfile", "format", "host", "interface",
                          "node", "read", "records", "resources", "setup", "store", "text"}) {
    for (const std::string& file : sourcesIn(top)) {
      const Room* room = roomOf(rooms, file);
      ASSERT_TRUE(room) << file << " has no row in the tables of folders";
      for (const std::string& path : includesOf(file)) {
        EXPECT_TRUE(startsWithAny(path, room->names) || startsWithAny(path, room->below))
            << file << " includes " << path;
        ++looked;
      }
    }
  }
  EXPECT_LT(900U, looked);
}

}  // namespace layers_test
