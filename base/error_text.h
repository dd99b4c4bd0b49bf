// SPDX-License-Identifier: Apache-2.0
// An errno in words, in plain buffers, for those who may not allocate.
#ifndef ZEB_BASE_ERROR_TEXT_H
#define ZEB_BASE_ERROR_TEXT_H

// What is longer is cut; its terminator included.
inline constexpr int kErrorTextBytes = 256;

// Writes "Error %i. " and the system's text for that error number.
void ZEB_FormatError(char (&text)[kErrorTextBytes], int errorNumber);

#endif  // ZEB_BASE_ERROR_TEXT_H
