// SPDX-License-Identifier: Apache-2.0
// Rules of systemd-tmpfiles, the configuration of tmpreaper, and what cron runs.
#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "agent/reader/bounded_file.h"
#include "agent/reader/configuration_files.h"
#include "agent/reader/directory.h"
#include "format/names.h"

namespace reader {
namespace {

using Lines = std::vector<ConfigurationLine>;

std::string withoutSlash(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

// `path` is the same as `above`, or lies in it.
bool liesIn(const std::string& path, const std::string& above) {
  return path == above || above == "/" || path.starts_with(above + "/");
}

bool matches(const std::string& pattern, const std::string& path) {
  return fnmatch(pattern.c_str(), path.c_str(), FNM_PATHNAME | FNM_PERIOD) == 0;
}

// One line of tmpfiles.d.
struct Rule {
  const ConfigurationLine* line = nullptr;
  char type = 0;
  std::string path;
  bool ages = false;  // what is older than something goes
};

std::string unquoted(std::string_view word) {
  const bool quoted = word.size() > 1 && (word.front() == '"' || word.front() == '\'') &&
                      word.front() == word.back();
  return std::string(quoted ? word.substr(1, word.size() - 2) : word);
}

// The places that stand for directories there.
std::string placed(std::string path) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 3> kPlaces = {
      {{"%T", "/tmp"}, {"%V", "/var/tmp"}, {"%t", "/run"}}};
  for (const auto& [sign, place] : kPlaces) {
    if (path.starts_with(sign)) return std::string(place) + path.substr(sign.size());
  }
  return path;
}

// Nothing of a line that makes no rule while the system runs: one with "!" counts at boot alone.
std::optional<Rule> ruleOf(const ConfigurationLine& line) {
  constexpr std::string_view kTypes = "dDevqQCxX";
  std::string_view rest = line.text;
  const std::string type = unquoted(takeWord(rest));
  if (type.empty() || kTypes.find(type[0]) == kTypes.npos || type.find('!') != type.npos) {
    return std::nullopt;
  }
  Rule rule{.line = &line, .type = type[0], .path = withoutSlash(placed(unquoted(takeWord(rest))))};
  for (int field = 0; field < 3; ++field) takeWord(rest);
  const std::string age = unquoted(takeWord(rest));
  rule.ages = !age.empty() && age != "-";
  return rule;
}

class Rules {
 public:
  explicit Rules(const Lines& lines) {
    for (const ConfigurationLine& line : lines) {
      if (auto rule = ruleOf(line)) rules_.push_back(std::move(*rule));
    }
  }

  // The rule that ages files of the directory; null when none does.
  const Rule* cleanerOf(const std::string& directory) const {
    const Rule* closest = nullptr;
    for (const Rule& rule : rules_) {
      if (rule.type == 'x' || rule.type == 'X' || !liesIn(directory, rule.path)) continue;
      if (closest == nullptr || rule.path.size() > closest->path.size()) closest = &rule;
    }
    return closest != nullptr && closest->ages && !spares(*closest, directory) ? closest : nullptr;
  }

 private:
  bool excludes(const std::string& path) const {
    return std::ranges::any_of(rules_, [&path](const Rule& rule) {
      return (rule.type == 'x' || rule.type == 'X') && matches(rule.path, path);
    });
  }

  bool spares(const Rule& closest, const std::string& directory) const {
    const bool whole = std::ranges::any_of(rules_, [&](const Rule& rule) {
      return rule.type == 'x' && directory != closest.path && matches(rule.path, directory);
    });
    const std::string inside = (directory == "/" ? "" : directory) + "/name";
    return whole ||
           (excludes(inside + layout::kSegmentSuffix) && excludes(inside + layout::kLockSuffix));
  }

  std::vector<Rule> rules_;
};

void addTmpfiles(Cleaners& found, const std::string& directory, const std::string& root) {
  if (!exists(root + "/run/systemd/system")) return;
  const Lines lines = readDropIns(
      {"/etc/tmpfiles.d", "/run/tmpfiles.d", "/usr/local/lib/tmpfiles.d", "/usr/lib/tmpfiles.d"},
      root, found.unreadable);
  const Rules rules(lines);
  if (const Rule* const rule = rules.cleanerOf(directory)) {
    found.cleaners.push_back(
        {Cleaner::Kind::tmpfiles, rule->line->path, rule->line->number, rule->line->text});
  }
}

// A line with this suffix was written for key files.
bool knowsKeyFiles(std::string_view text) {
  return text.find(layout::kLockSuffix) != text.npos;
}

// The value of NAME='...' in a shell's line.
std::optional<std::string> assigned(std::string_view line, std::string_view name) {
  while (line.starts_with(' ')) line.remove_prefix(1);
  if (!line.starts_with(name) || !line.substr(name.size()).starts_with('=')) return std::nullopt;
  return unquoted(line.substr(name.size() + 1));
}

void addTmpreaper(Cleaners& found, const std::string& directory, const std::string& root) {
  constexpr char kFile[] = "/etc/tmpreaper.conf";
  if (!exists(root + "/etc/cron.daily/tmpreaper")) return;
  Cleaner cleaner{Cleaner::Kind::tmpreaper, root + kFile, 0, ""};
  std::string directories = "/tmp/.";
  for (const ConfigurationLine& line : readLines(root + kFile, found.unreadable)) {
    if (knowsKeyFiles(line.text) || assigned(line.text, "SHOWWARNING") == "true") return;
    const auto named = assigned(line.text, "TMPREAPER_DIRS");
    if (!named) continue;
    directories = *named;
    cleaner.line = line.number;
    cleaner.text = line.text;
  }
  for (std::string_view rest = directories; !rest.empty();) {
    std::string one(takeWord(rest));
    if (one.ends_with("/.")) one.pop_back();
    if (one.empty() || !liesIn(directory, withoutSlash(one))) continue;
    found.cleaners.push_back(std::move(cleaner));
    return;
  }
}

// The directory is named there, and not only one below it.
bool names(std::string_view line, const std::string& directory) {
  for (std::size_t at = line.find(directory); at != line.npos; at = line.find(directory, at + 1)) {
    std::string_view rest = line.substr(at + directory.size());
    if (rest.starts_with('/')) rest.remove_prefix(1);
    const bool begins = at == 0 || std::string_view(" \t\"'=").find(line[at - 1]) != line.npos;
    if (begins && (rest.empty() || std::string_view(" \t\"'*;.").find(rest[0]) != rest.npos)) {
      return true;
    }
  }
  return false;
}

bool cleans(std::string_view line, const std::string& directory) {
  constexpr std::array<std::string_view, 5> kWords = {"tmpreaper ", "tmpwatch ", "-delete", "rm ",
                                                      "unlink"};
  return names(line, directory) && !knowsKeyFiles(line) &&
         std::ranges::any_of(
             kWords, [line](std::string_view word) { return line.find(word) != line.npos; });
}

void addCron(Cleaners& found, const std::string& directory, const std::string& root) {
  const auto look = [&](const Lines& lines) {
    const auto line = std::ranges::find_if(
        lines, [&directory](const ConfigurationLine& one) { return cleans(one.text, directory); });
    if (line == lines.end()) return;
    found.cleaners.push_back({Cleaner::Kind::cron, line->path, line->number, line->text});
  };
  look(readLines(root + "/etc/crontab", found.unreadable));
  for (const char* const folder :
       {"/etc/cron.d", "/etc/cron.hourly", "/etc/cron.daily", "/etc/cron.weekly",
        "/etc/cron.monthly", "/var/spool/cron/crontabs"}) {
    for (const std::string& path : filesIn(root + folder, found.unreadable)) {
      look(readLines(path, found.unreadable));
    }
  }
}

}  // namespace

Cleaners readCleaners(const std::string& directory, const std::string& root) {
  Cleaners found;
  const std::string path = withoutSlash(directory);
  addTmpfiles(found, path, root);
  addTmpreaper(found, path, root);
  addCron(found, path, root);
  return found;
}

}  // namespace reader
