// SPDX-License-Identifier: Apache-2.0
#include "agent/archive/json_fields.h"

#include "text/utf8.h"

namespace archived {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

int valueOf(char digit) {
  const auto* const found = std::char_traits<char>::find(kDigits, 16, digit);
  if (found == nullptr) throw Malformed{"is no text"};
  return static_cast<int>(found - kDigits);
}

std::string bytesOf(const std::string& digits) {
  if (digits.size() % 2 != 0) throw Malformed{"is no text"};
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(valueOf(digits[i]) << 4 | valueOf(digits[i + 1]));
  }
  return bytes;
}

}  // namespace

Json jsonOfText(const std::string& bytes) {
  if (text::wellFormed(bytes)) return bytes;
  std::string digits;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    digits += kDigits[byte >> 4];
    digits += kDigits[byte & 0xF];
  }
  return {{"hex", digits}};
}

std::string textOf(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  const Json* const digits = value.is_object() && value.contains("hex") ? &value["hex"] : nullptr;
  if (digits == nullptr || !digits->is_string()) throw Malformed{"is no text"};
  return bytesOf(digits->get<std::string>());
}

std::int64_t signedOf(const Json& value, std::int64_t least, std::int64_t most) {
  const bool fits =
      !value.is_number_unsigned() || std::in_range<std::int64_t>(value.get<std::uint64_t>());
  if (!value.is_number_integer() || !fits) throw Malformed{"is no number that fits"};
  const auto number = value.get<std::int64_t>();
  if (number < least || number > most) throw Malformed{"is no number that fits"};
  return number;
}

std::uint64_t unsignedOf(const Json& value, std::uint64_t most) {
  const bool fits =
      value.is_number_unsigned() || (value.is_number_integer() && value.get<std::int64_t>() >= 0);
  if (!fits || value.get<std::uint64_t>() > most) throw Malformed{"is no number that fits"};
  return value.get<std::uint64_t>();
}

const Json& memberOf(const Json& object, const char* name) {
  const auto found = object.find(name);
  if (found == object.end()) throw Malformed{std::string(name) + " is missing"};
  return *found;
}

}  // namespace archived
