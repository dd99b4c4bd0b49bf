// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/logins.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string_view>

#include "agent/reader/bounded_file.h"
#include "agent/reader/configuration_files.h"
#include "agent/reader/letters.h"

namespace reader {
namespace {

constexpr std::uint32_t kNobody = 65534;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

std::optional<bool> truthOf(std::string_view word) {
  constexpr std::array<const char*, 6> kTrue = {"1", "yes", "y", "true", "t", "on"};
  constexpr std::array<const char*, 6> kFalse = {"0", "no", "n", "false", "f", "off"};
  const auto is = [&word](const char* one) { return sameLetters(word, one); };
  if (std::ranges::any_of(kTrue, is)) return true;
  return std::ranges::any_of(kFalse, is) ? std::optional(false) : std::nullopt;
}

// The last line that says something decides.
void take(Logins& logins, const std::vector<ConfigurationLine>& lines) {
  bool inside = false;
  const std::string* path = nullptr;
  for (const ConfigurationLine& line : lines) {
    const std::string_view text = trimmed(line.text);
    if (path == nullptr || *path != line.path) inside = false;
    path = &line.path;
    if (text.starts_with('[')) inside = text == "[Login]";
    const std::size_t equals = text.find('=');
    if (!inside || equals == text.npos || trimmed(text.substr(0, equals)) != "RemoveIPC") continue;
    const auto truth = truthOf(trimmed(text.substr(equals + 1)));
    if (!truth) continue;
    logins.removesIpc = *truth;
    logins.path = line.path;
    logins.line = line.number;
  }
}

std::uint32_t lastSystemUserIn(const std::string& path, std::uint32_t otherwise) {
  std::vector<std::string> ignored;
  for (const ConfigurationLine& line : readLines(path, ignored)) {
    std::string_view rest = line.text;
    if (takeWord(rest) != "SYS_UID_MAX") continue;
    const auto number = unsignedOf(takeWord(rest));
    if (number && *number < std::numeric_limits<std::uint32_t>::max()) {
      otherwise = static_cast<std::uint32_t>(*number);
    }
  }
  return otherwise;
}

}  // namespace

bool Logins::removesIpcOf(std::uint32_t user) const {
  return managed && removesIpc && user > lastSystemUser && user != kNobody;
}

Logins readLogins(const std::string& root) {
  Logins logins;
  logins.managed = exists(root + "/run/systemd/users");
  logins.lastSystemUser = lastSystemUserIn(root + "/etc/login.defs", logins.lastSystemUser);
  std::vector<std::string> folders;
  bool found = false;
  for (const char* const above : {"/etc", "/run", "/usr/local/lib", "/usr/lib"}) {
    const std::string file = root + above + "/systemd/logind.conf";
    if (!found && exists(file)) {
      take(logins, readLines(file, logins.unreadable));
      found = true;
    }
    folders.push_back(above + std::string("/systemd/logind.conf.d"));
  }
  take(logins, readDropIns(folders, root, logins.unreadable));
  return logins;
}

}  // namespace reader
