// SPDX-License-Identifier: Apache-2.0
// A damaged segment under a node that joins it, and under one that runs while it is damaged:
// messages pass, once each and unchanged.
#include "base/wide.h"
#include "node/node_context.h"
#include "tests/fuzz/private_world.h"
#include "tests/support/broken.h"
#include "tests/support/live_segment.h"
#include "tests/support/scripted_host.h"

namespace {

using namespace support;

int propagated = 0;
bool failing = false;

void set(ZEB_Node_Context& node, const char16_t* name, const char16_t* value) {
  node.setAttributeValue(reinterpret_cast<const zebchar*>(name),
                         reinterpret_cast<const zebchar*>(value));
}

struct Deployed {
  Deployed(const char16_t* label, const char16_t* subFlowName) {
    set(context, u"label", label);
    set(context, u"type", u"input");
    set(context, u"eventMessage", u"seen");
    set(context, u"subFlowName", subFlowName);
    set(context, u"activateNode", u"yes");
  }

  ScriptedNode place;
  ZEB_Node_Context context{place.handle()};
};

// One that passes and one that fails.
void sendBoth(Deployed& node) {
  ScriptedMessage message;
  const std::vector<std::uint8_t> bits(364, 7);
  message.bits = bits;
  const int before = propagated;
  node.context.processMessage(nullptr, nullptr, message.handle());
  failing = true;
  bool raised = false;
  try {
    node.context.processMessage(nullptr, nullptr, message.handle());
  } catch (const Rethrown&) {
    raised = true;
  }
  failing = false;
  fuzz::require(raised && propagated == before + 2 && message.bits == bits);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  host().script.propagate = [](int& code, HostMessage*) {
    ++propagated;
    if (failing) code = 64;
  };
  const broken::Bytes bytes = broken::patched(data, length);
  {
    const LiveSegment live("UUID1", bytes);
    Deployed known(u"NODE1", u"");
    sendBoth(known);
    Deployed replaced(u"NODE2", u"longer");
    sendBoth(replaced);
  }
  LiveSegment live("UUID1", broken::healthy());
  Deployed running(u"NODE1", u"");
  live.write(bytes);
  sendBoth(running);
  Deployed late(u"LATE", u"");
  sendBoth(late);
  sendBoth(running);
  fuzz::quietHost();
  return 0;
}
