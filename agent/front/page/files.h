// SPDX-License-Identifier: Apache-2.0
// The files of the page, as they are in the program.
#ifndef ZEB_AGENT_FRONT_PAGE_FILES_H
#define ZEB_AGENT_FRONT_PAGE_FILES_H

#include <span>
#include <string_view>

namespace page {

struct File {
  std::string_view path;  // as a client asks for it: "/" or "/page/app.js"
  std::string_view type;  // for the header Content-Type
  std::string_view bytes;
};

// All of them; they stay where they are.
std::span<const File> files();

}  // namespace page

#endif  // ZEB_AGENT_FRONT_PAGE_FILES_H
