// SPDX-License-Identifier: Apache-2.0
// One table of a flow file while it is being read: typed access to its keys, each miss noted with
// its place in the text, and at the end every key that nobody asked for.
#ifndef ZEB_FLOWFILE_SECTION_H
#define ZEB_FLOWFILE_SECTION_H

#include <toml++/toml.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "flowfile/file.h"
#include "flowfile/finding.h"

namespace flowfile {

// A value of one thread. None of its functions throws for what the file holds: each finding goes
// into the list, and reading goes on.
class Section {
 public:
  // `name` is how messages call this table. The table and the findings must outlive the section.
  Section(const toml::table& table, std::string name, std::vector<Finding>& findings);

  // Notes something at a place of the text, at a key that is there, or at the table itself.
  void note(const toml::source_region& where, std::string text);
  void note(const toml::node& where, std::string text) { note(where.source(), std::move(text)); }
  void noteAt(std::string_view key, std::string text) { note(*find(key), std::move(text)); }
  void note(std::string text) { note(table_->source(), std::move(text)); }

  // The value of a key, or null; it belongs to the table. Every key read this way counts as known,
  // as it does in all functions below.
  const toml::node* find(std::string_view key);
  bool has(std::string_view key) { return find(key) != nullptr; }

  // Where the value of a key is; no place when it is absent.
  Place placeOf(std::string_view key);

  // Values of a key; nothing when it is absent or, with a finding, when it doesn't fit. Limits
  // belong to what is allowed; `anyCase` takes any letter case, and keeps the one it found.
  std::optional<std::string> text(std::string_view key);
  std::optional<bool> boolean(std::string_view key);
  std::optional<std::int64_t> integer(std::string_view key, std::int64_t low, std::int64_t high);
  std::optional<double> number(std::string_view key, double low, double high);
  std::optional<std::int64_t> bytes(std::string_view key, std::int64_t low, std::int64_t high);
  std::optional<std::chrono::nanoseconds> duration(std::string_view key);
  std::optional<std::string> oneOf(std::string_view key,
                                   std::initializer_list<std::string_view> values,
                                   bool anyCase = false);

  // A text that must be there and not be empty. Else there is a finding, and an empty text comes
  // back.
  std::string requiredText(std::string_view key);

  // The table of a key, or the tables of an array of tables; empty when absent. They note into the
  // same findings, under the name given here.
  std::optional<Section> child(std::string_view key, const std::string& name);
  std::vector<Section> children(std::string_view key, const std::string& name);

  // A constant, or a table that holds one of constant, uniform, exponential and normal. Durations
  // come out in seconds, sizes in bytes, none above `high`.
  std::optional<Distribution> durations(std::string_view key);
  std::optional<Distribution> sizes(std::string_view key, double high);

  // Notes every key that was never asked for, with a known one that differs in letter case alone.
  // `what` is what such a key is called. Call it last.
  void finish(const std::string& what = "key");

 private:
  using Quantity = std::function<std::optional<double>(const toml::node&)>;

  void mismatch(std::string_view key, const toml::node& found, const std::string& expected);
  std::optional<Distribution> distribution(std::string_view key, const std::string& expected,
                                           const Quantity& quantity);
  std::optional<Distribution> varying(const toml::table& table, const std::string& expected,
                                      const Quantity& quantity);
  std::optional<Distribution> uniform(const toml::node& node, const std::string& expected,
                                      const Quantity& quantity);
  std::optional<Distribution> normal(const toml::node& node, const std::string& expected,
                                     const Quantity& quantity);
  std::string unknown(const std::string& what, std::string_view key) const;

  const toml::table* table_;
  std::string name_;
  std::vector<Finding>* findings_;
  std::vector<std::string> known_;
};

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_SECTION_H
