// SPDX-License-Identifier: Apache-2.0
// Another way to measure messages: what it costs to tell it of one.
#ifndef ZEB_BENCH_PEERS_PEER_H
#define ZEB_BENCH_PEERS_PEER_H

#include <memory>
#include <stdexcept>
#include <string>

namespace bench {

// Why a peer can't be measured here.
struct LeftOut : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Peer {
 public:
  virtual ~Peer() = default;
  // One message: its size in bytes, its times in milliseconds. Threads may call it at once.
  virtual void message(int size, int elapsed, int queued) = 0;
  // Throws when what was told did not arrive where it should.
  virtual void check() = 0;
};

// Each throws LeftOut where it was not built in, or has nobody to talk to.
std::unique_ptr<Peer> makeHistograms();  // three histograms and a counter of prometheus-cpp
std::unique_ptr<Peer> makeTracepoint();  // one tracepoint of LTTng-UST with three fields, recorded
std::unique_ptr<Peer> makeDatagrams();   // one StatsD datagram with four values, to a local daemon

}  // namespace bench

#endif  // ZEB_BENCH_PEERS_PEER_H
