// SPDX-License-Identifier: Apache-2.0
// What ThreadSanitizer can't see by itself: that a System V semaphore orders what threads do.
// ZEB_THREAD_SANITIZER is defined in its builds alone.
#ifndef ZEB_BASE_THREAD_SANITIZER_H
#define ZEB_BASE_THREAD_SANITIZER_H

#if defined(__SANITIZE_THREAD__)
#define ZEB_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZEB_THREAD_SANITIZER 1
#endif
#endif

// Tell that this thread now has the lock, or is about to give it back. Any address may name it, as
// long as both calls use the same: nothing is read there. They do nothing in other builds.
#ifdef ZEB_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
inline void ZEB_TellAcquired(const void* lock) {
  __tsan_acquire(const_cast<void*>(lock));
}
inline void ZEB_TellReleased(const void* lock) {
  __tsan_release(const_cast<void*>(lock));
}
#else
inline void ZEB_TellAcquired(const void*) {}
inline void ZEB_TellReleased(const void*) {}
#endif

#endif  // ZEB_BASE_THREAD_SANITIZER_H
