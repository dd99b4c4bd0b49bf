// SPDX-License-Identifier: Apache-2.0
// Something that is wrong with a flow file, and where.
#ifndef ZEB_FLOWFILE_FINDING_H
#define ZEB_FLOWFILE_FINDING_H

#include <compare>
#include <filesystem>
#include <string>

namespace flowfile {

// A place in the text. Lines and columns count from 1, columns in characters; 0 and 0 is no place.
// Places are ordered as they come in the text.
struct Place {
  unsigned line = 0;
  unsigned column = 0;

  auto operator<=>(const Place&) const = default;
};

// One thing that is wrong. `text` says what was found and what was expected. It may quote the file
// as it is: findingText makes it fit for people.
struct Finding {
  Place place;
  std::string text;
};

// "path:line:column: text" on one line, printable whatever the path and the file hold.
std::string findingText(const std::filesystem::path& path, const Finding& finding);

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_FINDING_H
