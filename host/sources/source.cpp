// SPDX-License-Identifier: Apache-2.0
#include "host/sources/source.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <system_error>

#include "flowfile/section.h"

namespace host {
namespace {

struct SourceKind {
  const char* key;
  std::any (*read)(flowfile::Section& input, flowfile::Context& context);
};

template <typename Settings>
std::any readAs(flowfile::Section& input, flowfile::Context& context) {
  auto settings = Settings::read(input, context);
  return settings ? std::any(SourceSettings(*std::move(settings))) : std::any();
}

constexpr SourceKind kKinds[] = {
    {Lines::key, readAs<Lines>}, {Files::key, readAs<Files>}, {Generated::key, readAs<Generated>}};

constexpr std::uint64_t kWithoutEnd = 1'000'000'000'000;

void repeat(Lines& lines) {
  std::error_code none;
  if (std::filesystem::is_regular_file(lines.path, none)) lines.repeat = kWithoutEnd;
}

void repeat(Files& files) {
  files.repeat = kWithoutEnd;
}

void repeat(Generated& generated) {
  generated.count = 0;
}

}  // namespace

std::any readSource(flowfile::Section& input, flowfile::Context& context) {
  const SourceKind* chosen = nullptr;
  int given = 0;
  for (const SourceKind& kind : kKinds) {
    if (!input.has(kind.key)) continue;
    chosen = &kind;
    ++given;
  }
  if (given == 1) return chosen->read(input, context);
  input.find("repeat");
  input.note("expected exactly one of lines, files, generated");
  return {};
}

const SourceSettings& settingsOf(const flowfile::Input& input) {
  return std::any_cast<const SourceSettings&>(input.source);
}

SourceSettings withoutEnd(SourceSettings settings) {
  std::visit([](auto& any) { repeat(any); }, settings);
  return settings;
}

std::unique_ptr<MessageSource> openSource(const SourceSettings& settings, std::uint64_t seed,
                                          const StopSignal& stop) {
  return std::visit([&](const auto& any) { return open(any, seed, stop); }, settings);
}

std::vector<std::filesystem::path> inputsOf(const SourceSettings& settings) {
  return std::visit([](const auto& any) { return inputsOf(any); }, settings);
}

}  // namespace host
