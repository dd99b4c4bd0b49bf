// SPDX-License-Identifier: Apache-2.0
// How a setting is found in the text of a configuration file, or of a file of the host's registry.
// The rules, with all their surprises, are described in docs/operations.md.
#ifndef ZEB_FORMAT_SETTINGS_H
#define ZEB_FORMAT_SETTINGS_H

#include <cstddef>
#include <string_view>

namespace layout {

// What is longer of a line is not looked at. Bytes, line end not counted.
inline constexpr std::size_t kLongestLine = 511;

// What a search found. The word is part of the text that was searched, which must outlive it.
struct Setting {
  enum class Reason {
    found,         // a line has the key and a value
    noLine,        // no line begins with the key
    noWord,        // some do, and have nothing behind it: they are passed over
    onlyAnEquals,  // the word is "=" alone, as in "KEY = value": it counts, and the value is empty
  };

  Reason reason = Reason::noLine;
  std::string_view word;  // behind the key, up to a blank; with its "="
  std::size_t line = 0;   // the line that gave the reason, counted from 1; 0 for noLine

  // Whether there is a value, be it empty.
  bool matched() const { return reason == Reason::found || reason == Reason::onlyAnEquals; }
  // The word less one leading "="; empty when there is none.
  std::string_view value() const { return word.substr(word.starts_with('=') ? 1 : 0); }
};

// Searches for the first line that begins with the key and has a word behind it. With an empty key
// that is the first word of the text, as the registry's files are read. Blanks are those of the C
// locale.
Setting findSetting(std::string_view text, std::string_view key);

}  // namespace layout

#endif  // ZEB_FORMAT_SETTINGS_H
