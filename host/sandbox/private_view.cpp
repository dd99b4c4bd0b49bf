// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/private_view.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <string_view>

#include "format/names.h"

namespace host {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const std::string& step) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet.
  throw ViewRefused(fmt::format("{}: {}", step, std::strerror(errno)));
}

void require(bool done, const std::string& step) {
  if (!done) refuse(step);
}

void writeFile(const fs::path& path, std::string_view text) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  require(fd >= 0, "open " + path.string());
  const bool done = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  const int error = errno;
  close(fd);
  errno = error;
  require(done, "write " + path.string());
}

// The same user and group inside as outside, so that System V objects get the owner they should.
void mapIds(uid_t user, gid_t group) {
  writeFile("/proc/self/setgroups", "deny");
  writeFile("/proc/self/uid_map", fmt::format("{0} {0} 1", user));
  writeFile("/proc/self/gid_map", fmt::format("{0} {0} 1", group));
}

// Shows `from` at `to` as well.
void bind(const fs::path& from, const fs::path& to) {
  require(mount(from.c_str(), to.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
          "bind " + to.string());
}

// In a chroot the root is no mount point, so its mount can't be made private, and whatever is
// mounted below it could be seen outside. /proc is one: it is made private, the root is shown over
// it, private as well, and becomes the root.
void makeRootPrivate() {
  const auto makePrivate = [](unsigned long more) {
    return mount(nullptr, "/proc", nullptr, MS_PRIVATE | more, nullptr) == 0;
  };
  require(makePrivate(0), "mount --make-private /proc in a chroot, where /proc must be mounted");
  bind("/", "/proc");
  require(makePrivate(MS_REC), "mount --make-rprivate /proc");
  require(chdir("/proc") == 0 && chroot(".") == 0, "chroot /proc");
}

void enterNamespaces() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWNS) != 0) {
    require(unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0, "unshare(CLONE_NEWUSER | CLONE_NEWNS)");
    mapIds(user, group);
  }
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) return;
  require(errno == EINVAL, "mount --make-private /");
  makeRootPrivate();
}

// A descriptor that names a place also after something was mounted over it.
class Place {
 public:
  explicit Place(const fs::path& path)
      : fd_(::open(path.c_str(), O_PATH | O_CLOEXEC | O_NOFOLLOW)) {
    require(fd_ >= 0, "open " + path.string());
  }
  ~Place() { close(fd_); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  fs::path path() const { return fmt::format("/proc/self/fd/{}", fd_); }

 private:
  int fd_;
};

// What of a folder is not shown again: a name without names below it is absent, a name with some is
// a new folder, in which only those are hidden.
struct Hidden {
  std::map<std::string, Hidden> below;
};

void showAgain(const fs::path& from, const fs::path& to) {
  struct stat status {};
  if (lstat(from.c_str(), &status) != 0) return;
  if (S_ISLNK(status.st_mode)) {
    fs::create_symlink(fs::read_symlink(from), to);
  } else if (S_ISDIR(status.st_mode)) {
    fs::create_directory(to);
    bind(from, to);
  } else {
    writeFile(to, "");
    bind(from, to);
  }
}

// Fills the new folder `to` with everything of the old folder `from`, if there is one, that isn't
// hidden.
void copyView(const fs::path& from, const fs::path& to, const Hidden& hidden) {
  if (fs::is_directory(from)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
      const std::string name = entry.path().filename();
      if (!hidden.below.contains(name)) showAgain(entry.path(), to / name);
    }
  }
  for (const auto& [name, deeper] : hidden.below) {
    if (deeper.below.empty()) continue;
    fs::create_directory(to / name);
    copyView(from / name, to / name, deeper);
  }
}

void replaceFolder(const fs::path& folder, const Hidden& hidden) {
  const Place old(folder);
  require(mount("zebhost", folder.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=755,size=4m") == 0,
          "mount a file system in memory over " + folder.string());
  copyView(old.path(), folder, hidden);
}

// The places where the library looks for settings, from the root.
Hidden settingsOfTheMachine() {
  Hidden root;
  const auto hide = [&root](const fs::path& path) {
    Hidden* at = &root;
    for (const fs::path& name : path.relative_path()) {
      if (!name.empty()) at = &at->below[name.string()];
    }
  };
  for (const char* const file : layout::kConfigurationFiles) hide(file);
  for (const char* const folder : layout::kRegistries) hide(folder);
  hide(layout::kInstallProperties);
  return root;
}

void writeSettings(const flowfile::Broker& broker) {
  writeFile(layout::kConfigurationFiles[0], configurationText(broker));
  if (!broker.uuid) return;
  const fs::path folder = fs::path(layout::kRegistries[0]) / broker.label;
  fs::create_directories(folder);
  writeFile(folder / layout::kUuidFile, *broker.uuid + "\n");
}

}  // namespace

std::string configurationText(const flowfile::Broker& broker) {
  std::string text;
  const auto setting = [&text](const std::string& name, const auto& value) {
    text += fmt::format("{}={}\n", name, value);
  };
  if (broker.trace) setting(layout::kTraceKey, "On");
  if (broker.activate) setting(layout::kActivateKey, *broker.activate);
  if (broker.activateForBroker) {
    setting(layout::kActivateForKey + broker.label, *broker.activateForBroker);
  }
  if (broker.tempDirectory) setting(layout::kDirectoryKey, broker.tempDirectory->string());
  if (broker.memorySize) setting(layout::kMemorySizeKey, *broker.memorySize);
  return text;
}

void enterPrivateView(const flowfile::Broker& broker) {
  const fs::path working = fs::current_path();
  try {
    enterNamespaces();
    for (const auto& [name, hidden] : settingsOfTheMachine().below) {
      replaceFolder(fs::path("/") / name, hidden);
    }
    writeSettings(broker);
    fs::current_path(working);
  } catch (const fs::filesystem_error& error) {
    throw ViewRefused(fmt::format("{}: {}", error.path1().string(), error.code().message()));
  }
}

void enterPrivateObjects() {
  require(unshare(CLONE_NEWIPC) == 0, "unshare(CLONE_NEWIPC)");
}

}  // namespace host
