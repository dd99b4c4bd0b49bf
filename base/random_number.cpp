// SPDX-License-Identifier: Apache-2.0
#include "base/random_number.h"

#include <pthread.h>
#include <sys/random.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

namespace {

unsigned freshSeed() {
  unsigned seed = 0;
  if (getrandom(&seed, sizeof seed, GRND_NONBLOCK) == sizeof seed) return seed;
  timeval now{};
  gettimeofday(&now, nullptr);
  return static_cast<unsigned>(gettid()) * 2654435761U ^ static_cast<unsigned>(now.tv_usec) ^
         static_cast<unsigned>(now.tv_sec);
}

// Which process this is, counted in forks: a child draws another sequence than its parent.
std::atomic<unsigned> generation = 1;
[[maybe_unused]] const int countForks = pthread_atfork(nullptr, nullptr, [] { ++generation; });

}  // namespace

// Each thread draws from a sequence of its own: no lock that a fork could leave held.
std::uint32_t ZEB_RandomNumber() {
  struct Sequence {
    random_data state = {};
    char table[128];
    unsigned seededFor = 0;
  };
  // Not made when a thread first comes here: without memory for it, the loader ends the process.
  [[gnu::tls_model("initial-exec")]] static thread_local Sequence sequence;
  if (const unsigned self = generation; sequence.seededFor != self) {
    sequence.seededFor = self;
    sequence.state = {};
    initstate_r(freshSeed(), sequence.table, sizeof sequence.table, &sequence.state);
  }
  std::int32_t number = 0;
  random_r(&sequence.state, &number);
  return static_cast<std::uint32_t>(number);
}
