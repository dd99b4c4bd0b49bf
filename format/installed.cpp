// SPDX-License-Identifier: Apache-2.0
#include "format/installed.h"

namespace layout {

const char* const kInstalledLibrary = ZEB_INSTALLED_LIBRARY;
const char* const kProbe = ZEB_INSTALLED_PROBE;

}  // namespace layout
