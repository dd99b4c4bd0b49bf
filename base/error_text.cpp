// SPDX-License-Identifier: Apache-2.0
#include "base/error_text.h"

#include <cstdio>
#include <cstring>

void ZEB_FormatError(char (&text)[kErrorTextBytes], int errorNumber) {
  char buffer[kErrorTextBytes - 32];
  std::snprintf(text, sizeof text, "Error %i. %s", errorNumber,
                strerror_r(errorNumber, buffer, sizeof buffer));
}
