// SPDX-License-Identifier: Apache-2.0
// Work in processes of their own, so that no measurement inherits what another has left behind.
#ifndef ZEB_BENCH_DRIVER_CHILD_H
#define ZEB_BENCH_DRIVER_CHILD_H

#include <functional>
#include <nlohmann/json.hpp>

namespace bench {

// Runs the work in a child process and waits for what it finds. Throws when it fails, with what it
// had to say. The calling process has one thread.
nlohmann::json inChild(const std::function<nlohmann::json()>& work);

// A child whose result is asked for later.
class Child {
 public:
  explicit Child(const std::function<nlohmann::json()>& work);
  ~Child();  // waits for its end
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  nlohmann::json result();

 private:
  int end();

  int process_;
  int output_;  // read end of a pipe
};

}  // namespace bench

#endif  // ZEB_BENCH_DRIVER_CHILD_H
