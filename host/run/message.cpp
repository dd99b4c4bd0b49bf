// SPDX-License-Identifier: Apache-2.0
#include "host/run/message.h"

#include <fmt/format.h>
#include <time.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kMessageId = 48;
constexpr std::size_t kCorrelationId = 72;
constexpr std::size_t kCorrelationBytes = 24;
constexpr std::size_t kApplicationType = 272;
constexpr std::size_t kApplicationName = 276;
constexpr std::size_t kApplicationBytes = 28;
constexpr std::size_t kPutDate = 304;
constexpr std::size_t kPutTime = 312;

}  // namespace

HostMessage::HostMessage(std::uint64_t number, const host::Descriptor& descriptor,
                         std::string_view body, bool lazy)
    : number_(number), bytes_(host::kDescriptorBytes + body.size()), serialised_(!lazy) {
  std::uint8_t* at = bytes_.data();
  std::copy(descriptor.messageId.begin(), descriptor.messageId.end(), at + kMessageId);
  const auto correlation = descriptor.correlationId.substr(0, kCorrelationBytes);
  std::copy(correlation.begin(), correlation.end(), at + kCorrelationId);
  std::memcpy(at + kApplicationType, &descriptor.applicationType,
              sizeof descriptor.applicationType);
  std::fill_n(at + kApplicationName, kApplicationBytes, std::uint8_t{' '});
  const auto name = descriptor.applicationName.substr(0, kApplicationBytes);
  std::copy(name.begin(), name.end(), at + kApplicationName);
  std::copy(body.begin(), body.end(), at + host::kDescriptorBytes);
}

void HostMessage::stampPutTime(std::chrono::system_clock::time_point when) {
  using namespace std::chrono;
  const auto hundredths =
      duration_cast<duration<std::int64_t, std::centi>>(when.time_since_epoch());
  const std::time_t seconds = hundredths.count() / 100;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  const std::string date =
      fmt::format("{:04}{:02}{:02}", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday);
  const std::string time = fmt::format("{:02}{:02}{:02}{:02}", utc.tm_hour, utc.tm_min, utc.tm_sec,
                                       hundredths.count() % 100);
  std::copy_n(date.begin(), 8, bytes_.begin() + kPutDate);
  std::copy_n(time.begin(), 8, bytes_.begin() + kPutTime);
}

std::string_view HostMessage::body() const {
  return {reinterpret_cast<const char*>(bytes_.data()) + host::kDescriptorBytes,
          bytes_.size() - host::kDescriptorBytes};
}
