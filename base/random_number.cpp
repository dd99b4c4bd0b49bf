#include "base/random_number.h"

#include <sys/random.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>

namespace {

unsigned freshSeed() {
  unsigned seed = 0;
  if (getrandom(&seed, sizeof seed, GRND_NONBLOCK) == sizeof seed) return seed;
  timeval now{};
  gettimeofday(&now, nullptr);
  return static_cast<unsigned>(getpid()) * 2654435761U ^ static_cast<unsigned>(now.tv_usec) ^
         static_cast<unsigned>(now.tv_sec);
}

}  // namespace

std::uint32_t randomNumber() {
  static std::mutex drawing;
  static random_data state;
  static char table[128];
  static pid_t seededFor = 0;
  const std::lock_guard guard(drawing);
  if (seededFor != getpid()) {
    seededFor = getpid();
    state = {};
    initstate_r(freshSeed(), table, sizeof table, &state);
  }
  std::int32_t number = 0;
  random_r(&state, &number);
  return static_cast<std::uint32_t>(number);
}
