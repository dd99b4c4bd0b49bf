// SPDX-License-Identifier: Apache-2.0
#include "format/version.h"

#include "format/commit.h"  // made by commit.cmake at every build

namespace layout {

// `strings` finds it in the library, where nothing refers to it. A zero byte in front keeps it
// apart from what happens to lie before it.
[[gnu::used]] static const char kText[] =
    "\0zebpnode " ZEB_VERSION ", commit " ZEB_COMMIT ", format 1";

const char* const kVersion = kText + sizeof "zebpnode ";

}  // namespace layout
