// SPDX-License-Identifier: Apache-2.0
#include "bench/driver/child.h"

#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

namespace bench {
namespace {

constexpr char kFailed[] = "failed";

// A result that can't be written leaves the reader without one, which it reports.
void writeAll(int output, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = write(output, text.data() + done, text.size() - done);
    if (count < 0) return;
    done += static_cast<std::size_t>(count);
  }
}

std::string readAll(int input) {
  std::string text;
  char part[4096];
  for (;;) {
    const ssize_t count = read(input, part, sizeof part);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(part, static_cast<std::size_t>(count));
  }
}

// Leaves without the parent's clean-up, which is not this process's.
[[noreturn]] void work(const std::function<nlohmann::json()>& function, int output) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  nlohmann::json found;
  try {
    found = function();
  } catch (const std::exception& error) {
    found = {{kFailed, error.what()}};
  }
  writeAll(output, found.dump());
  std::fflush(stdout);
  _exit(0);
}

}  // namespace

Child::Child(const std::function<nlohmann::json()>& function) {
  int ends[2];
  if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  std::fflush(stdout);
  process_ = fork();
  if (process_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (process_ == 0) {
    close(ends[0]);
    work(function, ends[1]);
  }
  close(ends[1]);
  output_ = ends[0];
}

Child::~Child() {
  close(output_);
  end();
}

nlohmann::json Child::result() {
  const std::string text = readAll(output_);
  const int status = end();
  if (status != 0) throw std::runtime_error(fmt::format("a process ended with status {}", status));
  nlohmann::json found = nlohmann::json::parse(text);
  if (found.contains(kFailed)) throw std::runtime_error(found[kFailed].get<std::string>());
  return found;
}

int Child::end() {
  int status = 0;
  if (process_ > 0) {
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
  }
  process_ = 0;
  return status;
}

nlohmann::json inChild(const std::function<nlohmann::json()>& work) {
  return Child(work).result();
}

}  // namespace bench
