// SPDX-License-Identifier: Apache-2.0
#include "flowfile/section.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <strings.h>

#include <algorithm>
#include <chrono>

#include "flowfile/numbers.h"
#include "flowfile/quantity.h"
#include "text/printable.h"

namespace flowfile {
namespace {

const char* typeName(const toml::node& node) {
  switch (node.type()) {
    case toml::node_type::table:
      return "a table";
    case toml::node_type::array:
      return "an array";
    case toml::node_type::string:
      return "a string";
    case toml::node_type::integer:
      return "an integer";
    case toml::node_type::floating_point:
      return "a number";
    case toml::node_type::boolean:
      return "true or false";
    default:
      return "a date or time";
  }
}

// A value as messages quote it: a long text is cut.
std::string shown(const toml::node& node) {
  constexpr std::size_t kColumns = 60;
  if (const auto text = node.value_exact<std::string>()) {
    return fmt::format("\"{}\"", text::shortened(*text, kColumns));
  }
  if (const auto integer = node.value_exact<std::int64_t>()) return fmt::format("{}", *integer);
  if (const auto number = node.value_exact<double>()) return fmt::format("{}", *number);
  return typeName(node);
}

bool sameText(std::string_view a, std::string_view b, bool anyCase) {
  if (a == b) return true;
  return anyCase && a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

constexpr char kDuration[] = "a duration such as \"5ms\" (units us, ms, s, m, h)";

std::optional<std::chrono::nanoseconds> durationOf(const toml::node& node) {
  const auto text = node.value_exact<std::string>();
  return text ? parseDuration(*text) : std::nullopt;
}

std::optional<double> seconds(const toml::node& node) {
  const auto duration = durationOf(node);
  if (!duration) return std::nullopt;
  return std::chrono::duration<double>(*duration).count();
}

std::optional<double> byteCount(const toml::node& node) {
  if (const auto integer = node.value_exact<std::int64_t>()) {
    return *integer >= 0 ? std::optional<double>(static_cast<double>(*integer)) : std::nullopt;
  }
  const auto text = node.value_exact<std::string>();
  const auto bytes = text ? parseBytes(*text) : std::nullopt;
  if (!bytes) return std::nullopt;
  return static_cast<double>(*bytes);
}

}  // namespace

Section::Section(const toml::table& table, std::string name, std::vector<Finding>& findings)
    : table_(&table), name_(std::move(name)), findings_(&findings) {}

void Section::note(const toml::source_region& where, std::string text) {
  findings_->push_back({{where.begin.line, where.begin.column}, std::move(text)});
}

void Section::mismatch(std::string_view key, const toml::node& found, const std::string& expected) {
  note(found, fmt::format("'{}' is {}; expected {}", key, shown(found), expected));
}

const toml::node* Section::find(std::string_view key) {
  if (std::find(known_.begin(), known_.end(), key) == known_.end()) known_.emplace_back(key);
  return table_->get(key);
}

Place Section::placeOf(std::string_view key) {
  const toml::node* node = find(key);
  if (node == nullptr) return {};
  return {node->source().begin.line, node->source().begin.column};
}

std::optional<std::string> Section::text(std::string_view key) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  auto value = node->value_exact<std::string>();
  if (!value) mismatch(key, *node, "a string");
  if (value && value->find('\0') != std::string::npos) {
    note(*node, fmt::format("'{}' holds a zero character; expected text without one", key));
  }
  return value;
}

std::optional<bool> Section::boolean(std::string_view key) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  const auto value = node->value_exact<bool>();
  if (!value) mismatch(key, *node, "true or false");
  return value;
}

std::optional<std::int64_t> Section::integer(std::string_view key, std::int64_t low,
                                             std::int64_t high) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  const auto value = node->value_exact<std::int64_t>();
  if (value && *value >= low && *value <= high) return value;
  mismatch(key, *node,
           fmt::format("an integer from {} to {}", groupedSigned(low), groupedSigned(high)));
  return std::nullopt;
}

std::optional<double> Section::number(std::string_view key, double low, double high) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  const auto value = node->is_number() ? node->value<double>() : std::nullopt;
  if (value && *value >= low && *value <= high) return value;
  mismatch(key, *node, fmt::format("a number from {} to {}", low, high));
  return std::nullopt;
}

std::optional<std::int64_t> Section::bytes(std::string_view key, std::int64_t low,
                                           std::int64_t high) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  const auto value = byteCount(*node);
  if (value && *value >= static_cast<double>(low) && *value <= static_cast<double>(high)) {
    return static_cast<std::int64_t>(*value);
  }
  mismatch(key, *node,
           fmt::format("bytes from {} to {}, as 65536 or \"64KiB\"", groupedSigned(low),
                       groupedSigned(high)));
  return std::nullopt;
}

std::optional<std::chrono::nanoseconds> Section::duration(std::string_view key) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  const auto value = durationOf(*node);
  if (!value) mismatch(key, *node, kDuration);
  return value;
}

std::optional<std::string> Section::oneOf(std::string_view key,
                                          std::initializer_list<std::string_view> values,
                                          bool anyCase) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  auto value = node->value_exact<std::string>();
  if (value && std::any_of(values.begin(), values.end(),
                           [&](auto known) { return sameText(known, *value, anyCase); })) {
    return value;
  }
  mismatch(key, *node,
           fmt::format("one of \"{}\"{}", fmt::join(values, "\", \""),
                       anyCase ? " in any letter case" : ", in exactly these letters"));
  return std::nullopt;
}

std::string Section::requiredText(std::string_view key) {
  auto value = text(key);
  if (value && !value->empty()) return *value;
  if (const toml::node* node = table_->get(key)) {
    if (value) mismatch(key, *node, "a text that is not empty");
  } else {
    note(fmt::format("{} has no '{}'; expected {} = \"...\"", name_, key, key));
  }
  return {};
}

std::optional<Section> Section::child(std::string_view key, const std::string& name) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  if (node->is_table()) return Section(*node->as_table(), name, *findings_);
  mismatch(key, *node, "a table");
  return std::nullopt;
}

std::vector<Section> Section::children(std::string_view key, const std::string& name) {
  std::vector<Section> sections;
  const toml::node* node = find(key);
  if (node == nullptr) return sections;
  if (!node->is_array()) {
    mismatch(key, *node, fmt::format("an array of tables, written {}", name));
    return sections;
  }
  for (const toml::node& element : *node->as_array()) {
    if (element.is_table()) {
      sections.emplace_back(*element.as_table(), name, *findings_);
    } else {
      mismatch(key, element, fmt::format("tables, written {}", name));
    }
  }
  return sections;
}

std::optional<Distribution> Section::durations(std::string_view key) {
  return distribution(key, kDuration, seconds);
}

std::optional<Distribution> Section::sizes(std::string_view key, double high) {
  return distribution(key,
                      fmt::format("bytes such as 200 or \"4KiB\" (units B, KiB, MiB), at most {}",
                                  groupedSigned(static_cast<std::int64_t>(high))),
                      [high](const toml::node& node) {
                        const auto value = byteCount(node);
                        return value && *value <= high ? value : std::nullopt;
                      });
}

std::optional<Distribution> Section::distribution(std::string_view key, const std::string& expected,
                                                  const Quantity& quantity) {
  const toml::node* node = find(key);
  if (node == nullptr) return std::nullopt;
  if (const toml::table* table = node->as_table()) return varying(*table, expected, quantity);
  if (const auto value = quantity(*node)) {
    return Distribution{Distribution::Kind::constant, *value, 0};
  }
  mismatch(key, *node,
           expected + ", or a table with one of constant, uniform, exponential, normal");
  return std::nullopt;
}

std::optional<Distribution> Section::varying(const toml::table& table, const std::string& expected,
                                             const Quantity& quantity) {
  using Kind = Distribution::Kind;
  if (table.size() != 1) {
    note(table, "expected exactly one of constant, uniform, exponential, normal");
    return std::nullopt;
  }
  const toml::key& key = table.begin()->first;
  const toml::node& node = table.begin()->second;
  if (key == "uniform") return uniform(node, expected, quantity);
  if (key == "normal") return normal(node, expected, quantity);
  if (key != "constant" && key != "exponential") {
    note(key.source(), fmt::format("unknown distribution '{}'; expected one of constant, uniform, "
                                   "exponential, normal",
                                   key.str()));
    return std::nullopt;
  }
  const auto value = quantity(node);
  if (!value) mismatch(key.str(), node, expected);
  const Kind kind = key == "constant" ? Kind::constant : Kind::exponential;
  return value ? std::optional(Distribution{kind, *value, 0}) : std::nullopt;
}

std::optional<Distribution> Section::uniform(const toml::node& node, const std::string& expected,
                                             const Quantity& quantity) {
  const toml::array* ends = node.as_array();
  const bool two = ends != nullptr && ends->size() == 2;
  const auto low = two ? quantity(*ends->get(0)) : std::nullopt;
  const auto high = two ? quantity(*ends->get(1)) : std::nullopt;
  const std::string both = "[low, high], each " + expected;
  if (ends == nullptr) {
    mismatch("uniform", node, both);
  } else if (!two) {
    note(node, fmt::format("'uniform' has {}; expected {}", counted(ends->size(), "value"), both));
  } else if (!low || !high) {
    note(node,
         fmt::format("'uniform' holds {}; expected {}", shown(*ends->get(low ? 1 : 0)), both));
  } else if (*low > *high) {
    note(node, fmt::format("'uniform' runs from {} down to {}; expected the low end first",
                           shown(*ends->get(0)), shown(*ends->get(1))));
  } else {
    return Distribution{Distribution::Kind::uniform, *low, *high};
  }
  return std::nullopt;
}

std::optional<Distribution> Section::normal(const toml::node& node, const std::string& expected,
                                            const Quantity& quantity) {
  const toml::table* parts = node.as_table();
  const auto part = [&](const char* key) -> std::optional<double> {
    const toml::node* value = parts != nullptr && parts->size() == 2 ? parts->get(key) : nullptr;
    return value != nullptr ? quantity(*value) : std::nullopt;
  };
  const auto mean = part("mean");
  const auto deviation = part("deviation");
  if (mean && deviation) return Distribution{Distribution::Kind::normal, *mean, *deviation};
  mismatch("normal", node, "{ mean = ..., deviation = ... }, each " + expected);
  return std::nullopt;
}

void Section::finish(const std::string& what) {
  for (const auto& [key, node] : *table_) {
    if (std::find(known_.begin(), known_.end(), key.str()) != known_.end()) continue;
    note(key.source(), unknown(what, key.str()));
  }
}

std::string Section::unknown(const std::string& what, std::string_view key) const {
  const auto near = std::find_if(known_.begin(), known_.end(),
                                 [key](const auto& known) { return sameText(known, key, true); });
  return near != known_.end()
             ? fmt::format("unknown {} '{}' in {}; expected '{}'", what, key, name_, *near)
             : fmt::format("unknown {} '{}' in {}; expected one of {}", what, key, name_,
                           fmt::join(known_, ", "));
}

}  // namespace flowfile
