// SPDX-License-Identifier: Apache-2.0
// A directory of key files that a group shares.
#ifndef ZEB_SETUP_KEY_DIRECTORY_H
#define ZEB_SETUP_KEY_DIRECTORY_H

#include <sys/types.h>

#include <string>

#include "setup/changes.h"

namespace setup {

// The directory below /run, for one group: what makes it at each start of the system, and now.
class KeyDirectory {
 public:
  // Looks at what is there. Stops when there is no such group, or anything else in one of the two
  // places.
  explicit KeyDirectory(const std::string& group);

  void make(Changes& changes) const;

  // Sentences for people, a line each.
  std::string report() const;

 private:
  std::string group_;
  gid_t id_;
  std::string entry_;   // the line of tmpfiles.d
  bool lasts_;          // systemd makes it again at each start of the system
  bool noted_ = false;  // the line is there
  bool made_ = false;   // the directory is
};

}  // namespace setup

#endif  // ZEB_SETUP_KEY_DIRECTORY_H
