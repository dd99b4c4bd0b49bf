// SPDX-License-Identifier: Apache-2.0
// Where the key files of the inter-process objects live.
#ifndef ZEB_BASE_TEMP_DIRECTORY_H
#define ZEB_BASE_TEMP_DIRECTORY_H

#include "base/string.h"

// The configured "ZEBTempDirectory", or "/tmp/"; it ends in "/". Read once per process and never
// again. A string that is not OK when memory ran out, in which case the next call tries again.
ZEB_String ZEB_GetTempDirectory();

#endif  // ZEB_BASE_TEMP_DIRECTORY_H
