// SPDX-License-Identifier: Apache-2.0
// Reads an input as a row of choices: numbers from its end, texts from its front. When it is used
// up, each number is the least and each text is empty.
#ifndef ZEB_TESTS_FUZZ_CHOICES_H
#define ZEB_TESTS_FUZZ_CHOICES_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

class Choices {
 public:
  Choices(const std::uint8_t* data, std::size_t length) : front_(data), end_(data + length) {}

  bool any() const { return front_ != end_; }

  // From least to most, both included; takes as many bytes as their difference needs.
  std::int64_t number(std::int64_t least, std::int64_t most) {
    const auto span = static_cast<std::uint64_t>(most - least);
    std::uint64_t chosen = 0;
    for (std::uint64_t left = span; left > 0 && any(); left >>= 8) chosen = chosen << 8 | *--end_;
    return least + static_cast<std::int64_t>(chosen % (span + 1));
  }

  template <typename Thing, std::size_t Count>
  const Thing& oneOf(const Thing (&things)[Count]) {
    return things[number(0, Count - 1)];
  }

  // At most so many bytes. A backslash and another byte end the text early; two of them are one.
  std::string text(std::size_t most) {
    std::string chosen;
    while (chosen.size() < most && any()) {
      const auto byte = static_cast<char>(*front_++);
      if (byte == '\\' && any() && *front_++ != '\\') break;
      chosen.push_back(byte);
    }
    return chosen;
  }

 private:
  const std::uint8_t* front_;
  const std::uint8_t* end_;
};

}  // namespace fuzz

#endif  // ZEB_TESTS_FUZZ_CHOICES_H
