// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/base/scripted_futex.h"

#include <dlfcn.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>

namespace support {
namespace {

std::atomic<Scripted_Futex*> script = nullptr;

}  // namespace

Scripted_Futex::Scripted_Futex(const ZEB_Thread_Lock& lock) : lock_(lock) {
  script = this;
}

Scripted_Futex::~Scripted_Futex() {
  script = nullptr;
}

bool Scripted_Futex::scripts(const void* word) const {
  return word >= &lock_ && word < &lock_ + 1;
}

long Scripted_Futex::sleep(const std::uint32_t* word, std::uint32_t value) {
  if (beforeSleep) beforeSleep();
  std::unique_lock guard(guard_);
  if (__atomic_load_n(word, __ATOMIC_SEQ_CST) != value) {
    errno = EAGAIN;
    return -1;
  }
  if (whenAsleep) whenAsleep();
  const auto self = sleepers_.insert(sleepers_.end(), Sleeper{word});
  changed_.notify_all();
  changed_.wait(guard, [&] { return self->woken && run_; });
  sleepers_.erase(self);
  return 0;
}

long Scripted_Futex::wake(const std::uint32_t* word, int most) {
  const std::lock_guard guard(guard_);
  int woken = 0;
  for (Sleeper& sleeper : sleepers_) {
    if (woken == most || sleeper.word != word || sleeper.woken) continue;
    sleeper.woken = true;
    ++woken;
  }
  if (woken > 0)
    changed_.notify_all();  // else in a forked child it would wait for the parent's threads
  return woken;
}

// No other thread holds the guard meanwhile: the child would never get it.
pid_t Scripted_Futex::forkProcess() {
  const std::lock_guard guard(guard_);
  return fork();
}

void Scripted_Futex::awaitSleepers(std::size_t count) {
  std::unique_lock guard(guard_);
  changed_.wait(guard, [&] {
    const auto asleep = std::count_if(sleepers_.begin(), sleepers_.end(),
                                      [](const Sleeper& sleeper) { return !sleeper.woken; });
    return static_cast<std::size_t>(asleep) == count;
  });
}

void Scripted_Futex::letRun() {
  const std::lock_guard guard(guard_);
  run_ = true;
  changed_.notify_all();
}

void Scripted_Futex::wakeAllByAccident() {
  const std::lock_guard guard(guard_);
  for (Sleeper& sleeper : sleepers_) sleeper.woken = true;
  changed_.notify_all();
}

}  // namespace support

extern "C" long syscall(long number, ...) noexcept {
  static const auto real = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
  va_list list;
  va_start(list, number);
  long arguments[6];
  for (long& argument : arguments) argument = va_arg(list, long);
  va_end(list);
  if (support::Scripted_Futex* const script = support::script; script && number == SYS_futex) {
    const auto* const word = reinterpret_cast<const std::uint32_t*>(arguments[0]);
    const auto value = static_cast<std::uint32_t>(arguments[2]);
    const long operation = arguments[1] & FUTEX_CMD_MASK;
    if (script->scripts(word) && operation == FUTEX_WAIT) return script->sleep(word, value);
    if (script->scripts(word) && operation == FUTEX_WAKE)
      return script->wake(word, static_cast<int>(value));
  }
  return real(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
              arguments[5]);
}
