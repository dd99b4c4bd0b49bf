// SPDX-License-Identifier: Apache-2.0
#pragma once
#include "tests/support/failing.h"
namespace support {
inline void failIpc(const std::string& function, int errorNumber, int times = 1) {
  failNext(function, errorNumber, times);
}
}  // namespace support
