// SPDX-License-Identifier: Apache-2.0
// Any bytes as a message: its size, its descriptor and what becomes of it downstream. It passes
// once, with its bytes as they were; both ways to read the time of its put agree.
#include <cstring>
#include <memory>

#include "base/put_time.h"
#include "base/wide.h"
#include "node/node_context.h"
#include "records/message_descriptor.h"
#include "tests/fuzz/private_world.h"
#include "tests/support/scripted_host.h"

namespace {

using namespace support;

constexpr std::size_t kControl =
    5;  // bytes in front of the message: flags, and the size that is told

struct Node {
  Node() {
    const auto set = [this](const char16_t* name, const char16_t* value) {
      context.setAttributeValue(reinterpret_cast<const zebchar*>(name),
                                reinterpret_cast<const zebchar*>(value));
    };
    set(u"label", u"NODE1");
    set(u"type", u"input");
    set(u"eventMessage", u"seen");
    set(u"subFlowName", u"");
    set(u"activateNode", u"yes");
  }

  ScriptedNode place;
  ZEB_Node_Context context{place.handle()};
};

void comparePutTimes(const std::uint8_t* bits) {
  MessageDescriptor descriptor;
  std::memcpy(&descriptor, bits, sizeof descriptor);
  const auto read = ZEB_ReadPutTime(descriptor.putDate, descriptor.putTime);
  const auto scanned = ZEB_ScanPutTime(descriptor.putDate, descriptor.putTime);
  fuzz::require(read.has_value() == scanned.has_value());
  fuzz::require(!read || *read == *scanned);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  static Node* const node = new Node;  // for all messages, as in a flow
  if (length < kControl) return 0;
  const bool fails = (data[0] & 1) != 0;
  const bool hasNoBits = (data[0] & 2) != 0;
  int size;
  std::memcpy(&size, data + 1, sizeof size);
  const auto bits = fuzz::atLeast(sizeof(MessageDescriptor), data + kControl, length - kControl);
  comparePutTimes(bits.data());

  ScriptedMessage message;
  if (!hasNoBits) message.bits = bits;
  message.sizes = {size, size};
  int propagated = 0;
  host().script.propagate = [&](int& code, HostMessage*) {
    ++propagated;
    if (fails) code = 64;
  };
  bool raised = false;
  try {
    node->context.processMessage(nullptr, nullptr, message.handle());
  } catch (const Rethrown&) {
    raised = true;
  }
  fuzz::require(propagated == 1 && raised == fails);
  fuzz::require(hasNoBits ? message.bits.empty() : message.bits == bits);
  fuzz::quietHost();
  return 0;
}
