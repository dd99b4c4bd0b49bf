// SPDX-License-Identifier: Apache-2.0
#include "host/run/output.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "host/sources/source.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr char kAnInput[] = "{} is an input of the same flow file; expected another file";

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

bool isOneOf(const std::vector<FileId>& inputs, const std::optional<FileId>& file) {
  return file && std::find(inputs.begin(), inputs.end(), *file) != inputs.end();
}

template <typename Visit>
void eachFlow(const flowfile::File& file, const Visit& visit) {
  for (const flowfile::ExecutionGroup& group : file.groups) {
    for (const flowfile::Flow& flow : group.flows) visit(flow);
  }
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

std::vector<flowfile::Finding> outputsThatAreInputs(const flowfile::File& file) {
  std::vector<flowfile::Finding> findings;
  const std::vector<FileId> inputs = inputFiles(file);
  eachFlow(file, [&](const flowfile::Flow& flow) {
    if (!flow.output || !isOneOf(inputs, idOf(flow.output->path))) return;
    findings.push_back({flow.output->place, fmt::format(kAnInput, flow.output->path.string())});
  });
  return findings;
}

OutputFile::OutputFile(const fs::path& path, const std::vector<FileId>& inputs) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  stream_ = fd >= 0 ? fdopen(fd, "w") : nullptr;
  if (stream_ == nullptr) {
    throw std::system_error(errno, std::generic_category(), "can't write " + path.string());
  }
  if (isOneOf(inputs, idOf(fd))) {
    std::fclose(stream_);
    throw std::runtime_error(fmt::format(kAnInput, path.string()));
  }
  // What can't be emptied, a pipe or a terminal, needs no emptying.
  if (idOf(fd) && ftruncate(fd, 0) != 0) {
    const int error = errno;
    std::fclose(stream_);
    throw std::system_error(error, std::generic_category(), "can't empty " + path.string());
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
