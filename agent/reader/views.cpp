// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/views.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "agent/reader/bounded_file.h"
#include "agent/reader/processes.h"
#include "format/installed.h"

namespace reader {
namespace {

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

bool hasLibrary(const std::string& folder) {
  return mapsOf(folder).find(layout::kPlugInName) != std::string::npos;
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
  for (const std::int32_t process : listProcesses(Views::kMostProcesses, look.views.error, proc)) {
    look.at(proc + "/" + std::to_string(process), process);
  }
  std::ranges::sort(look.views.others, {}, &OtherView::process);
  return std::move(look.views);
}

}  // namespace reader
