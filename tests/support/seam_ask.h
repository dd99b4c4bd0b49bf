// SPDX-License-Identifier: Apache-2.0
// How the functions of the seam ask it; for seam_*.cpp and scripted_clock.cpp alone.
#ifndef ZEB_TESTS_SUPPORT_SEAM_ASK_H
#define ZEB_TESTS_SUPPORT_SEAM_ASK_H

#include <cerrno>
#include <optional>

#include "tests/support/seam.h"

namespace support::seam {

inline std::optional<int> ask(const Call& call) {
  return current == nullptr || Aside::in() ? std::nullopt : current->answer(call);
}

// Tells the seam of the system's answer, and hands that on.
template <typename Result>
Result tell(const Call& call, Result result, int number) {
  if (current == nullptr || Aside::in()) return result;
  const int kept = errno;
  current->answered(call, number);
  errno = kept;
  return result;
}

// The call of a function that returns a number.
template <typename Real>
auto through(const Call& call, Real real) -> decltype(real()) {
  if (const std::optional<int> answer = ask(call)) return *answer;
  const auto result = real();
  return tell(call, result, static_cast<int>(result));
}

}  // namespace support::seam

#endif  // ZEB_TESTS_SUPPORT_SEAM_ASK_H
