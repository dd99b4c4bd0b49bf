// SPDX-License-Identifier: Apache-2.0
#include "agent/model/message_way.h"

#include <algorithm>
#include <map>

namespace model {
namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";
constexpr std::size_t kMostDigits = 2 * layout::evdr::messageId.width;

using Id = std::span<const std::uint8_t>;

char digitAt(Id id, std::size_t i) {
  return kHexDigits[i % 2 == 0 ? id[i / 2] >> 4 : id[i / 2] & 0xF];
}

std::string digitsOf(Id id) {
  std::string digits;
  for (std::size_t i = 0; i < 2 * id.size(); ++i) digits += digitAt(id, i);
  return digits;
}

void order(std::vector<WayStep>& steps) {
  std::ranges::stable_sort(steps, {}, &WayStep::createdMs);
  for (std::size_t i = 1; i < steps.size(); ++i)
    steps[i].afterMs = steps[i].createdMs - steps[i - 1].createdMs;
}

}  // namespace

std::optional<std::string> idPrefixOf(const std::string& text) {
  std::string digits = text.starts_with("0x") || text.starts_with("0X") ? text.substr(2) : text;
  for (char& digit : digits) {
    if (digit >= 'a' && digit <= 'f') digit = static_cast<char>(digit - 'a' + 'A');
  }
  const bool valid = !digits.empty() && digits.size() <= kMostDigits &&
                     digits.find_first_not_of(kHexDigits) == digits.npos;
  return valid ? std::optional(digits) : std::nullopt;
}

bool begins(Id id, const std::string& prefix) {
  if (std::ranges::all_of(id, [](std::uint8_t byte) { return byte == 0; })) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i)
    if (digitAt(id, i) != prefix[i]) return false;
  return true;
}

std::vector<MessageWay> waysOf(const Snapshot& snapshot, const std::string& prefix,
                               const Selection& selection) {
  std::map<std::string, std::vector<WayStep>> found;
  for (const auto& broker : snapshot.brokers) {
    if (!broker->events) continue;
    for (const reader::Event& event : broker->events->events) {
      if (!selects(selection, event)) continue;
      WayStep step{.broker = broker.get(),
                   .event = &event,
                   .createdMs = event.recordId.created().inMilliseconds()};
      if (begins(event.messageId, prefix)) found[digitsOf(event.messageId)].push_back(step);
      step.byCorrelation = true;
      if (event.correlationId != event.messageId && begins(event.correlationId, prefix))
        found[digitsOf(event.correlationId)].push_back(step);
    }
  }
  std::vector<MessageWay> ways;
  for (auto& [id, steps] : found) {
    order(steps);
    ways.push_back({id, std::move(steps)});
  }
  return ways;
}

}  // namespace model
