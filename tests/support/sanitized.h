// SPDX-License-Identifier: Apache-2.0
// Whether a sanitizer watches.
#ifndef ZEB_TESTS_SUPPORT_SANITIZED_H
#define ZEB_TESTS_SUPPORT_SANITIZED_H

// Such builds run what takes long in fewer rounds: each takes five times as long there, and the
// release build runs them all.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

#endif  // ZEB_TESTS_SUPPORT_SANITIZED_H
