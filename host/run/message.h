// SPDX-License-Identifier: Apache-2.0
// A message on its way through a flow: a descriptor of 364 bytes and a body, one bit stream.
#ifndef ZEB_HOST_RUN_MESSAGE_H
#define ZEB_HOST_RUN_MESSAGE_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

inline constexpr std::size_t kDescriptorBytes = 364;

// What goes into the descriptor; every byte that no field takes is zero. The numbers are offsets in
// bytes.
struct Descriptor {
  std::array<std::uint8_t, 24> messageId{};  // at 48
  std::string_view correlationId;            // at 72, cut or zero-filled to 24 bytes
  std::int32_t applicationType = 0;          // at 272
  std::string_view applicationName;          // at 276, cut or blank-filled to 28 characters
};

}  // namespace host

// Not for several threads at once: a message is in one place of its flow.
struct HostMessage {
  // Copies descriptor and body. `number` is the message's place in its source, from 1. `lazy`
  // leaves the message without a bit stream until serialise().
  HostMessage(std::uint64_t number, const host::Descriptor& descriptor, std::string_view body,
              bool lazy);

  // Writes put date and put time, in UTC, to the hundredth of a second. They are zero bytes before.
  void stampPutTime(std::chrono::system_clock::time_point when);

  // What the plug-in sees of the bit stream: bytes and address, or 0 and null while there is none.
  void serialise() { serialised_ = true; }
  int streamSize() const { return serialised_ ? static_cast<int>(bytes_.size()) : 0; }
  const std::uint8_t* stream() const { return serialised_ ? bytes_.data() : nullptr; }

  // From 1, in the order of the source.
  std::uint64_t number() const { return number_; }
  // Bytes of descriptor and body, whether or not the message has a bit stream yet.
  std::size_t size() const { return bytes_.size(); }
  // Behind the descriptor; valid as long as the message.
  std::string_view body() const;

 private:
  std::uint64_t number_;
  std::vector<std::uint8_t> bytes_;
  bool serialised_;
};

#endif  // ZEB_HOST_RUN_MESSAGE_H
