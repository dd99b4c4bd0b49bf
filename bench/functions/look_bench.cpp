// SPDX-License-Identifier: Apache-2.0
#include <benchmark/benchmark.h>
#include <fmt/compile.h>
#include <sys/shm.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/front/serve/gzip.h"
#include "agent/model/collector.h"
#include "agent/model/rates.h"
#include "agent/reader/segment.h"
#include "agent/render/metrics.h"
#include "bench/functions/filled_broker.h"
#include "bench/support/comparison.h"
#include "bench/support/settings.h"
#include "format/layout.h"

namespace {

// The work is timed in turn with its floor, so that what disturbs one disturbs the other.
template <class Work, class Floor>
void inTurnWith(benchmark::State& state, Floor&& floor, Work&& work) {
  std::vector<double> ratios;
  for (auto _ : state) {
    state.PauseTiming();
    const double least = bench::nanoseconds(1, floor);
    state.ResumeTiming();
    const double all = bench::nanoseconds(1, work);
    ratios.push_back(all / least);
  }
  state.counters["ratio"] = bench::median(ratios);
}

// What the simplest reader does that notices what others write meanwhile: attach the segment, copy
// it twice, and step over the records. It keeps its memory from look to look.
class PlainLook {
 public:
  explicit PlainLook(const reader::Segment& segment)
      : id_(segment.id),
        first_(segment.size),
        second_(segment.size),
        statistics_(segment.copy.find(reader::kStatistics)->at) {}

  void operator()() {
    const void* const at = shmat(id_, nullptr, SHM_RDONLY);
    std::memcpy(first_.data(), at, first_.size());
    std::memcpy(second_.data(), at, second_.size());
    shmdt(at);
    benchmark::DoNotOptimize(second_.data());
    const auto bytes = std::span<const std::uint8_t>(first_).subspan(statistics_);
    for (std::size_t next = layout::block::bytes; next < bytes.size();) {
      const std::size_t size = layout::storedSize(bytes.subspan(next));
      if (size == 0) break;
      next += size;
    }
  }

 private:
  int id_;
  std::vector<std::uint8_t> first_;
  std::vector<std::uint8_t> second_;
  std::size_t statistics_;
};

// One look of a command that shows rates: attach, copy, decode, compare with the look before.
void lookAtNodes(benchmark::State& state) {
  constexpr int kNodes = 800;
  bench::writeSettings(1 << 18);
  const auto broker = bench::attachBroker();
  bench::insertNodes(*broker, kNodes);
  model::Collector collector("");
  auto before = collector.take();
  PlainLook floor(reader::readSegment(bench::segmentKeyFile()));
  inTurnWith(state, floor, [&] {
    auto after = collector.take();
    benchmark::DoNotOptimize(model::between(*before, *after));
    before = std::move(after);
  });
}
BENCHMARK(lookAtNodes)->Unit(benchmark::kMillisecond);

// So many nodes that have measured, in flows of ten.
model::Snapshot snapshotOf(int nodes) {
  auto broker = std::make_shared<model::SeenBroker>();
  broker->segment.state = reader::State::ok;
  broker->segment.size = 1 << 20;
  broker->tree = reader::Broker{};
  broker->tree->label = "BENCH";
  reader::ExecutionGroup& group = broker->tree->executionGroups.emplace_back();
  group.label = "default";
  for (int i = 0; i < nodes; ++i) {
    if (i % 10 == 0) group.messageFlows.emplace_back().label = fmt::format("Flow {}", i / 10);
    reader::Node& node = group.messageFlows.back().nodes.emplace_back();
    node.label = fmt::format("Node {}", i);
    node.type = 1;
    node.statistics = reader::Statistics{};
    reader::Statistics& s = *node.statistics;
    s.messageCount = 1234567 + i;
    s.sumSize = 1234567890 + i;
    s.sumElapsed = 98765432 + i;
    s.sumQueued = 8765432 + i;
    s.lastCollection = 1700000000 + i;
  }
  model::Snapshot snapshot;
  snapshot.brokers = {std::move(broker)};
  return snapshot;
}

// As many lines of the same shape, by compiled formats.
std::string compiledLines(const model::Snapshot& snapshot) {
  constexpr int kFamilies = 12;
  std::string text;
  const reader::ExecutionGroup& group = snapshot.brokers[0]->tree->executionGroups[0];
  for (int family = 0; family < kFamilies; ++family) {
    for (const reader::MessageFlow& flow : group.messageFlows) {
      for (const reader::Node& node : flow.nodes) {
        fmt::format_to(std::back_inserter(text),
                       FMT_COMPILE("{}{{broker=\"{}\",execution_group=\"{}\",flow=\"{}\",node=\"{}"
                                   "\",node_type=\"{}\"}} {}\n"),
                       "zeb_node_message_size_bytes_total", "BENCH", group.label, flow.label,
                       node.label, "input", *node.statistics->sumSize);
      }
    }
  }
  return text;
}

void writeMetrics(benchmark::State& state, int nodes) {
  const model::Snapshot snapshot = snapshotOf(nodes);
  inTurnWith(
      state, [&] { benchmark::DoNotOptimize(compiledLines(snapshot)); },
      [&] {
        benchmark::DoNotOptimize(
            render::metrics({.snapshot = snapshot}, {.extremes = true, .mostSeries = 1000000}));
      });
}

void metricsOf800Nodes(benchmark::State& state) {
  writeMetrics(state, 800);
}
BENCHMARK(metricsOf800Nodes)->Unit(benchmark::kMillisecond);

void metricsOf10000Nodes(benchmark::State& state) {
  writeMetrics(state, 10000);
}
BENCHMARK(metricsOf10000Nodes)->Unit(benchmark::kMillisecond);

// As the server does it once for each look that somebody wants compressed.
void compressMetrics(benchmark::State& state, int nodes) {
  const model::Snapshot snapshot = snapshotOf(nodes);
  const std::string text =
      render::metrics({.snapshot = snapshot}, {.extremes = true, .mostSeries = 1000000});
  for (auto _ : state) benchmark::DoNotOptimize(serve::gzipped(text));
}

void gzipOf800Nodes(benchmark::State& state) {
  compressMetrics(state, 800);
}
BENCHMARK(gzipOf800Nodes)->Unit(benchmark::kMillisecond);

void gzipOf10000Nodes(benchmark::State& state) {
  compressMetrics(state, 10000);
}
BENCHMARK(gzipOf10000Nodes)->Unit(benchmark::kMillisecond);

}  // namespace
