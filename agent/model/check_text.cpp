// SPDX-License-Identifier: Apache-2.0
#include <charconv>
#include <cmath>

#include "agent/model/check.h"
#include "flowfile/quantity.h"

namespace model {
namespace {

using Kind = Check::Kind;

constexpr CheckForm kForms[] = {
    {"groups-up", Kind::groupsUp, "groups-up", "every execution group has its process"},
    {"locks", Kind::locks, "locks", "no lock is stuck or held for long"},
    {"area", Kind::area, "area=90%", "how full an area is: 80%,90%"},
    {"silent", Kind::silent, "silent=NODE:60s", "a node has had no message for so long: NODE:60s"},
    {"queued", Kind::queued, "queued=2s", "messages wait longer: 2s"},
    {"failed", Kind::failed, "failed=5%", "more messages fail: 5%"},
    {"exceptions", Kind::exceptions, "exceptions=1/min", "more failures: 1/min"}};

std::optional<double> number(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  if (!whole || !std::isfinite(value) || value < 0) return {};
  return value;
}

std::optional<double> percentage(std::string_view text) {
  if (!text.ends_with('%')) return {};
  const auto value = number(text.substr(0, text.size() - 1));
  return value && *value <= 100 ? value : std::nullopt;
}

std::optional<double> secondsIn(std::string_view text) {
  const auto duration = flowfile::parseDuration(text);
  if (!duration) return {};
  return std::chrono::duration<double>(*duration).count();
}

// "1/min" as a number; the period goes into the check.
std::optional<double> frequency(std::string_view text, Check& check) {
  struct Period {
    std::string_view name;
    double seconds;
  };
  constexpr Period periods[] = {{"/s", 1}, {"/min", 60}, {"/h", 3600}};
  for (const Period& period : periods) {
    if (!text.ends_with(period.name)) continue;
    check.period = period.seconds;
    return number(text.substr(0, text.size() - period.name.size()));
  }
  return {};
}

std::optional<double> limit(std::string_view text, Check& check) {
  switch (check.kind) {
    case Kind::area:
    case Kind::failed:
      return percentage(text);
    case Kind::silent:
    case Kind::queued:
      return secondsIn(text);
    default:
      return frequency(text, check);
  }
}

// The part behind "=".
bool takeLimits(std::string_view text, Check& check) {
  if (check.kind == Kind::silent) {
    const std::size_t colon = text.rfind(':');
    if (colon == text.npos || colon == 0) return false;
    check.node = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  const std::size_t comma = text.find(',');
  if (comma != text.npos) {
    check.warning = limit(text.substr(0, comma), check);
    if (!check.warning) return false;
    text.remove_prefix(comma + 1);
  }
  const double periodOfWarning = check.period;
  const auto critical = limit(text, check);
  if (!critical || (check.warning && check.period != periodOfWarning)) return false;
  check.critical = *critical;
  return !check.warning || *check.warning <= check.critical;
}

std::string allForms() {
  std::string text;
  for (const CheckForm& form : kForms)
    text += (text.empty() ? "" : ", ") + std::string(form.example);
  return text;
}

}  // namespace

std::span<const CheckForm> checkForms() {
  return kForms;
}

CheckText parseCheck(std::string_view text) {
  const std::size_t equals = text.find('=');
  for (const CheckForm& form : kForms) {
    if (text.substr(0, equals) != form.name) continue;
    CheckText parsed;
    parsed.check.kind = form.kind;
    const bool right = equals == text.npos
                           ? !form.takesLimit()
                           : form.takesLimit() && takeLimits(text.substr(equals + 1), parsed.check);
    if (!right) {
      parsed.problem = "\"" + std::string(text) + "\" is not like " + std::string(form.example);
      if (form.takesLimit()) parsed.problem += ", or with a warning first: LIMIT,LIMIT";
    }
    return parsed;
  }
  return {{}, "\"" + std::string(text) + "\" is no check: there are " + allForms()};
}

}  // namespace model
