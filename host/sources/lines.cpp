// SPDX-License-Identifier: Apache-2.0
#include "host/sources/lines.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "flowfile/section.h"
#include "host/sources/file_error.h"
#include "host/sources/repeat.h"

namespace host {
namespace {

namespace fs = std::filesystem;

class LinesSource : public MessageSource {
 public:
  LinesSource(const Lines& lines, const StopSignal& stop) : lines_(lines), stop_(stop) {
    fd_ = lines.standardInput() ? STDIN_FILENO
                                : ::open(lines.path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd_ < 0) fail();
  }
  ~LinesSource() override {
    if (!lines_.standardInput()) close(fd_);
  }
  LinesSource(const LinesSource&) = delete;
  LinesSource& operator=(const LinesSource&) = delete;

  bool next(Draft& draft) override {
    std::size_t end;
    while ((end = text_.find('\n', scanned_)) == std::string::npos) {
      scanned_ = text_.size();
      if (fill()) continue;
      if (stop_.raised()) return false;
      if (text_.size() > begin_) {
        end = text_.size();
        text_.push_back('\n');
        break;
      }
      if (!rewind()) return false;
    }
    draft.body.assign(text_, begin_, end - begin_);
    begin_ = scanned_ = end + 1;
    draft.name = fmt::format(
        "{}:{}", lines_.standardInput() ? "stdin" : lines_.path.filename().string(), ++line_);
    return true;
  }

 private:
  [[noreturn]] void fail() const { throw FileError(errno, "can't read", lines_.path); }

  // More text behind what is there; false at the end of the file or of the run.
  bool fill() {
    constexpr std::size_t kChunk = 65536;
    if (!stop_.waitReadable(fd_)) return false;
    text_.erase(0, begin_);
    scanned_ -= begin_;
    begin_ = 0;
    const std::size_t had = text_.size();
    text_.resize(had + kChunk);
    const ssize_t got = ::read(fd_, text_.data() + had, kChunk);
    if (got < 0 && errno != EINTR && errno != EAGAIN) fail();
    text_.resize(had + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return got != 0;
  }

  bool rewind() {
    if (--lines_.repeat == 0 || line_ == 0) return false;
    text_.clear();
    begin_ = scanned_ = 0;
    line_ = 0;
    return lseek(fd_, 0, SEEK_SET) == 0;
  }

  Lines lines_;
  const StopSignal& stop_;
  int fd_;
  std::string text_;
  std::size_t begin_ = 0;    // of the next line in text_
  std::size_t scanned_ = 0;  // no newline before this
  std::uint64_t line_ = 0;
};

void takeStandardInput(flowfile::Section& input, flowfile::Context& context) {
  if (context.standardInputReader != nullptr) {
    input.noteAt(Lines::key, fmt::format("standard input is read for {} already; expected a file",
                                         context.standardInputReader));
  }
  context.standardInputReader = "another flow";
}

}  // namespace

std::optional<Lines> Lines::read(flowfile::Section& input, flowfile::Context& context) {
  const auto text = input.text(key);
  Lines lines{text == "-" ? fs::path(*text) : context.resolved(text.value_or("")), 1};
  std::error_code none;
  if (!text) {
  } else if (lines.standardInput()) {
    takeStandardInput(input, context);
  } else if (!fs::exists(lines.path, none) || fs::is_directory(lines.path, none)) {
    flowfile::noteMissing(input, key, "file", lines.path);
  }
  lines.repeat = readRepeat(input, fs::is_regular_file(lines.path, none));
  return text ? std::optional(lines) : std::nullopt;
}

std::unique_ptr<MessageSource> open(const Lines& lines, std::uint64_t /*seed*/,
                                    const StopSignal& stop) {
  return std::make_unique<LinesSource>(lines, stop);
}

std::vector<fs::path> inputsOf(const Lines& lines) {
  return {lines.path};
}

}  // namespace host
