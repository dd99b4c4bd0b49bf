// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/journal.h"

#include "text/printable.h"
#include "text/utf8.h"

namespace serve {

constexpr std::chrono::minutes kMinute(1);

void Journal::note(const std::string& kind, const std::string& detail, Time now) {
  sumUp(now);
  const std::lock_guard held(guard_);
  const auto [place, isNew] = kinds_.try_emplace(kind, Kind{now});
  if (isNew) {
    write_(kind + detail);
  } else {
    ++place->second.more;
  }
}

void Journal::sumUp(Time now) {
  const std::lock_guard held(guard_);
  for (auto at = kinds_.begin(); at != kinds_.end();) {
    const auto& [kind, seen] = *at;
    if (now - seen.first < kMinute) {
      ++at;
      continue;
    }
    if (seen.more > 0) write_(kind + ": " + std::to_string(seen.more) + " more in a minute");
    at = kinds_.erase(at);
  }
}

std::string cited(std::string_view bytes) {
  constexpr std::size_t kMost = 200;
  if (bytes.empty()) return {};
  const std::string shown = text::printable(bytes.substr(0, kMost));
  std::size_t length = 0;
  for (std::string_view left = shown; !left.empty();) {
    const std::size_t step = text::firstOf(left).bytes;
    if (length + step > kMost) break;
    length += step;
    left.remove_prefix(step);
  }
  return "\"" + shown.substr(0, length) + "\"";
}

}  // namespace serve
