// SPDX-License-Identifier: Apache-2.0
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <list>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "bench/driver/meeting.h"
#include "bench/driver/sections.h"
#include "bench/support/library.h"
#include "bench/support/settings.h"

namespace bench {
namespace {

using std::chrono::milliseconds;

constexpr int kAreaBytes = 1 << 20;
constexpr int kNodes = 800;
constexpr int kNodesOfFlow = 10;
constexpr int kRounds = 5;  // of one message through each node, a second
constexpr unsigned short kRows = 24;
constexpr unsigned short kColumns = 80;

// A running `zebmon top` on a terminal of its own, which takes whatever is drawn.
class Watcher {
 public:
  explicit Watcher(const std::string& agent) {
    const winsize size{.ws_row = kRows, .ws_col = kColumns, .ws_xpixel = 0, .ws_ypixel = 0};
    process_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (process_ < 0) throw std::system_error(errno, std::generic_category(), "forkpty");
    if (process_ == 0) become(agent);
    reader_ = std::thread([this] { drain(); });
  }
  ~Watcher() {
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
    reader_.join();
    close(terminal_);
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  std::int64_t drawn() const { return drawn_; }  // bytes

  // Seconds of a core that it has used.
  double used() const {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(process_, &clock) != 0 || clock_gettime(clock, &time) != 0) {
      throw std::runtime_error("zebmon top has ended");
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  }

 private:
  [[noreturn]] static void become(const std::string& agent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setenv("TERM", "xterm-256color", 1);
    execl(agent.c_str(), "zebmon", "top", "-i", "1s", nullptr);
    _exit(126);
  }

  // Until the other end is closed.
  void drain() {
    char bytes[4096];
    for (ssize_t count; (count = read(terminal_, bytes, sizeof bytes)) > 0;) drawn_ += count;
  }

  int terminal_ = -1;
  pid_t process_ = 0;
  std::atomic<std::int64_t> drawn_{0};
  std::thread reader_;
};

}  // namespace

nlohmann::json measureWatching(const Plan& plan) {
  writeSettings(kAreaBytes);
  const Library library(plan.library);
  std::list<Node> nodes;
  for (int i = 0; i < kNodes; ++i) {
    nodes.emplace_back(library, NodePlan{.label = numbered(u"NODE", i),
                                         .messageFlow = numbered(u"FLOW", i / kNodesOfFlow)});
  }
  std::atomic<bool> over{false};
  std::thread sender([&] {
    Message message;
    while (!over) {
      for (const Node& node : nodes) node.send(message.handle());
      std::this_thread::sleep_for(milliseconds(1000 / kRounds));
    }
  });
  double used = 0;
  std::int64_t drawn = 0;
  const auto watch = [&] {
    const Watcher watcher(plan.agent);
    waitUntil([&] { return watcher.drawn() > kColumns; });
    const double before = watcher.used();
    const std::int64_t begin = watcher.drawn();
    std::this_thread::sleep_for(plan.effort.longWatch);
    used = watcher.used() - before;
    drawn = watcher.drawn() - begin;
  };
  try {
    watch();
  } catch (...) {
    over = true;
    sender.join();
    throw;
  }
  over = true;
  sender.join();
  if (drawn == 0) throw std::runtime_error("zebmon top drew nothing");
  const double seconds = std::chrono::duration<double>(plan.effort.longWatch).count();
  return {{"nodes", kNodes}, {"seconds", seconds}, {"coreShare", used / seconds}};
}

}  // namespace bench
