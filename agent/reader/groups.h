// SPDX-License-Identifier: Apache-2.0
// Groups of users, and whether the one who is to look is in one of them.
#ifndef ZEB_AGENT_READER_GROUPS_H
#define ZEB_AGENT_READER_GROUPS_H

#include <sys/types.h>

#include <optional>
#include <string>

namespace reader {

// The user as which the agent's services run.
inline constexpr char kServiceUser[] = "zebmon";

// Its name, or its number when it has none.
std::string groupName(gid_t id);

struct Membership {
  std::string group;
  std::string user;  // its name, or its number when it has none
  bool member = false;
};

// Whether this process may do what the group may. Root may do everything: for root it is told
// whether the user of the services may, and nothing where there is no such user. A drop-in of the
// services that gives them the group counts; `root` is put before the folders of these.
std::optional<Membership> readMembership(const std::string& group, const std::string& root = "");

}  // namespace reader

#endif  // ZEB_AGENT_READER_GROUPS_H
