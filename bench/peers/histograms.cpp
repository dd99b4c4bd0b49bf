// SPDX-License-Identifier: Apache-2.0
#include "bench/peers/peer.h"

#ifdef ZEB_HAS_PROMETHEUS

#include <prometheus/counter.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

#include <atomic>

namespace bench {
namespace {

const prometheus::Histogram::BucketBoundaries kSizes{100, 1000, 10000, 100000, 1000000};
const prometheus::Histogram::BucketBoundaries kTimes{1, 10, 100, 1000, 10000};

class Histograms : public Peer {
 public:
  void message(int size, int elapsed, int queued) override {
    size_.Observe(size);
    elapsed_.Observe(elapsed);
    queued_.Observe(queued);
    count_.Increment();
  }

  void check() override {
    const auto observed = size_.Collect().histogram.sample_count;
    if (count_.Value() < 1 || static_cast<double>(observed) != count_.Value())
      throw std::runtime_error("histogram and counter don't agree");
  }

 private:
  prometheus::Histogram& histogram(const char* name,
                                   const prometheus::Histogram::BucketBoundaries& bounds) {
    return prometheus::BuildHistogram().Name(name).Register(registry_).Add({{"node", "N"}}, bounds);
  }

  prometheus::Registry registry_;
  prometheus::Histogram& size_ = histogram("size", kSizes);
  prometheus::Histogram& elapsed_ = histogram("elapsed", kTimes);
  prometheus::Histogram& queued_ = histogram("queued", kTimes);
  prometheus::Counter& count_ =
      prometheus::BuildCounter().Name("messages").Register(registry_).Add({{"node", "N"}});
};

}  // namespace

std::unique_ptr<Peer> makeHistograms() {
  return std::make_unique<Histograms>();
}

}  // namespace bench

#else

std::unique_ptr<bench::Peer> bench::makeHistograms() {
  throw LeftOut("built without prometheus-cpp");
}

#endif
