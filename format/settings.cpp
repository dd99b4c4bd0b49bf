// SPDX-License-Identifier: Apache-2.0
#include "format/settings.h"

#include <algorithm>
#include <optional>

#include "format/names.h"

namespace layout {
namespace {

bool isBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string_view skipBlanks(std::string_view text) {
  return {std::find_if_not(text.begin(), text.end(), isBlank), text.end()};
}

// The line at `at`, which then is behind it and behind the blanks that begin the next line, as
// after the scan "%[^\n]\n": only a first line keeps its own. An empty first line, which that scan
// can't get past, is read as an empty line, and the one behind it keeps its blanks as well. A zero
// byte ends what can be seen of a line.
std::string_view nextLine(std::string_view text, std::size_t& at) {
  const std::size_t end = std::min(text.find('\n', at), text.size());
  const std::string_view line = text.substr(at, std::min(end - at, kLongestLine));
  if (end == at)
    ++at;
  else
    at = text.size() - skipBlanks(text.substr(end)).size();
  return line.substr(0, line.find('\0'));
}

// The word behind the key, as a scan with the pattern "KEY %s" takes it, "%" in the key taken as
// itself: a blank of the pattern matches any run of blanks, none as well. Empty when no word is
// left, nothing when the line doesn't begin with the key.
std::optional<std::string_view> scanWord(std::string_view line, std::string_view key) {
  for (const char c : key) {
    if (isBlank(c)) {
      line = skipBlanks(line);
    } else {
      if (!line.starts_with(c)) return std::nullopt;
      line.remove_prefix(1);
    }
  }
  line = skipBlanks(line);
  return std::string_view(line.begin(), std::find_if(line.begin(), line.end(), isBlank));
}

// A key for one broker is not the key for all, though a blank in the pattern matches no blank: only
// this prefix is protected.
bool isForOneBroker(std::string_view line, std::string_view key) {
  return key == kActivateKey && !scanWord(line, kActivateForKey).value_or("").empty();
}

}  // namespace

Setting findSetting(std::string_view text, std::string_view key) {
  using Reason = Setting::Reason;
  Setting setting;
  for (std::size_t at = 0; at < text.size() && !setting.matched();) {
    const std::size_t begin = at;
    const std::string_view line = nextLine(text, at);
    const auto word = scanWord(line, key);
    if (!word || isForOneBroker(line, key)) continue;
    if (word->empty() && setting.reason == Reason::noWord) continue;
    setting.reason = word->empty()  ? Reason::noWord
                     : *word == "=" ? Reason::onlyAnEquals
                                    : Reason::found;
    setting.word = *word;
    setting.line = 1 + static_cast<std::size_t>(std::count(
                           text.begin(), text.begin() + static_cast<std::ptrdiff_t>(begin), '\n'));
  }
  return setting;
}

}  // namespace layout
