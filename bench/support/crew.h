// SPDX-License-Identifier: Apache-2.0
// Threads that do the same work for a while, and what they get done.
#ifndef ZEB_BENCH_SUPPORT_CREW_H
#define ZEB_BENCH_SUPPORT_CREW_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

namespace bench {

struct Done {
  double seconds = 0;
  std::vector<std::int64_t> calls;  // of each thread

  std::int64_t total() const;
  double perSecond() const { return static_cast<double>(total()) / seconds; }
};

// Starts the threads together and lets each call its work, with its own number, until the time is
// over.
Done workTogether(int threads, std::chrono::milliseconds span,
                  const std::function<void(int thread)>& work);

}  // namespace bench

#endif  // ZEB_BENCH_SUPPORT_CREW_H
