// SPDX-License-Identifier: Apache-2.0
// What the host says to people, a line at a time. Nothing that comes from outside reaches a
// terminal by another way.
#ifndef ZEB_HOST_RUN_SAY_H
#define ZEB_HOST_RUN_SAY_H

#include <cstdio>
#include <string_view>

namespace host {

// Writes the text, made printable, and a newline. For several threads at once.
void say(std::FILE* to, std::string_view text);

// "zebhost: TEXT" on standard error: what went wrong, and what to do. Made printable as well.
void complain(std::string_view text);

}  // namespace host

#endif  // ZEB_HOST_RUN_SAY_H
