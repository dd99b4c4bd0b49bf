// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/history_query.h"

#include <algorithm>
#include <set>

#include "agent/model/date_text.h"
#include "agent/reader/bounded_file.h"
#include "text/utf8.h"

namespace serve {
namespace {

constexpr std::int64_t kEnd = 253402300800;  // the year 10000
constexpr std::int64_t kLeastPoints = 2;
constexpr std::int64_t kMostPoints = 1000;

std::optional<unsigned> digitOf(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  return {};
}

std::optional<std::int64_t> bounded(std::int64_t seconds) {
  if (seconds < 0 || seconds >= kEnd) return {};
  return seconds;
}

// With its zone, of which a plus may have become a blank.
std::optional<std::int64_t> timeOf(std::string text) {
  constexpr std::size_t kZone = 6;  // "+02:00"
  if (text.size() > kZone && text[text.size() - kZone] == ' ') text[text.size() - kZone] = '+';
  const auto date = model::parseDate(text);
  if (!date || !date->offset) return {};
  return bounded(date->civil - *date->offset);
}

template <class Value>
bool set(std::optional<Value>& place, std::optional<Value> value) {
  place = std::move(value);
  return place.has_value();
}

bool setPoints(HistoryQuery& query, const std::string& text) {
  const auto number = reader::unsignedOf(text);
  if (!number || *number < kLeastPoints || *number > kMostPoints) return false;
  query.points = static_cast<std::int64_t>(*number);
  return true;
}

bool take(HistoryQuery& query, std::string_view name, const std::string& value) {
  using Text = std::optional<std::string>;
  if (name == "broker") return set(query.broker, Text(value));
  if (name == "group") return set(query.group, Text(value));
  if (name == "flow") return set(query.flow, Text(value));
  if (name == "node") return set(query.node, Text(value));
  if (name == "from") return set(query.from, parseMoment(value));
  if (name == "until") return set(query.until, parseMoment(value));
  if (name == "events") return query.events = value == "1";
  return name == "points" && setPoints(query, value);
}

}  // namespace

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    const auto high = i + 1 < text.size() ? digitOf(text[i + 1]) : std::nullopt;
    const auto low = i + 2 < text.size() ? digitOf(text[i + 2]) : std::nullopt;
    if (!high || !low) return {};
    decoded += static_cast<char>(*high << 4 | *low);
    i += 2;
  }
  return decoded;
}

std::optional<std::int64_t> parseMoment(std::string_view text) {
  if (text.find('-') != text.npos) return timeOf(std::string(text));
  const auto point = text.find('.');
  const bool fraction = point != text.npos;
  if (fraction && !reader::unsignedOf(text.substr(point + 1))) return {};
  const auto seconds = reader::unsignedOf(text.substr(0, point));
  if (!seconds || *seconds >= static_cast<std::uint64_t>(kEnd)) return {};
  return bounded(static_cast<std::int64_t>(*seconds));
}

std::optional<HistoryQuery> parseHistoryQuery(std::string_view text) {
  HistoryQuery query;
  std::set<std::string_view> names;
  while (!text.empty()) {
    const std::string_view pair = text.substr(0, text.find('&'));
    text.remove_prefix(std::min(text.size(), pair.size() + 1));
    const auto equals = pair.find('=');
    if (equals == pair.npos) return {};
    const std::string_view name = pair.substr(0, equals);
    const auto value = percentDecoded(pair.substr(equals + 1));
    if (!value || !text::wellFormed(*value) || !names.insert(name).second) return {};
    if (!take(query, name, *value)) return {};
  }
  const bool some = query.group || query.flow || query.node || query.events;
  if (some && !query.isOfFlow()) return {};
  return query;
}

}  // namespace serve
