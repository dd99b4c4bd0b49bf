// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/request.h"

#include "agent/reader/letters.h"

namespace serve {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const auto begin = text.find_first_not_of(kBlanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::vector<std::string_view> Request::valuesOf(std::string_view name) const {
  std::vector<std::string_view> values;
  for (const Header& header : headers) {
    if (reader::sameLetters(header.first, name)) values.push_back(trimmed(header.second));
  }
  return values;
}

std::string Request::listOf(std::string_view name) const {
  std::string list;
  for (const std::string_view value : valuesOf(name)) {
    if (!list.empty()) list += ',';
    list += value;
  }
  return list;
}

const std::vector<Header>& commonHeaders() {
  static const std::vector<Header> headers = {
      {"Content-Security-Policy",
       "default-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'none'; "
       "object-src 'none'"},
      {"X-Content-Type-Options", "nosniff"},
      {"Cross-Origin-Resource-Policy", "same-origin"},
      {"Referrer-Policy", "no-referrer"},
      {"Cache-Control", "no-store"}};
  return headers;
}

}  // namespace serve
