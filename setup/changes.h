// SPDX-License-Identifier: Apache-2.0
// Changes of the file system that all happen, or none.
#ifndef ZEB_SETUP_CHANGES_H
#define ZEB_SETUP_CHANGES_H

#include <signal.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace setup {

// Each change throws Stop when it fails. What was changed is taken back at the end, the last first,
// unless keep() was called; signals that end a process wait until then.
class Changes {
 public:
  Changes();
  ~Changes();
  Changes(const Changes&) = delete;
  Changes& operator=(const Changes&) = delete;

  // Makes the directories above it, too. Everybody may look into them.
  void makeDirectory(const std::string& path);

  // The mode counts whatever the umask. Nothing of that name may be there.
  void makeDirectory(const std::string& path, mode_t mode, gid_t group);

  // Never replaces anything.
  void writeNew(const std::string& path, const std::string& text);
  void linkNew(const std::string& path, const std::string& target);

  // Replaces one of our own files. `before` is what it holds now.
  void rewrite(const std::string& path, const std::string& before, const std::string& text);

  // A link, of which `target` is known.
  void removeLink(const std::string& path, const std::string& target);

  void keep() { undo_.clear(); }

 private:
  void make(const std::string& path, mode_t mode);

  std::vector<std::function<void()>> undo_;
  sigset_t signals_;
};

// Stops unless this process may make and remove entries of the directory. `what` is what it is.
void requireWritable(const std::string& directory, const std::string& what);

// The directory that a path is in: what comes before its last "/".
std::string folderOf(const std::string& path);

// The nearest directory above, or at, a path that is there.
std::string nearest(std::string path);

}  // namespace setup

#endif  // ZEB_SETUP_CHANGES_H
