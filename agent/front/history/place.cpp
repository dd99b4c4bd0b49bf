// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/place.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "agent/reader/bounded_file.h"

namespace history {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kFileMode = 0640;
constexpr mode_t kDirectoryMode = 0750;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw Refusal{"the history " + path + " " + why};
}

[[noreturn]] void refuseCall(const std::string& path, const char* call, int error) {
  refuse(path, std::string("can't be ") + call + ": " + std::generic_category().message(error) +
                   ". Name a file that this user may write with --history");
}

std::string directoryOf(const std::string& path) {
  const std::string parent = fs::path(path).parent_path();
  return parent.empty() ? "." : parent;
}

void makeDirectory(const std::string& directory) {
  struct stat facts {};
  if (stat(directory.c_str(), &facts) == 0) return;
  const std::string parent = directoryOf(directory);
  if (parent != directory && parent != ".") makeDirectory(parent);
  if (mkdir(directory.c_str(), kDirectoryMode) == 0) chmod(directory.c_str(), kDirectoryMode);
}

void requireDirectory(const std::string& path) {
  const std::string directory = directoryOf(path);
  makeDirectory(directory);
  struct stat facts {};
  if (stat(directory.c_str(), &facts) != 0) refuseCall(path, "made", errno);
  if (!S_ISDIR(facts.st_mode)) refuseCall(path, "made", ENOTDIR);
  if (facts.st_uid != geteuid() && facts.st_uid != 0) {
    refuse(path, "is in a directory of another user. Name one of this user's");
  }
  if ((facts.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    refuse(path, "is in a directory that others can write. Close it (chmod 750), or name another");
  }
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int number() const { return number_; }
  int release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

// This user's regular file of that mode.
int openOwn(const std::string& path) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
  Descriptor file(open(path.c_str(), kFlags, kFileMode));
  if (file.number() < 0 && errno == ELOOP) {
    refuse(path, "is a symbolic link. Name the file itself");
  }
  if (file.number() < 0) refuseCall(path, "opened", errno);
  struct stat facts {};
  fstat(file.number(), &facts);
  if (!S_ISREG(facts.st_mode)) refuse(path, "is no regular file. Name one");
  if (facts.st_uid != geteuid()) {
    refuse(path, "belongs to another user. Name another file, or make it this user's: chown");
  }
  if ((facts.st_mode & 07777) != kFileMode) fchmod(file.number(), kFileMode);
  return file.release();
}

std::string lockOf(const std::string& path) {
  return path + "-lock";
}

struct flock wholeFile() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

std::int64_t processIn(const std::string& lockFile) {
  std::string text = reader::readFile(lockFile, 32).text;
  text = text.substr(0, text.find('\n'));
  return static_cast<std::int64_t>(reader::unsignedOf(text).value_or(0));
}

std::uint64_t sizeOf(const std::string& path) {
  struct stat facts {};
  return stat(path.c_str(), &facts) == 0 ? static_cast<std::uint64_t>(facts.st_size) : 0;
}

// The earliest time when it isn't there.
fs::file_time_type lastWritten(const std::string& path) {
  auto last = fs::file_time_type::min();
  for (const char* const end : {"", "-wal"}) {
    std::error_code failed;
    const auto time = fs::last_write_time(path + end, failed);
    if (!failed) last = std::max(last, time);
  }
  return last;
}

std::string timeText(std::int64_t wallS) {
  const std::time_t time = wallS;
  std::tm parts{};
  gmtime_r(&time, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &parts);
  return text.data();
}

bool exists(const std::string& path) {
  struct stat facts {};
  return lstat(path.c_str(), &facts) == 0;
}

}  // namespace

std::string defaultFile() {
  const auto in = [](const char* variable, std::string_view behind) -> std::string {
    const char* const value = std::getenv(variable);
    if (value == nullptr || *value != '/') return {};
    const std::string_view directories = value;
    return std::string(directories.substr(0, directories.find(':'))) + std::string(behind);
  };
  std::string path = in("STATE_DIRECTORY", "/history.db");
  if (path.empty()) path = in("XDG_STATE_HOME", "/zebmon/history.db");
  return path.empty() ? in("HOME", "/.local/state/zebmon/history.db") : path;
}

std::string fileToRead() {
  const std::string service = "/var/lib/zebmon/history.db";
  const std::string own = defaultFile();
  return lastWritten(own) > lastWritten(service) ? own : service;
}

void prepare(const std::string& path) {
  requireDirectory(path);
  close(openOwn(path));
}

WriterLock::WriterLock(const std::string& path) : descriptor_(openOwn(lockOf(path))) {
  struct flock lock = wholeFile();
  if (fcntl(descriptor_, F_OFD_SETLK, &lock) != 0) {
    const int error = errno;
    close(descriptor_);
    if (error != EAGAIN && error != EACCES) refuseCall(path, "locked", error);
    const std::int64_t process = processIn(lockOf(path));
    refuse(path, (process > 0 ? fmt::format("is written by process {}", process)
                              : std::string("is written by another process")) +
                     ". Name another file with --history, or end that process");
  }
  const std::string text = fmt::format("{}\n", getpid());
  if (ftruncate(descriptor_, 0) != 0 || pwrite(descriptor_, text.data(), text.size(), 0) < 0) {
    return;  // a full disk: it is locked all the same, and only its owner's number is missing
  }
}

WriterLock::~WriterLock() {
  close(descriptor_);
}

bool WriterLock::isHeld(const std::string& path, std::int64_t* process) {
  const std::string file = lockOf(path);
  const Descriptor lockFile(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
  if (lockFile.number() < 0) return false;
  struct flock lock = wholeFile();
  if (fcntl(lockFile.number(), F_OFD_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) return false;
  if (process != nullptr) *process = processIn(file);
  return true;
}

std::uint64_t logBytesOf(const std::string& path) {
  return sizeOf(path + "-wal");
}

std::uint64_t bytesOf(const std::string& path) {
  return sizeOf(path) + logBytesOf(path) + sizeOf(path + "-shm");
}

std::string setAside(const std::string& path, std::int64_t wallS) {
  const std::string name = path + ".damaged-" + timeText(wallS);
  std::string free = name;
  for (int number = 2; exists(free); ++number) free = name + "-" + std::to_string(number);
  if (rename(path.c_str(), free.c_str()) != 0) refuseCall(path, "set aside", errno);
  rename((path + "-wal").c_str(), (free + "-wal").c_str());
  unlink((path + "-shm").c_str());
  return free;
}

}  // namespace history
