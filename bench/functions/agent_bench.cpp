// SPDX-License-Identifier: Apache-2.0
#include <benchmark/benchmark.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "agent/reader/events.h"
#include "agent/reader/segment.h"
#include "agent/reader/tree.h"
#include "bench/functions/filled_broker.h"
#include "bench/support/settings.h"

namespace {

constexpr int kSegmentBytes = 1 << 20;
constexpr int kAreaBytes = (kSegmentBytes - 32) / 3;  // the segment is three of these and a header
constexpr int kNodes = 1500;                          // more than fit
constexpr int kTemplates = 3000;
constexpr double kFull = 0.9;

void requireFull(const reader::Segment& segment) {
  for (const char* name : {reader::kStatistics, reader::kEventTemplates, reader::kEventData}) {
    const reader::Area* const area = segment.copy.find(name);
    if (area == nullptr || area->last < kFull * area->size)
      throw std::runtime_error(std::string("the area isn't full: ") + name);
  }
}

std::unique_ptr<ZEB_Broker> fullBroker() {
  bench::writeSettings(kAreaBytes);
  auto broker = bench::attachBroker();
  bench::insertNodes(*broker, kNodes);
  bench::postEvents(*broker, kTemplates, 2);
  requireFull(reader::readSegment(bench::segmentKeyFile()));
  return broker;
}

// What a command does that shows everything: find the segment, copy it, decode all three areas.
void copyAndDecodeSegment(benchmark::State& state) {
  const auto broker = fullBroker();
  std::size_t events = 0;
  for (auto _ : state) {
    const reader::Segment segment = reader::readSegment(bench::segmentKeyFile());
    reader::DamageList damage;
    auto tree = reader::readTree(segment.copy, damage);
    reader::EventLog log;
    events = log.read(segment, damage).events.size();
    benchmark::DoNotOptimize(tree);
    if (!tree || events == 0) state.SkipWithError("nothing was decoded");
  }
  state.counters["events"] = static_cast<double>(events);
}
BENCHMARK(copyAndDecodeSegment)->Unit(benchmark::kMillisecond)->MinTime(1);

// Its three steps.

void copySegment(benchmark::State& state) {
  const auto broker = fullBroker();
  for (auto _ : state) benchmark::DoNotOptimize(reader::readSegment(bench::segmentKeyFile()));
}
BENCHMARK(copySegment)->Unit(benchmark::kMillisecond);

void decodeTree(benchmark::State& state) {
  const auto broker = fullBroker();
  const reader::Segment segment = reader::readSegment(bench::segmentKeyFile());
  for (auto _ : state) {
    reader::DamageList damage;
    benchmark::DoNotOptimize(reader::readTree(segment.copy, damage));
  }
}
BENCHMARK(decodeTree)->Unit(benchmark::kMillisecond);

void decodeEvents(benchmark::State& state) {
  const auto broker = fullBroker();
  const reader::Segment segment = reader::readSegment(bench::segmentKeyFile());
  for (auto _ : state) {
    reader::DamageList damage;
    benchmark::DoNotOptimize(reader::EventLog().read(segment, damage));
  }
}
BENCHMARK(decodeEvents)->Unit(benchmark::kMillisecond);

}  // namespace
