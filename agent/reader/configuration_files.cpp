// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/configuration_files.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <string_view>

#include "agent/reader/bounded_file.h"

namespace reader {
namespace {

constexpr std::size_t kMostOfFile = 256 << 10;
constexpr std::size_t kMostOfFolder = 1000;

bool isComment(std::string_view line) {
  const std::size_t begin = line.find_first_not_of(" \t\r");
  return begin == line.npos || line[begin] == '#' || line[begin] == ';';
}

}  // namespace

bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

std::vector<ConfigurationLine> readLines(const std::string& path,
                                         std::vector<std::string>& unreadable) {
  std::vector<ConfigurationLine> lines;
  const FileText file = readFile(path, kMostOfFile);
  if (file.error == ENOENT || file.error == ENOTDIR || file.error == EISDIR) return lines;
  if (file.error != 0 || file.cut) unreadable.push_back(path);
  std::size_t number = 0;
  bool goesOn = false;
  for (std::string_view rest = file.text; !rest.empty();) {
    std::string_view line = takeLine(rest);
    ++number;
    if (isComment(line)) continue;
    if (!goesOn) lines.push_back({path, number, ""});
    goesOn = line.ends_with('\\');
    if (goesOn) line.remove_suffix(1);
    lines.back().text += line;
  }
  return lines;
}

std::vector<std::string> filesIn(const std::string& folder, std::vector<std::string>& unreadable) {
  std::vector<std::string> paths;
  std::error_code error;
  std::filesystem::directory_iterator entry(folder, error), end;
  for (; !error && entry != end && paths.size() < kMostOfFolder; entry.increment(error)) {
    paths.push_back(entry->path());
  }
  const bool missing = error.value() == ENOENT || error.value() == ENOTDIR;
  if (error && !missing) unreadable.push_back(folder);
  std::ranges::sort(paths);
  return paths;
}

std::vector<ConfigurationLine> readDropIns(const std::vector<std::string>& folders,
                                           const std::string& root,
                                           std::vector<std::string>& unreadable) {
  std::map<std::string, std::string> byName;
  for (const std::string& folder : folders) {
    for (const std::string& path : filesIn(root + folder, unreadable)) {
      if (path.ends_with(".conf")) {
        byName.try_emplace(std::filesystem::path(path).filename(), path);
      }
    }
  }
  std::vector<ConfigurationLine> lines;
  for (const auto& [name, path] : byName) {
    std::ranges::move(readLines(path, unreadable), std::back_inserter(lines));
  }
  return lines;
}

}  // namespace reader
