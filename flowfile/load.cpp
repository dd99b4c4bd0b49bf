// SPDX-License-Identifier: Apache-2.0
#include "flowfile/load.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace flowfile {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr std::size_t kLargest = 64U << 20;

class Reading {
 public:
  Reading(const std::filesystem::path& path, std::optional<std::chrono::nanoseconds> patience)
      : path_(path),
        patience_(patience),
        until_(Clock::now() + patience.value_or(Milliseconds(0))) {
    fd_ = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  }
  ~Reading() {
    if (fd_ > STDIN_FILENO) close(fd_);
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

  Text run() {
    if (fd_ < 0) return failed(errno);
    while (step()) {
    }
    if (!result_.problem.empty()) result_.text.clear();
    return std::move(result_);
  }

 private:
  // One look at the file; false when there is nothing more to do.
  bool step() {
    char chunk[65536];
    const ssize_t got = ::read(fd_, chunk, sizeof chunk);
    if (got > 0) return take({chunk, static_cast<std::size_t>(got)});
    if (got < 0 && errno == EAGAIN) return wait(writer_ = true);
    if (got < 0 && errno != EINTR) {
      failed(errno);
      return false;
    }
    return got < 0 || (named() && !writer_ && wait(false));
  }

  bool take(std::string_view chunk) {
    writer_ = true;
    result_.text += chunk;
    if (result_.text.size() <= kLargest) return true;
    problem(fmt::format("it has more than {} MiB. Is it a flow file?", kLargest >> 20));
    return false;
  }

  // Until there is something to read, or the patience ends before anybody came to write. A writer
  // that opens the pipe and is silent wakes nobody: only the next read tells of it.
  bool wait(bool writer) {
    pollfd waits{fd_, POLLIN, 0};
    const int ready = poll(&waits, 1, writer || !patience_ ? -1 : millisecondsLeft());
    if (ready > 0) writer_ = true;
    if (ready != 0 || std::exchange(lastLook_, true) == false) return true;
    problem(fmt::format("nobody wrote to this pipe within {} s. Start what writes to it first",
                        std::chrono::duration<double>(*patience_).count()));
    return false;
  }

  int millisecondsLeft() const {
    const auto left = std::chrono::ceil<Milliseconds>(until_ - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 1'000'000'000));
  }

  bool named() const {
    std::error_code none;
    return std::filesystem::is_fifo(path_, none);
  }

  void problem(const std::string& text) {
    result_.problem = fmt::format("can't read {}: {}", path_.string(), text);
  }

  Text failed(int error) {
    result_.error = error;
    const bool folder = error == EISDIR;
    problem(folder ? "it is a folder. Give the path of a flow file"
                   : std::generic_category().message(error));
    return result_;
  }

  const std::filesystem::path& path_;
  std::optional<std::chrono::nanoseconds> patience_;
  Clock::time_point until_;
  int fd_;
  bool writer_ = false;    // somebody writes, or has written
  bool lastLook_ = false;  // the patience is over
  Text result_;
};

}  // namespace

Text load(const std::filesystem::path& path, std::optional<std::chrono::nanoseconds> patience) {
  return Reading(path, patience).run();
}

}  // namespace flowfile
