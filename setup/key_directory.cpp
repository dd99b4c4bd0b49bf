// SPDX-License-Identifier: Apache-2.0
#include "setup/key_directory.h"

#include <fmt/format.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "agent/reader/bounded_file.h"
#include "format/installed.h"
#include "setup/notes.h"
#include "setup/stop.h"

namespace setup {
namespace {

constexpr mode_t kMode = 02770;
constexpr mode_t kPermissionBits = 07777;
const std::string kEntryFile = layout::kKeyFileDirectoryEntry;
const std::string kFolder = folderOf(layout::kKeyFileDirectory);  // without its "/"

gid_t idOf(const std::string& group) {
  errno = 0;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the program has one thread.
  const struct group* const found = getgrnam(group.c_str());
  if (found != nullptr) return found->gr_gid;
  throw Stop{kNothing,
             fmt::format("there is no group \"{0}\". Make it with \"groupadd -r {0}\", or "
                         "name that of the host's processes",
                         group)};
}

// Whether systemd runs here, and so reads the entry at each start of the system.
bool systemdRuns() {
  struct stat facts {};
  return stat("/run/systemd/system", &facts) == 0 && S_ISDIR(facts.st_mode);
}

// Whether the entry is there as it has to be.
bool hasEntry(const std::string& entry) {
  struct stat facts {};
  if (lstat(kEntryFile.c_str(), &facts) != 0) return false;
  if (reader::readFile(kEntryFile, entry.size()).text == entry) return true;
  throw Stop{kFailed, kEntryFile +
                          " is there and says something else. Remove it, or leave out "
                          "--group"};
}

bool hasDirectory(gid_t group) {
  struct stat facts {};
  if (lstat(kFolder.c_str(), &facts) != 0) return false;
  if (S_ISDIR(facts.st_mode) && facts.st_gid == group &&
      (facts.st_mode & kPermissionBits) == kMode) {
    return true;
  }
  throw Stop{kFailed, fmt::format("{} is there and is not that group's directory with mode 2770. "
                                  "Remove it, or make it so",
                                  kFolder)};
}

}  // namespace

KeyDirectory::KeyDirectory(const std::string& group)
    : group_(group),
      id_(idOf(group)),
      entry_(fmt::format("# Key files of the monitoring nodes.\nd {} 2770 root {} -\n", kFolder,
                         group)),
      lasts_(systemdRuns()) {
  noted_ = lasts_ && hasEntry(entry_);
  made_ = hasDirectory(id_);
  if (!made_) requireWritable(folderOf(kFolder), "directory");
  if (lasts_ && !noted_) requireWritable(nearest(folderOf(kEntryFile)), "directory");
}

// The entry only matters from the next start on: what it would do now is done by hand.
void KeyDirectory::make(Changes& changes) const {
  if (lasts_ && !noted_) {
    changes.makeDirectory(folderOf(kEntryFile));
    writeAndNote(kEntryFile, entry_, changes);
  }
  if (!made_) changes.makeDirectory(kFolder, kMode, id_);
}

std::string KeyDirectory::report() const {
  const std::string now =
      fmt::format("Key files: {} {} for the group {}", layout::kKeyFileDirectory,
                  made_ ? "is there" : "was made", group_);
  if (lasts_) return now + ", as at each start of the system.\n";
  return fmt::format(
      "{}. No systemd runs here: have it made again at each start, by\n"
      "    install -d -m 2770 -g {} {}\n",
      now, group_, layout::kKeyFileDirectory);
}

}  // namespace setup
