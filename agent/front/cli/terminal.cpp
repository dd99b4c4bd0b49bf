// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>

namespace cli {
namespace {

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::size_t numberIn(std::string_view text) {
  constexpr std::size_t kMost = 10000;
  std::size_t value = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool whole = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
  return whole && value <= kMost ? value : 0;
}

}  // namespace

std::optional<std::size_t> widthOf(int descriptor) {
  if (isatty(descriptor) == 0) return std::nullopt;
  if (const std::size_t told = numberIn(variable("COLUMNS")); told > 0) return told;
  winsize size{};
  ioctl(descriptor, TIOCGWINSZ, &size);
  return size.ws_col > 0 ? size.ws_col : 80;
}

bool usesColors(Color wanted, int descriptor) {
  if (wanted != Color::automatic) return wanted == Color::always;
  const std::string_view terminal = variable("TERM");
  return isatty(descriptor) != 0 && variable("NO_COLOR").empty() && !terminal.empty() &&
         terminal != "dumb";
}

render::Signs signsOf() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* const value = std::getenv(name);
    if (value == nullptr || *value == '\0') continue;
    const bool wide = strcasestr(value, "utf-8") != nullptr || strcasestr(value, "utf8") != nullptr;
    return wide ? render::Signs::boxes : render::Signs::ascii;
  }
  return render::Signs::ascii;
}

render::TableStyle styleOf(const ShowRequest& show) {
  return {.width = widthOf(STDOUT_FILENO),
          .zone = show.zone,
          .titles = show.titles,
          .colors = usesColors(show.color, STDOUT_FILENO)};
}

}  // namespace cli
