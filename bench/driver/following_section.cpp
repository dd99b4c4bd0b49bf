// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <list>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "bench/driver/child.h"
#include "bench/driver/meeting.h"
#include "bench/driver/sections.h"
#include "bench/support/crew.h"
#include "bench/support/library.h"
#include "bench/support/settings.h"

namespace bench {
namespace {

using std::chrono::milliseconds;

constexpr int kRingBytes = 1 << 20;
constexpr int kThreads = 2;
constexpr int kProcesses = 2;
constexpr double kPerSecond = 100000;
constexpr char kFile[] = "/tmp/events.jsonl";
constexpr char kErrors[] = "/tmp/events.errors";

// A file's lines of one kind: those that have `part` in their first bytes.
class Lines {
 public:
  Lines() : file_(open(kFile, O_RDONLY | O_CLOEXEC)), buffer_(1 << 20) {
    if (file_ < 0) throw std::system_error(errno, std::generic_category(), kFile);
  }
  ~Lines() { close(file_); }
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;

  // Reads what has come since the last call.
  void readOn() {
    for (;;) {
      const ssize_t count = read(file_, buffer_.data(), buffer_.size());
      if (count <= 0) return;
      bytes_ += count;
      for (ssize_t i = 0; i < count; ++i) take(buffer_[static_cast<std::size_t>(i)]);
    }
  }

  std::int64_t events() const { return events_; }
  std::int64_t gaps() const { return gaps_; }
  std::int64_t bytes() const { return bytes_; }

 private:
  void take(char c) {
    if (c == '\n') {
      ++(head_.find(".gap\"") == head_.npos ? events_ : gaps_);
      head_.clear();
    } else if (head_.size() < 32) {
      head_ += c;
    }
  }

  int file_;
  std::vector<char> buffer_;
  std::string head_;
  std::int64_t events_ = 0;
  std::int64_t gaps_ = 0;
  std::int64_t bytes_ = 0;
};

// A running `zebmon events --follow` that writes JSON lines into a file.
class Follower {
 public:
  explicit Follower(const std::string& agent) {
    std::filesystem::remove(kFile);
    process_ = fork();
    if (process_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (process_ == 0) become(agent);
  }
  ~Follower() {
    if (process_ > 0) kill(process_, SIGKILL);
    end();
  }
  Follower(const Follower&) = delete;
  Follower& operator=(const Follower&) = delete;

  // Ends it, and returns the seconds of a core that it used.
  double stop() {
    kill(process_, SIGINT);
    return end();
  }

 private:
  [[noreturn]] static void become(const std::string& agent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(open(kFile, O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
    dup2(open(kErrors, O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
    execl(agent.c_str(), "zebmon", "events", "--follow", "--format", "jsonl", nullptr);
    _exit(126);
  }

  double end() {
    rusage used{};
    if (process_ > 0) {
      while (wait4(process_, nullptr, 0, &used) < 0 && errno == EINTR) {
      }
    }
    process_ = 0;
    const auto seconds = [](const timeval& time) {
      return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
  }

  pid_t process_;
};

// Follows while `post` posts, and compares. `post` returns how many it did; it begins when the
// follower has shown the one event that was posted before.
template <class Post>
nlohmann::json follow(const Plan& plan, std::int64_t before, Post&& post) {
  Follower follower(plan.agent);
  waitUntil([] { return std::filesystem::exists(kFile); });
  Lines lines;
  const auto shown = [&lines] {
    lines.readOn();
    return lines.events();
  };
  waitUntil([&] { return shown() >= before; });
  const auto begin = Clock::now();
  const std::int64_t posted = post();
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  // What is still on its way comes within some looks.
  std::int64_t last = -1;
  for (int quiet = 0; quiet < 10 && shown() < before + posted; ++quiet) {
    if (lines.events() != last) quiet = 0;
    last = lines.events();
    std::this_thread::sleep_for(milliseconds(100));
  }
  const double core = follower.stop();
  lines.readOn();
  std::filesystem::remove(kFile);
  return {{"posted", posted},
          {"lost", before + posted - lines.events()},
          {"gaps", lines.gaps()},
          {"seconds", seconds},
          {"perSecond", static_cast<double>(posted) / seconds},
          {"coreShare", core / seconds},
          {"megabytes", static_cast<double>(lines.bytes()) / 1e6}};
}

NodePlan planOf(int number) {
  return {.label = numbered(u"FOLLOWED", number), .eventMessage = u"a message was seen"};
}

// Threads that post a millisecond's share every millisecond.
nlohmann::json ofThreads(const Plan& plan) {
  const Library library(plan.library);
  const Node node(library, planOf(0));
  Message first;
  node.send(first.handle());
  nlohmann::json found = follow(plan, 1, [&] {
    const auto begin = Clock::now();
    std::vector<std::int64_t> sent(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] {
        Message message;
        std::int64_t& count = sent[static_cast<std::size_t>(i)];
        for (auto now = begin; now - begin < plan.effort.longWatch; now = Clock::now()) {
          const double passed = std::chrono::duration<double>(now - begin).count();
          const auto due = static_cast<std::int64_t>(passed * kPerSecond / kThreads);
          for (; count < due; ++count) node.send(message.handle());
          std::this_thread::sleep_for(milliseconds(1));
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    return sent[0] + sent[1];
  });
  requireCounted(planOf(0).label, found["posted"].get<std::int64_t>() + 1);
  return found;
}

// A process that posts as fast as it can, from `begun` until `over`.
nlohmann::json send(const Plan& plan, const SharedMeeting& meeting, int number) {
  const Library library(plan.library);
  const Node node(library, planOf(number));
  Message message;
  node.send(message.handle());
  ++meeting->deployed;
  waitUntil([&] { return meeting->begun.load(); });
  std::int64_t calls = 0;
  for (; !meeting->over.load(std::memory_order_relaxed); ++calls) node.send(message.handle());
  ++meeting->read;
  waitUntil([&] { return meeting->read == kProcesses + 1; });
  return calls;
}

nlohmann::json ofProcesses(const Plan& plan) {
  const SharedMeeting meeting;
  std::list<Child> children;
  for (int i = 0; i < kProcesses; ++i) {
    children.emplace_back([&, i] { return send(plan, meeting, i + 1); });
    waitUntil([&] { return meeting->deployed > i; });
  }
  std::int64_t posted = 0;
  nlohmann::json found = follow(plan, kProcesses, [&] {
    meeting->begun = true;
    std::this_thread::sleep_for(plan.effort.longWatch);
    meeting->over = true;
    waitUntil([&] { return meeting->read == kProcesses; });
    // Each has counted its first message too; the second deployment has reset the first one's
    // count.
    for (int i = 0; i < kProcesses; ++i) posted += counted(planOf(i + 1).label);
    return posted - (kProcesses - 1);
  });
  ++meeting->read;
  std::int64_t sent = 0;
  for (Child& child : children) sent += child.result().get<std::int64_t>();
  if (sent != found["posted"]) {
    throw std::runtime_error(fmt::format("{} messages were sent, and {} were counted", sent,
                                         found["posted"].get<std::int64_t>()));
  }
  return found;
}

}  // namespace

nlohmann::json measureFollowing(const Plan& plan) {
  writeSettings(kRingBytes);
  nlohmann::json found = {{"ringBytes", kRingBytes}};
  found["threads"] = inChild([&plan] { return ofThreads(plan); });
  found["processes"] = ofProcesses(plan);
  return found;
}

}  // namespace bench
