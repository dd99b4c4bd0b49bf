// SPDX-License-Identifier: Apache-2.0
#include "host/sources/files.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>

#include "flowfile/section.h"
#include "host/sources/file_error.h"
#include "host/sources/repeat.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// The folder's regular files by name; `error` says why there are none.
std::vector<fs::path> filesIn(const fs::path& folder, std::error_code& error) {
  std::vector<fs::path> files;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    std::error_code none;
    if (at->is_regular_file(none)) files.push_back(at->path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

class FilesSource : public MessageSource {
 public:
  FilesSource(std::vector<fs::path> files, std::uint64_t repeat, const StopSignal& stop)
      : files_(std::move(files)), repeat_(repeat), stop_(stop) {}

  bool next(Draft& draft) override {
    if (at_ == files_.size()) {
      if (--repeat_ == 0 || files_.empty()) return false;
      at_ = 0;
    }
    if (stop_.raised()) return false;
    const fs::path& path = files_[at_++];
    std::ifstream file(path, std::ios::binary);
    if (!file) throw FileError(errno, "can't read", path);
    draft.body.assign(std::istreambuf_iterator<char>(file), {});
    draft.name = path.filename().string();
    return true;
  }

 private:
  std::vector<fs::path> files_;
  std::uint64_t repeat_;
  const StopSignal& stop_;
  std::size_t at_ = 0;
};

}  // namespace

std::optional<Files> Files::read(flowfile::Section& input, flowfile::Context& context) {
  const auto text = input.text(key);
  const std::uint64_t repeat = readRepeat(input, true);
  if (!text) return std::nullopt;
  Files files{context.resolved(*text), repeat};
  std::error_code none;
  if (!fs::is_directory(files.path, none)) {
    flowfile::noteMissing(input, key, "folder", files.path);
  }
  return files;
}

std::unique_ptr<MessageSource> open(const Files& files, std::uint64_t /*seed*/,
                                    const StopSignal& stop) {
  std::error_code error;
  std::vector<fs::path> found = filesIn(files.path, error);
  if (error) throw FileError(error.value(), "can't read", files.path);
  return std::make_unique<FilesSource>(std::move(found), files.repeat, stop);
}

std::vector<fs::path> inputsOf(const Files& files) {
  std::error_code none;
  return filesIn(files.path, none);
}

}  // namespace host
