// A lock among the threads of this process, for places where a thread may release what another
// took, as the inter-process lock behind it allows too.
#ifndef ZEB_BASE_LOCAL_LOCK_H
#define ZEB_BASE_LOCAL_LOCK_H

#include <atomic>

// Not recursive. Released although nobody holds it, it stays free.
class Local_Lock {
 public:
  void enter() {
    while (held_.exchange(true, std::memory_order_acquire)) held_.wait(true);
  }
  void leave() {
    held_.store(false, std::memory_order_release);
    held_.notify_one();
  }

 private:
  std::atomic<bool> held_ = false;
};

#endif  // ZEB_BASE_LOCAL_LOCK_H
