// SPDX-License-Identifier: Apache-2.0
// Which build this is.
#ifndef ZEB_FORMAT_VERSION_H
#define ZEB_FORMAT_VERSION_H

namespace layout {

// For --version: "1.0.0, commit 1a2b3c4d5e6f, format 1". The commit has "-dirty" behind it when
// sources differ from it, and is "unknown" when they are not in a git checkout. The format counts
// changes of the stored bytes that a reader of the old ones would get wrong.
extern const char* const kVersion;

}  // namespace layout

#endif  // ZEB_FORMAT_VERSION_H
