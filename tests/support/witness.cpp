// SPDX-License-Identifier: Apache-2.0
#include "tests/support/witness.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <set>
#include <vector>

namespace support {
namespace {

const char* file() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing writes the environment.
  static const char* const path = std::getenv("ZEB_WITNESS");
  return path;
}

// Written at once: the process may be killed. One write is one line, also when others write.
void tell(const std::string& what) {
  static const int out = open(file(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  static auto* const told = new std::set<std::string>;  // outlives the threads
  static auto* const telling = new std::mutex;
  const std::lock_guard guard(*telling);
  if (!told->insert(what).second) return;
  const std::string line = what + "\n";
  if (write(out, line.data(), line.size()) < 0) std::abort();
}

// What kind of lock has this key file.
std::string kindOf(const std::string& path) {
  const std::string name = std::filesystem::path(path).filename();
  if (name.starts_with("zeb_attach_")) return "attach";
  const std::size_t kind = name.find(".zebc");
  if (kind != std::string::npos) return name.substr(kind + 1, 8);
  return name.find_first_not_of("0123456789ABCDEF") == 32 ? "record" : "unknown:" + name;
}

// A host's exception passes through these, and then they have no exit.
bool mayBeLeftByException(const std::string& operation) {
  return operation == "zebpnode zebEvaluate" ||
         operation == "zebpcont ZEB_Node_Context::processMessage";
}

class Thread {
 public:
  ~Thread() {
    leaveByException();  // other functions of a host may raise one as well
    for (const std::string& operation : running_) tell("open " + operation);
    for (const std::string& path : held_) tell("kept " + kindOf(path));
  }

  void enter(const std::string& operation) {
    tell("operation " + operation);
    running_.push_back(operation);
  }

  void leave(const std::string& operation) {
    if (running_.empty()) return tell("unentered " + operation);
    if (running_.back() != operation)
      return tell("unpaired " + operation + " in " + running_.back());
    running_.pop_back();
  }

  void leaveByException() {
    while (!running_.empty() && mayBeLeftByException(running_.back())) running_.pop_back();
  }

  void askFor(const std::string& path) const {
    tell("lock " + kindOf(path));
    for (const std::string& other : held_)
      tell("edge " + kindOf(other) + " " + (other == path ? "itself" : kindOf(path)));
  }
  void got(const std::string& path) { held_.push_back(path); }
  void released(const std::string& path) {
    const auto found = std::find(held_.begin(), held_.end(), path);
    if (found == held_.end())
      tell("not held " + kindOf(path));
    else
      held_.erase(found);
  }

 private:
  std::vector<std::string> running_;  // the innermost last
  std::vector<std::string> held_;
};

Thread& thread() {
  thread_local Thread the;
  return the;
}

// What is behind these words, if the text begins with them.
std::string behind(const std::string& words, const std::string& text) {
  return text.starts_with(words) ? text.substr(words.size()) : "";
}

}  // namespace

bool witnessing() {
  return file() != nullptr;
}

void witnessException() {
  thread().leaveByException();
}

void witness(const std::string& unit, const std::string& function, const std::string& text) {
  const std::string operation = unit + " " + function;
  if (text == "Entry") return thread().enter(operation);
  if (text == "Exit" || text.starts_with("Exit: 0x")) return thread().leave(operation);
  if (const std::string path = behind("Asking for mutex ", text); !path.empty())
    thread().askFor(path);
  if (const std::string path = behind("Got mutex ", text); !path.empty()) thread().got(path);
  if (const std::string path = behind("Released mutex ", text); !path.empty())
    thread().released(path);
}

void haveTraced(const std::string& configuration) {
  std::ifstream file(configuration);
  const std::string present{std::istreambuf_iterator<char>(file), {}};
  if (present.find("ZEBNodeTrace") != std::string::npos) return;
  std::filesystem::create_directories(std::filesystem::path(configuration).parent_path());
  std::ofstream(configuration, std::ios::app) << "\nZEBNodeTrace On\n";
}

}  // namespace support
