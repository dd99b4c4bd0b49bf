// SPDX-License-Identifier: Apache-2.0
// All that a snapshot tells, by every function of the interface.
#ifndef ZEB_TESTS_READ_WALK_H
#define ZEB_TESTS_READ_WALK_H

#include <string>

#include "read/zebread.h"

// A line a thing, with all of its values in the order of the header.
std::string walk(const zebread_snapshot* snapshot);

#endif  // ZEB_TESTS_READ_WALK_H
