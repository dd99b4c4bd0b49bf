// SPDX-License-Identifier: Apache-2.0
// Texts for the log: formatted, of an error, of a run of memory.
#ifndef ZEB_BASE_FORMAT_H
#define ZEB_BASE_FORMAT_H

#include <cstddef>

#include "base/string.h"

// The formatted text, cut at 1023 bytes; empty for a null format.
ZEB_String ZEB_Format_Message(const char* format, ...) __attribute__((format(printf, 1, 2)));

// "Error %i. " and the system's text for the code; 0 means the current errno.
ZEB_String ZEB_GetLastError(int code);

// Logs the memory as trace entries, 8 bytes a line, below a title (null: none). The lines are
// written whether or not tracing is on. A null address or a length below 1 writes none.
void ZEB_DumpMemory(const void* address, std::ptrdiff_t length, const char* title);

#endif  // ZEB_BASE_FORMAT_H
