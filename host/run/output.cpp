// SPDX-License-Identifier: Apache-2.0
#include "host/run/output.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <variant>

#include "host/sources/file_error.h"
#include "host/sources/source.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr char kAnInput[] = "{} is an input of the same flow file; expected another file";
constexpr char kInAFolder[] =
    "{} is in a folder that a flow of the same file reads; expected another folder";
constexpr char kTwice[] =
    "{} is an output of two flows, first in line {}; expected another file for each";

std::optional<FileId> idOf(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return std::nullopt;
  return FileId{status.st_dev, status.st_ino};
}

std::optional<FileId> idOf(int fd) {
  struct stat status {};
  return fstat(fd, &status) == 0 ? idOf(status) : std::nullopt;
}

std::optional<FileId> idOf(const fs::path& path) {
  struct stat status {};
  if (path == "-") return idOf(STDIN_FILENO);
  return stat(path.c_str(), &status) == 0 ? idOf(status) : std::nullopt;
}

// Where a file that isn't there would be made: its folder and its name.
using NewFile = std::pair<FileId, std::string>;

// Behind links that lead nowhere yet, as making the file would go.
fs::path behindLinks(fs::path path) {
  constexpr int kMostLinks = 40;
  std::error_code error;
  for (int i = 0; i < kMostLinks; ++i) {
    const fs::path target = fs::read_symlink(path, error);
    if (error) break;
    path = path.parent_path() / target;
  }
  return path;
}

std::optional<FileId> folderOf(const fs::path& path) {
  struct stat status {};
  if (stat(path.parent_path().c_str(), &status) != 0) return std::nullopt;
  return FileId{status.st_dev, status.st_ino};
}

// What tells outputs apart; an empty name goes with a file that exists. Nothing for pipes, devices
// and what can't be looked at.
std::optional<NewFile> identityOf(const fs::path& path) {
  if (const auto id = idOf(path)) return NewFile{*id, ""};
  std::error_code none;
  if (fs::exists(path, none)) return std::nullopt;
  const fs::path made = behindLinks(path);
  if (const auto folder = folderOf(made)) return NewFile{*folder, made.filename().string()};
  return std::nullopt;
}

bool isOneOf(const std::vector<FileId>& inputs, const std::optional<FileId>& file) {
  return file && std::find(inputs.begin(), inputs.end(), *file) != inputs.end();
}

template <typename Visit>
void eachFlow(const flowfile::File& file, const Visit& visit) {
  for (const flowfile::ExecutionGroup& group : file.groups) {
    for (const flowfile::Flow& flow : group.flows) visit(flow);
  }
}

// The folders whose files are messages: a new file in them would be one the next time.
std::vector<FileId> inputFolders(const flowfile::File& file) {
  std::vector<FileId> folders;
  eachFlow(file, [&folders](const flowfile::Flow& flow) {
    const auto* files = std::get_if<Files>(&settingsOf(flow.input));
    const auto id = files != nullptr ? folderOf(files->path / "") : std::nullopt;
    if (id) folders.push_back(*id);
  });
  return folders;
}

}  // namespace

std::vector<FileId> inputFiles(const flowfile::File& file) {
  std::vector<FileId> inputs;
  const auto add = [&inputs](const fs::path& path) {
    if (const auto id = idOf(path)) inputs.push_back(*id);
  };
  add(file.path);
  eachFlow(file, [&add](const flowfile::Flow& flow) {
    for (const fs::path& path : inputsOf(settingsOf(flow.input))) add(path);
  });
  return inputs;
}

std::vector<flowfile::Finding> wrongOutputs(const flowfile::File& file) {
  std::vector<flowfile::Finding> findings;
  const std::vector<FileId> inputs = inputFiles(file);
  const std::vector<FileId> folders = inputFolders(file);
  std::map<NewFile, unsigned> lines;
  eachFlow(file, [&](const flowfile::Flow& flow) {
    const auto identity = flow.output ? identityOf(flow.output->path) : std::nullopt;
    if (!identity) return;
    const std::string path = flow.output->path.string();
    const auto& [id, name] = *identity;
    const auto [first, isNew] = lines.emplace(*identity, flow.output->place.line);
    if (isOneOf(name.empty() ? inputs : folders, id)) {
      const char* const text = name.empty() ? kAnInput : kInAFolder;
      findings.push_back({flow.output->place, fmt::format(fmt::runtime(text), path)});
    } else if (!isNew) {
      findings.push_back({flow.output->place, fmt::format(kTwice, path, first->second)});
    }
  });
  return findings;
}

OutputFile::OutputFile(const fs::path& path, const std::vector<FileId>& inputs) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  stream_ = fd >= 0 ? fdopen(fd, "w") : nullptr;
  if (stream_ == nullptr) {
    throw FileError(errno, "can't write", path);
  }
  if (isOneOf(inputs, idOf(fd))) {
    std::fclose(stream_);
    throw std::runtime_error(fmt::format(kAnInput, path.string()));
  }
  // What can't be emptied, a pipe or a terminal, needs no emptying.
  if (idOf(fd) && ftruncate(fd, 0) != 0) {
    const int error = errno;
    std::fclose(stream_);
    throw FileError(error, "can't empty", path);
  }
}

OutputFile::~OutputFile() {
  std::fclose(stream_);
}

bool OutputFile::write(std::string_view line) {
  return std::fwrite(line.data(), 1, line.size(), stream_) == line.size() &&
         std::fputc('\n', stream_) != EOF;
}

bool OutputFile::flush() {
  return std::fflush(stream_) == 0;
}

}  // namespace host
