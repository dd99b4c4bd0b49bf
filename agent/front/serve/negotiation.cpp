// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/negotiation.h"

#include <optional>
#include <string>
#include <vector>

#include "agent/front/serve/request.h"
#include "agent/reader/letters.h"

namespace serve {
namespace {

// What is between separators; those inside "..." are none.
std::vector<std::string_view> parts(std::string_view text, char separator) {
  std::vector<std::string_view> found;
  bool quoted = false;
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (quoted && text[at] == '\\') {
      ++at;
    } else if (text[at] == '"') {
      quoted = !quoted;
    } else if (text[at] == separator && !quoted) {
      found.push_back(trimmed(text.substr(begin, at - begin)));
      begin = at + 1;
    }
  }
  found.push_back(trimmed(text.substr(begin)));
  return found;
}

// "0.75" as 750, for at most three decimals from 0 to 1; nothing for other texts.
std::optional<int> thousandthsOf(std::string_view text) {
  if (text.empty() || text.size() > 5 || (text[0] != '0' && text[0] != '1')) return {};
  if (text.size() > 1 && text[1] != '.') return {};
  int weight = text[0] - '0';
  for (std::size_t at = 2; at < 5; ++at) {
    const char digit = at < text.size() ? text[at] : '0';
    if (digit < '0' || digit > '9') return {};
    weight = weight * 10 + (digit - '0');
  }
  return weight <= 1000 ? std::optional(weight) : std::nullopt;
}

std::string_view unquoted(std::string_view value) {
  if (value.size() < 2 || value.front() != '"' || value.back() != '"') return value;
  return value.substr(1, value.size() - 2);
}

// One member of a list: a name, its version if it says one, and its weight in thousandths.
struct Wish {
  std::string_view name;
  std::string_view version;
  int weight = 1000;
};

std::optional<Wish> wishOf(std::string_view text) {
  const std::vector<std::string_view> pieces = parts(text, ';');
  Wish wish{.name = pieces[0], .version = {}};
  for (std::size_t i = 1; i < pieces.size(); ++i) {
    const auto equals = pieces[i].find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view name = trimmed(pieces[i].substr(0, equals));
    const std::string_view value = trimmed(pieces[i].substr(equals + 1));
    if (reader::sameLetters(name, "version")) wish.version = unquoted(value);
    if (!reader::sameLetters(name, "q")) continue;
    const auto weight = thousandthsOf(value);
    if (!weight) return {};
    wish.weight = *weight;
  }
  return wish;
}

// The highest weight of the members that `is` one; nothing when there is none.
template <class Is>
std::optional<int> weightOf(std::string_view list, Is is) {
  std::optional<int> highest;
  for (const std::string_view part : parts(list, ',')) {
    const auto wish = wishOf(part);
    if (wish && is(*wish)) highest = std::max(highest.value_or(0), wish->weight);
  }
  return highest;
}

std::optional<int> weightOfName(std::string_view list, std::string_view name) {
  return weightOf(list, [name](const Wish& wish) { return reader::sameLetters(wish.name, name); });
}

}  // namespace

render::Exposition expositionFor(std::string_view accept) {
  const auto open = weightOf(accept, [](const Wish& wish) {
    return reader::sameLetters(wish.name, "application/openmetrics-text") &&
           (wish.version.empty() || wish.version == "1.0.0");
  });
  const auto plain = weightOf(accept, [](const Wish& wish) {
    return reader::sameLetters(wish.name, "text/plain") &&
           (wish.version.empty() || wish.version == "0.0.4");
  });
  const bool chosen = open && *open > 0 && *open >= plain.value_or(0);
  return chosen ? render::Exposition::openMetrics : render::Exposition::prometheus;
}

bool takesGzip(std::string_view acceptEncoding) {
  auto weight = weightOfName(acceptEncoding, "gzip");
  if (!weight) weight = weightOfName(acceptEncoding, "x-gzip");
  if (!weight) weight = weightOfName(acceptEncoding, "*");
  return weight.value_or(0) > 0;
}

}  // namespace serve
