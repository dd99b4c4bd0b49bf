// SPDX-License-Identifier: Apache-2.0
#include "agent/model/settings.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "agent/model/liveness.h"
#include "agent/reader/bounded_file.h"
#include "agent/reader/letters.h"
#include "format/names.h"
#include "format/settings.h"
#include "format/sizes.h"

namespace model {
namespace {

using TrapKind = Trap::Kind;
using reader::sameLetters;
using std::string_view;

constexpr char kBlanks[] = " \t\v\f\r";
constexpr std::size_t kActivate = 1;  // its place among the settings
constexpr char kNoOverride[] = "NoOverride";
constexpr const char* kActivations[] = {
    kNoOverride, "Yes", "No", "EventOnly", "InputOutputOnly", "InputOutputAndEventOnly"};

bool isBlank(char c) {
  return string_view(kBlanks).find(c) != string_view::npos;
}

string_view withoutBlanks(string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

string_view firstWord(string_view text) {
  text = withoutBlanks(text);
  return text.substr(0, text.find_first_of(kBlanks));
}

std::vector<string_view> linesOf(string_view text) {
  std::vector<string_view> lines;
  while (!text.empty()) lines.push_back(reader::takeLine(text));
  return lines;
}

std::optional<string_view> activation(string_view value) {
  const auto found = std::ranges::find_if(
      kActivations, [value](string_view known) { return sameLetters(known, value); });
  if (found == std::end(kActivations)) return std::nullopt;
  return *found;
}

bool isActivation(string_view key) {
  return key.starts_with(layout::kActivateKey);
}

std::uint32_t areaOf(const std::string& value) {
  if (value.empty()) return layout::kDefaultArea;
  return layout::areaSize(static_cast<std::uint32_t>(std::strtol(value.c_str(), nullptr, 10)));
}

std::string effectiveOf(string_view key, const std::string& value) {
  if (key == layout::kTraceKey) return value == "On" ? "on" : "off";
  if (key == layout::kMemorySizeKey) return std::to_string(areaOf(value));
  if (key != layout::kDirectoryKey) return std::string(activation(value).value_or(kNoOverride));
  if (value.empty()) return layout::kDefaultDirectory;
  return value.ends_with('/') ? value : value + "/";
}

// What stands for a value in a line to be written, when no better one is known.
std::string defaultOf(string_view key) {
  if (key == layout::kTraceKey) return "Off";
  return effectiveOf(key, "");
}

std::string lineFor(string_view key, string_view value) {
  return std::string(key) + "=" + (value.empty() ? defaultOf(key) : std::string(value));
}

std::string shownLine(string_view line) {
  while (line.ends_with('\r')) line.remove_suffix(1);
  return std::string(line.substr(0, layout::kLongestLine));
}

// Looks for what is wrong with the lines of one file.
class Traps {
 public:
  Traps(const reader::Configuration& configuration, std::vector<std::string> keys)
      : text_(configuration.text), lines_(linesOf(text_)), keys_(std::move(keys)) {
    for (const std::string& key : keys_) decides_.push_back(layout::findSetting(text_, key).line);
  }

  std::vector<Trap> found() {
    bool first = true;  // or behind empty lines alone
    for (std::size_t i = 0; i < lines_.size() && traps_.size() < Settings::kMostTraps; ++i) {
      look(i + 1, first);
      first = first && lines_[i].empty();
    }
    return std::move(traps_);
  }

 private:
  // The longest key that the line begins with, in any letters: -1 when there is none.
  std::ptrdiff_t keyIn(string_view line) const {
    std::ptrdiff_t found = -1;
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      if (!sameLetters(line.substr(0, keys_[i].size()), keys_[i])) continue;
      if (found < 0 || keys_[i].size() > keys_[static_cast<std::size_t>(found)].size()) {
        found = static_cast<std::ptrdiff_t>(i);
      }
    }
    return found;
  }

  void look(std::size_t number, bool first) {
    const string_view line = lines_[number - 1];
    const string_view body = withoutBlanks(line.substr(0, layout::kLongestLine));
    const std::ptrdiff_t index = keyIn(body);
    if (index < 0) return;
    const std::string& key = keys_[static_cast<std::size_t>(index)];
    const std::size_t decides = decides_[static_cast<std::size_t>(index)];
    const string_view rest = body.substr(key.size());
    const bool ends = rest.empty() || isBlank(rest.front()) || rest.front() == '=';
    if (!body.starts_with(key)) {
      if (ends) add(TrapKind::keyCase, key, number, lineFor(key, meant(rest)));
    } else if (first && isBlank(line.front())) {
      add(TrapKind::blanksInFront, key, number, std::string(body));
    } else if (!ends) {
      if (decides == number) add(TrapKind::longerKey, key, number, properLine(key, number));
    } else {
      lookAtValue(key, number, body, decides);
    }
  }

  void lookAtValue(const std::string& key, std::size_t number, string_view body,
                   std::size_t decides) {
    const string_view rest = body.substr(key.size());
    const layout::Setting own = layout::findSetting(body, key);
    if (own.reason == layout::Setting::Reason::noWord)
      return add(TrapKind::noValue, key, number, lineFor(key, {}));
    if (decides != number) {
      add(TrapKind::neverReached, key, number, {});
      traps_.back().decidedBy = decides;
      return;
    }
    if (own.reason == layout::Setting::Reason::onlyAnEquals)
      return add(TrapKind::blankAroundEquals, key, number, lineFor(key, meant(rest)));
    if (own.value().starts_with('='))
      return add(TrapKind::doubleEquals, key, number, lineFor(key, meant(rest)));
    lookAtWord(key, number, std::string(own.value()), rest);
  }

  void lookAtWord(const std::string& key, std::size_t number, const std::string& value,
                  string_view rest) {
    if (key == layout::kMemorySizeKey) return lookAtSize(number, value);
    if (key == layout::kDirectoryKey) {
      const string_view behind = rest.substr(rest.find(value) + value.size());
      if (!withoutBlanks(behind).empty())
        add(TrapKind::restIgnored, key, number, lineFor(key, value));
    } else if (isActivation(key)) {
      if (!activation(value)) add(TrapKind::unknownValue, key, number, lineFor(key, {}));
    } else if (value != "On" && !sameLetters(value, "Off")) {
      const bool meantOn = sameLetters(value, "On");
      add(meantOn ? TrapKind::valueCase : TrapKind::unknownValue, key, number,
          lineFor(key, meantOn ? "On" : "Off"));
    }
  }

  void lookAtSize(std::size_t number, const std::string& value) {
    const std::string key = layout::kMemorySizeKey;
    const std::uint32_t area = areaOf(value);
    const bool digits = value.find_first_not_of("0123456789") == value.npos;
    if (!digits) {
      add(TrapKind::notANumber, key, number, lineFor(key, bytesMeant(value)));
    } else if (area > layout::kLargestUnwrapped) {
      add(TrapKind::tooLarge, key, number, lineFor(key, std::to_string(layout::kLargestUnwrapped)));
    } else if (std::to_string(area) !=
               value.substr(std::min(value.find_first_not_of('0'), value.size()))) {
      add(TrapKind::otherNumber, key, number, lineFor(key, std::to_string(area)));
    }
  }

  // "64k" is what people write for 65536; for anything else it is what counts now.
  static std::string bytesMeant(const std::string& value) {
    char* unit = nullptr;
    const long number = std::strtol(value.c_str(), &unit, 10);
    const char letter = reader::lower(*unit);
    const int shift = letter == 'k' ? 10 : letter == 'm' ? 20 : letter == 'g' ? 30 : 0;
    const bool fits = number > 0 && number <= (std::int64_t{layout::kLargestUnwrapped} >> shift);
    return std::to_string(fits && shift > 0 ? static_cast<std::uint32_t>(number << shift)
                                            : areaOf(value));
  }

  // The word that was meant to be the value.
  static string_view meant(string_view rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t\v\f\r="), rest.size()));
    return firstWord(rest);
  }

  // A line below that has the key itself, else one with its default.
  std::string properLine(const std::string& key, std::size_t number) const {
    for (std::size_t i = number; i < lines_.size(); ++i) {
      const string_view body = withoutBlanks(lines_[i].substr(0, layout::kLongestLine));
      if (!body.starts_with(key)) continue;
      const string_view rest = body.substr(key.size());
      if (!rest.empty() && (isBlank(rest.front()) || rest.front() == '='))
        return lineFor(key, meant(rest));
    }
    return lineFor(key, {});
  }

  void add(TrapKind kind, const std::string& key, std::size_t number, std::string write) {
    traps_.push_back({kind, key, number, shownLine(lines_[number - 1]), 0, std::move(write)});
  }

  string_view text_;
  std::vector<string_view> lines_;
  std::vector<std::string> keys_;
  std::vector<std::size_t> decides_;  // a key's line
  std::vector<Trap> traps_;
};

Setting settingFor(const reader::Configuration& configuration, const std::string& key,
                   const std::vector<string_view>& lines) {
  const layout::Setting found = reader::settingIn(configuration, key);
  Setting setting;
  setting.key = key;
  setting.value = found.value();
  setting.effective = effectiveOf(key, setting.value);
  setting.isDefault = setting.effective == effectiveOf(key, "") &&
                      !(key.starts_with(layout::kActivateForKey) && found.matched());
  if (!found.matched()) return setting;
  setting.line = found.line;
  if (configuration.directory) {
    setting.raw = setting.value;
  } else if (found.line <= lines.size()) {
    setting.raw = shownLine(lines[found.line - 1]);
  }
  return setting;
}

}  // namespace

Settings settingsOf(const reader::Configuration& configuration,
                    const std::vector<std::string>& labels) {
  std::vector<std::string> keys = {layout::kTraceKey, layout::kActivateKey};
  for (const std::string& label : labels) {
    const std::string key = layout::kActivateForKey + label;
    if (std::ranges::find(keys, key) == keys.end()) keys.push_back(key);
  }
  keys.insert(keys.end(), {layout::kDirectoryKey, layout::kMemorySizeKey});
  Settings result;
  const std::vector<string_view> lines = linesOf(configuration.text);
  for (const std::string& key : keys) {
    result.settings.push_back(settingFor(configuration, key, lines));
    Setting& setting = result.settings.back();
    if (key.starts_with(layout::kActivateForKey) && !activation(setting.value)) {
      setting.effective = result.settings[kActivate].effective;
      setting.isDefault = true;
    }
  }
  if (!configuration.directory) result.traps = Traps(configuration, keys).found();
  return result;
}

std::uint32_t configuredArea(const reader::Configuration& configuration) {
  return areaOf(std::string(reader::settingIn(configuration, layout::kMemorySizeKey).value()));
}

std::vector<Restart> restartsOf(const Snapshot& snapshot) {
  std::vector<Restart> restarts;
  if (!snapshot.machine) return restarts;
  const Machine& machine = *snapshot.machine;
  const std::uint32_t configured = configuredArea(machine.configuration);
  for (const auto& broker : snapshot.brokers) {
    const reader::Area* const area = broker->segment.copy.find(reader::kStatistics);
    if (area != nullptr && area->size != configured) {
      restarts.push_back({.why = Restart::Why::otherSize,
                          .broker = broker,
                          .group = {},
                          .area = area->size,
                          .configured = configured});
    }
    if (!broker->tree) continue;
    for (const auto& group : broker->tree->executionGroups) {
      const reader::Process* const process = machine.find(group.processId);
      if (process == nullptr || fateOf(*process).fate != Fate::alive) continue;
      const auto start = startOf(*process, machine.clocks);
      if (!start || machine.configuration.modified <= start->count() / 1000) continue;
      restarts.push_back({.why = Restart::Why::fileIsYounger,
                          .broker = broker,
                          .group = group.label,
                          .process = group.processId,
                          .started = start->count() / 1000});
    }
  }
  return restarts;
}

}  // namespace model
