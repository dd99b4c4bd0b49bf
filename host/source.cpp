// SPDX-License-Identifier: Apache-2.0
#include "host/source.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

namespace host {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path) {
  throw std::system_error(errno, std::generic_category(), path.string());
}

// Lines of a file, each without its newline; the last one needs none.
class LinesSource : public Source {
 public:
  LinesSource(const Input& input, const StopSignal& stop)
      : path_(input.path), repeat_(input.repeat), standard_(input.standardInput()), stop_(stop) {
    fd_ = standard_ ? STDIN_FILENO : open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) fail(path_);
  }
  ~LinesSource() override {
    if (!standard_) close(fd_);
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
    draft.name = fmt::format("{}:{}", standard_ ? "stdin" : path_.filename().string(), ++line_);
    return true;
  }

 private:
  // More text behind what is there; false at the end of the file or of the run.
  bool fill() {
    constexpr std::size_t kChunk = 65536;
    if (!stop_.waitReadable(fd_)) return false;
    text_.erase(0, begin_);
    scanned_ -= begin_;
    begin_ = 0;
    const std::size_t had = text_.size();
    text_.resize(had + kChunk);
    const ssize_t got = read(fd_, text_.data() + had, kChunk);
    if (got < 0 && errno != EINTR) fail(path_);
    text_.resize(had + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return got != 0;
  }

  bool rewind() {
    if (standard_ || --repeat_ == 0 || line_ == 0) return false;
    text_.clear();
    begin_ = scanned_ = 0;
    line_ = 0;
    return lseek(fd_, 0, SEEK_SET) == 0;
  }

  fs::path path_;
  std::uint64_t repeat_;
  bool standard_;
  const StopSignal& stop_;
  int fd_;
  std::string text_;
  std::size_t begin_ = 0;    // of the next line in text_
  std::size_t scanned_ = 0;  // no newline before this
  std::uint64_t line_ = 0;
};

// The files of a folder, in the order of their names.
class FilesSource : public Source {
 public:
  FilesSource(const Input& input, const StopSignal& stop) : repeat_(input.repeat), stop_(stop) {
    for (const fs::directory_entry& entry : fs::directory_iterator(input.path)) {
      if (entry.is_regular_file()) files_.push_back(entry.path());
    }
    std::sort(files_.begin(), files_.end());
  }

  bool next(Draft& draft) override {
    if (at_ == files_.size()) {
      if (--repeat_ == 0 || files_.empty()) return false;
      at_ = 0;
    }
    if (stop_.raised()) return false;
    const fs::path& path = files_[at_++];
    std::ifstream file(path, std::ios::binary);
    if (!file) fail(path);
    draft.body.assign(std::istreambuf_iterator<char>(file), {});
    draft.name = path.filename().string();
    return true;
  }

 private:
  std::uint64_t repeat_;
  const StopSignal& stop_;
  std::vector<fs::path> files_;
  std::size_t at_ = 0;
};

// Bodies of letters and digits, of a size that varies.
class GeneratedSource : public Source {
 public:
  GeneratedSource(const Input& input, std::uint64_t seed, const StopSignal& stop)
      : count_(input.count), size_(input.size), seed_(seed), stop_(stop) {}

  bool next(Draft& draft) override {
    constexpr double kLargest = 256.0 * 1024 * 1024;  // an unbounded distribution ends here
    if ((count_ != 0 && number_ == count_) || stop_.raised()) return false;
    Random random(mixSeeds(seed_, ++number_));
    draft.body.resize(static_cast<std::size_t>(std::min(kLargest, size_.draw(random))));
    for (std::size_t i = 0; i < draft.body.size(); i += kLetters) letters(random, draft.body, i);
    draft.name = fmt::format("generated:{}", number_);
    return true;
  }

 private:
  static constexpr std::size_t kLetters = 12;  // five bits each of one random number

  static void letters(Random& random, std::string& body, std::size_t at) {
    constexpr char kAlphabet[] = "abcdefghijklmnopqrstuvwxyz234567";
    std::uint64_t bits = random.next();
    for (std::size_t i = at; i < std::min(body.size(), at + kLetters); ++i, bits >>= 5) {
      body[i] = kAlphabet[bits & 31];
    }
  }

  std::uint64_t count_;
  Distribution size_;
  std::uint64_t seed_;
  const StopSignal& stop_;
  std::uint64_t number_ = 0;
};

}  // namespace

std::unique_ptr<Source> makeSource(const Input& input, std::uint64_t seed, const StopSignal& stop) {
  switch (input.kind) {
    case Input::Kind::lines:
      return std::make_unique<LinesSource>(input, stop);
    case Input::Kind::files:
      return std::make_unique<FilesSource>(input, stop);
    case Input::Kind::generated:
      break;
  }
  return std::make_unique<GeneratedSource>(input, seed, stop);
}

Schedule::Schedule(const Input& input, std::uint64_t seed, Clock::time_point start)
    : rate_(input.rate), arrival_(input.arrival), random_(seed), start_(start) {}

Schedule::Clock::time_point Schedule::next() {
  if (rate_ <= 0) return start_;
  const auto due =
      start_ + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds_));
  seconds_ +=
      arrival_ == Input::Arrival::constant ? 1 / rate_ : -std::log1p(-random_.uniform()) / rate_;
  return due;
}

}  // namespace host
