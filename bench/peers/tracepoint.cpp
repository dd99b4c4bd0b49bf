// SPDX-License-Identifier: Apache-2.0
#include "bench/peers/peer.h"

#ifdef ZEB_HAS_LTTNG

#define LTTNG_UST_TRACEPOINT_CREATE_PROBES
#define LTTNG_UST_TRACEPOINT_DEFINE
#include "bench/peers/tracepoint_provider.h"

namespace bench {
namespace {

bool recorded() {
  return lttng_ust_tracepoint_enabled(zebbench, message) != 0;
}

class Tracepoint : public Peer {
 public:
  void message(int size, int elapsed, int queued) override {
    lttng_ust_tracepoint(zebbench, message, size, elapsed, queued);
  }

  void check() override {
    if (!recorded()) throw std::runtime_error("the session has stopped recording");
  }
};

}  // namespace

// A tracepoint that nobody records costs next to nothing and tells nobody anything.
std::unique_ptr<Peer> makeTracepoint() {
  if (!recorded()) throw LeftOut("no LTTng session records it (package lttng-tools)");
  return std::make_unique<Tracepoint>();
}

}  // namespace bench

#else

std::unique_ptr<bench::Peer> bench::makeTracepoint() {
  throw LeftOut("built without LTTng-UST");
}

#endif
