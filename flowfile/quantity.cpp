// SPDX-License-Identifier: Apache-2.0
#include "flowfile/quantity.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>

namespace flowfile {
namespace {

struct Unit {
  std::string_view name;
  double factor;
};

// The number in front, times the factor of the unit that is the whole rest of the text.
template <std::size_t N>
std::optional<double> scaled(std::string_view text, const std::array<Unit, N>& units) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number < 0 || !std::isfinite(number)) return std::nullopt;
  std::string_view unit(end, static_cast<std::size_t>(text.data() + text.size() - end));
  while (unit.starts_with(' ')) unit.remove_prefix(1);
  for (const Unit& known : units) {
    if (known.name == unit) return number * known.factor;
  }
  return std::nullopt;
}

constexpr std::array<Unit, 5> kTimes{
    {{"us", 1e3}, {"ms", 1e6}, {"s", 1e9}, {"m", 60e9}, {"h", 3600e9}}};
constexpr std::array<Unit, 5> kBytes{
    {{"", 1}, {"B", 1}, {"KiB", 1024}, {"MiB", 1048576}, {"GiB", 1073741824}}};
constexpr double kLongest = 1e18;  // nanoseconds, about 31 years, well inside 64 bits

}  // namespace

std::optional<std::chrono::nanoseconds> parseDuration(std::string_view text) {
  const std::optional<double> nanoseconds = scaled(text, kTimes);
  if (!nanoseconds || *nanoseconds > kLongest) return std::nullopt;
  return std::chrono::nanoseconds(std::llround(*nanoseconds));
}

std::string durationText(std::chrono::nanoseconds time) {
  const auto nanoseconds = static_cast<double>(time.count());
  const Unit* unit = kTimes.data();
  for (const Unit& larger : kTimes) {
    if (nanoseconds >= larger.factor) unit = &larger;
  }
  return fmt::format("{:.6g}{}", nanoseconds / unit->factor, unit->name);
}

std::optional<std::int64_t> parseBytes(std::string_view text) {
  const std::optional<double> bytes = scaled(text, kBytes);
  if (!bytes || *bytes > kLongest) return std::nullopt;
  return std::llround(*bytes);
}

}  // namespace flowfile
