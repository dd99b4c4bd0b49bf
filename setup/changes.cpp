// SPDX-License-Identifier: Apache-2.0
#include "setup/changes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <ranges>

#include "agent/archive/replace_file.h"
#include "setup/stop.h"

namespace setup {
namespace {

constexpr mode_t kForAll = 0644;
constexpr mode_t kFolderForAll = 0755;

bool isThere(const std::string& path) {
  return faccessat(AT_FDCWD, path.c_str(), F_OK, AT_EACCESS) == 0;
}

int write(const std::string& path, const std::string& text, archived::Existing existing) {
  int failed = 0;
  const auto fill = [&](const archived::Sink& sink) {
    failed = sink(text);
    return failed == 0;
  };
  const int error = archived::replaceFile(path, fill, existing, kForAll);
  return failed != 0 ? failed : error;
}

}  // namespace

Changes::Changes() {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int one : {SIGHUP, SIGINT, SIGTERM, SIGQUIT}) sigaddset(&ending, one);
  pthread_sigmask(SIG_BLOCK, &ending, &signals_);
}

Changes::~Changes() {
  for (const auto& takeBack : undo_ | std::views::reverse) takeBack();
  pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
}

void Changes::makeDirectory(const std::string& path) {
  if (isThere(path)) return;
  makeDirectory(folderOf(path));
  make(path, kFolderForAll);
}

// The bit that gives files their group goes with a change of the directory's own.
void Changes::makeDirectory(const std::string& path, mode_t mode, gid_t group) {
  make(path, S_IRWXU);
  if (chown(path.c_str(), geteuid(), group) != 0 || chmod(path.c_str(), mode) != 0) {
    throw failure(errno, path + " can't be given to its group");
  }
}

void Changes::make(const std::string& path, mode_t mode) {
  if (mkdir(path.c_str(), mode) != 0) throw failure(errno, path + " can't be made");
  undo_.push_back([path] { rmdir(path.c_str()); });
  if (chmod(path.c_str(), mode) != 0) throw failure(errno, path + " can't be made");
}

void Changes::writeNew(const std::string& path, const std::string& text) {
  const int error = write(path, text, archived::Existing::keep);
  if (error != 0) throw failure(error, path + " can't be written");
  undo_.push_back([path] { unlink(path.c_str()); });
}

void Changes::linkNew(const std::string& path, const std::string& target) {
  if (symlink(target.c_str(), path.c_str()) != 0) throw failure(errno, path + " can't be made");
  undo_.push_back([path] { unlink(path.c_str()); });
}

void Changes::rewrite(const std::string& path, const std::string& before, const std::string& text) {
  const int error = write(path, text, archived::Existing::replace);
  if (error != 0) throw failure(error, path + " can't be written");
  undo_.push_back([path, before] { write(path, before, archived::Existing::replace); });
}

void Changes::removeLink(const std::string& path, const std::string& target) {
  if (unlink(path.c_str()) != 0) throw failure(errno, path + " can't be removed");
  undo_.push_back(
      [path, target] { [[maybe_unused]] int _ = symlink(target.c_str(), path.c_str()); });
}

void requireWritable(const std::string& directory, const std::string& what) {
  const int denied = faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS);
  if (denied != 0) throw failure(errno, "the " + what + " " + directory + " can't be written to");
}

std::string folderOf(const std::string& path) {
  return std::filesystem::path(path).parent_path();
}

std::string nearest(std::string path) {
  while (!isThere(path)) path = folderOf(path);
  return path;
}

}  // namespace setup
