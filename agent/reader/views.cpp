// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/views.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <string_view>

#include "agent/reader/bounded_file.h"

namespace reader {
namespace {

constexpr char kLibrary[] = "zebpnode64.lil";
constexpr std::size_t kMostOfMaps = 1 << 24;
constexpr std::size_t kMostOfLine = 4096;

struct Namespaces {
  std::optional<std::string> mounts;
  std::optional<std::string> ipc;
};

std::optional<std::string> linkAt(const std::string& path) {
  std::array<char, 256> target{};
  const ssize_t size = readlink(path.c_str(), target.data(), target.size());
  if (size < 0) return std::nullopt;
  return std::string(target.data(), static_cast<std::size_t>(size));
}

Namespaces namespacesOf(const std::string& folder) {
  return {linkAt(folder + "/ns/mnt"), linkAt(folder + "/ns/ipc")};
}

std::optional<bool> differ(const std::optional<std::string>& one,
                           const std::optional<std::string>& other) {
  return one && other ? std::optional(*one != *other) : std::nullopt;
}

// Processes of the kernel have no command line, and no other view.
bool isUsers(const std::string& folder) {
  return !readFile(folder + "/cmdline", 1).text.empty();
}

bool hasLibrary(const std::string& folder) {
  return readFile(folder + "/maps", kMostOfMaps).text.find(kLibrary) != std::string::npos;
}

std::string firstLineOf(const std::string& path) {
  const std::string text = readFile(path, kMostOfLine).text;
  return text.substr(0, text.find('\n'));
}

// The last part of "0::/system.slice/broker.service" that is a service.
std::string unitIn(std::string_view path) {
  std::string unit;
  while (!path.empty()) {
    const std::string_view part = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(part.size() + 1, path.size()));
    if (part.ends_with(".service")) unit = part;
  }
  return unit;
}

// Through the process's own root.
std::optional<bool> seesOther(const std::string& folder, const std::string& directory) {
  struct stat ours {};
  struct stat theirs {};
  if (stat(directory.c_str(), &ours) != 0) return std::nullopt;
  if (stat((folder + "/root" + directory).c_str(), &theirs) != 0) {
    return errno == ENOENT ? std::optional(true) : std::nullopt;
  }
  return ours.st_dev != theirs.st_dev || ours.st_ino != theirs.st_ino;
}

class Look {
 public:
  Look(std::string directory, const std::string& proc)
      : directory_(std::move(directory)), own_(namespacesOf(proc + "/self")) {}

  void at(const std::string& folder, std::int32_t process) {
    const Namespaces its = namespacesOf(folder);
    const auto mounts = differ(own_.mounts, its.mounts);
    const auto ipc = differ(own_.ipc, its.ipc);
    if (!mounts || !ipc) {
      views.hidden += isUsers(folder);
    } else if ((*mounts || *ipc) && hasLibrary(folder)) {
      add(folder, process, *mounts, *ipc);
    }
  }

  Views views;

 private:
  void add(const std::string& folder, std::int32_t process, bool mounts, bool ipc) {
    OtherView view{.process = process,
                   .command = firstLineOf(folder + "/comm"),
                   .unit = unitIn(firstLineOf(folder + "/cgroup")),
                   .otherDirectory = mounts ? seesOther(folder, directory_) : std::optional(false),
                   .otherIpc = ipc};
    if (view.otherDirectory != false || ipc) views.others.push_back(std::move(view));
  }

  std::string directory_;
  Namespaces own_;
};

}  // namespace

Views readViews(const std::string& directory, const std::string& proc) {
  Look look(directory, proc);
  std::error_code error;
  std::filesystem::directory_iterator entry(proc, error), end;
  std::size_t looked = 0;
  for (; !error && entry != end && looked < Views::kMostProcesses; entry.increment(error)) {
    const auto id = unsignedOf(entry->path().filename().native());
    if (!id || *id > INT32_MAX) continue;
    look.at(entry->path(), static_cast<std::int32_t>(*id));
    ++looked;
  }
  look.views.error = error.value();
  std::ranges::sort(look.views.others, {}, &OtherView::process);
  return std::move(look.views);
}

}  // namespace reader
