// SPDX-License-Identifier: Apache-2.0
#include "bench/support/crew.h"

#include <atomic>
#include <barrier>
#include <numeric>
#include <thread>

#include "bench/support/comparison.h"

namespace bench {

std::int64_t Done::total() const {
  return std::accumulate(calls.begin(), calls.end(), std::int64_t{0});
}

Done workTogether(int threads, std::chrono::milliseconds span,
                  const std::function<void(int)>& work) {
  Done done;
  done.calls.resize(static_cast<std::size_t>(threads));
  std::barrier start(threads + 1);
  std::atomic<bool> over{false};
  std::vector<std::jthread> crew;
  for (int thread = 0; thread < threads; ++thread) {
    crew.emplace_back([&, thread] {
      std::int64_t calls = 0;
      start.arrive_and_wait();
      for (; !over.load(std::memory_order_relaxed); ++calls) work(thread);
      done.calls[static_cast<std::size_t>(thread)] = calls;
    });
  }
  start.arrive_and_wait();
  const auto begin = Clock::now();
  std::this_thread::sleep_for(span);
  over = true;
  crew.clear();  // joins
  done.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  return done;
}

}  // namespace bench
