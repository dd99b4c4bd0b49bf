// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/groups.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "agent/reader/bounded_file.h"
#include "agent/reader/configuration_files.h"

namespace reader {
namespace {

constexpr std::size_t kBuffer = 16384;

struct Account {
  std::string user;
  std::vector<gid_t> groups;
};

std::vector<gid_t> groupsOf(const passwd& entry) {
  int count = 1024;
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  const int all = getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count);
  groups.resize(all < 0 ? 0 : static_cast<std::size_t>(all));
  return groups;
}

std::vector<gid_t> ownGroups() {
  std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
  getgroups(static_cast<int>(groups.size()), groups.data());
  groups.push_back(getegid());
  return groups;
}

std::optional<Account> accountHere() {
  std::vector<char> buffer(kBuffer);
  passwd entry{};
  passwd* found = nullptr;
  const uid_t user = geteuid();
  if (user != 0) {
    getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
    return Account{found != nullptr ? found->pw_name : std::to_string(user), ownGroups()};
  }
  getpwnam_r(kServiceUser, &entry, buffer.data(), buffer.size(), &found);
  if (found == nullptr) return std::nullopt;
  return Account{found->pw_name, groupsOf(entry)};
}

// Whether a drop-in of the services has the group. An empty list takes back those before it.
bool isGiven(const std::string& group, const std::string& root) {
  constexpr std::string_view kKey = "SupplementaryGroups=";
  std::vector<std::string> unreadable;
  bool given = false;
  const std::vector<std::string> folders = {"/etc/systemd/system/zebmon.service.d",
                                            "/usr/lib/systemd/system/zebmon.service.d"};
  for (const ConfigurationLine& line : readDropIns(folders, root, unreadable)) {
    if (!line.text.starts_with(kKey)) continue;
    std::string_view rest = std::string_view(line.text).substr(kKey.size());
    std::string_view word = takeWord(rest);
    given = given && !word.empty();
    for (; !word.empty(); word = takeWord(rest)) given = given || word == group;
  }
  return given;
}

}  // namespace

std::string groupName(gid_t id) {
  std::vector<char> buffer(kBuffer);
  group entry{};
  group* found = nullptr;
  getgrgid_r(id, &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr ? found->gr_name : std::to_string(id);
}

std::optional<Membership> readMembership(const std::string& group, const std::string& root) {
  const auto account = accountHere();
  if (!account) return std::nullopt;
  const bool member =
      std::ranges::any_of(account->groups, [&group](gid_t one) { return groupName(one) == group; });
  return Membership{group, account->user,
                    member || (account->user == kServiceUser && isGiven(group, root))};
}

}  // namespace reader
