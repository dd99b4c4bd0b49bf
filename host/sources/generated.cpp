// SPDX-License-Identifier: Apache-2.0
#include "host/sources/generated.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "flowfile/section.h"
#include "host/sources/random.h"
#include "host/sources/repeat.h"

namespace host {
namespace {

constexpr std::int64_t kMaxCount = 1'000'000'000'000;
constexpr double kLargest = 256.0 * 1024 * 1024;  // an unbounded distribution ends here

class GeneratedSource : public MessageSource {
 public:
  GeneratedSource(const Generated& settings, std::uint64_t seed, const StopSignal& stop)
      : settings_(settings), seed_(seed), stop_(stop) {}

  bool next(Draft& draft) override {
    if ((settings_.count != 0 && number_ == settings_.count) || stop_.raised()) return false;
    Random random(mixSeeds(seed_, ++number_));
    const double size = std::min(kLargest, draw(settings_.size, random));
    draft.body.resize(static_cast<std::size_t>(size));
    for (std::size_t i = 0; i < draft.body.size(); i += kLetters) letters(random, draft.body, i);
    draft.name = fmt::format("generated:{}", number_);
    return true;
  }

 private:
  static constexpr std::size_t kLetters = 12;  // five bits each of one random number

  static void letters(Random& random, std::string& body, std::size_t at) {
    constexpr char kAlphabet[] = "abcdefghijklmnopqrstuvwxyz234567";
    std::uint64_t bits = random.next();
    for (std::size_t i = at; i < std::min(body.size(), at + kLetters); ++i, bits >>= 5) {
      body[i] = kAlphabet[bits & 31];
    }
  }

  Generated settings_;
  std::uint64_t seed_;
  const StopSignal& stop_;
  std::uint64_t number_ = 0;
};

}  // namespace

std::optional<Generated> Generated::read(flowfile::Section& input, flowfile::Context&) {
  readRepeat(input, false);
  auto table = input.child(key, key);
  if (!table) return std::nullopt;
  constexpr flowfile::Distribution kUsual{flowfile::Distribution::Kind::constant, 100, 0};
  Generated generated;
  generated.count = static_cast<std::uint64_t>(table->integer("count", 1, kMaxCount).value_or(0));
  generated.size = table->sizes("size", kLargest).value_or(kUsual);
  table->finish();
  return generated;
}

std::unique_ptr<MessageSource> open(const Generated& generated, std::uint64_t seed,
                                    const StopSignal& stop) {
  return std::make_unique<GeneratedSource>(generated, seed, stop);
}

std::vector<std::filesystem::path> inputsOf(const Generated&) {
  return {};
}

}  // namespace host
