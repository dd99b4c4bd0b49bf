// SPDX-License-Identifier: Apache-2.0
#include <benchmark/benchmark.h>

#include "bench/functions/filled_broker.h"
#include "bench/support/settings.h"

namespace {

constexpr int kAreaBytes = 4 << 20;
constexpr int kRecords = 10000;  // and those of the broker, the group and the flows

std::unique_ptr<ZEB_Broker> filledBroker() {
  bench::writeSettings(kAreaBytes);
  auto broker = bench::attachBroker();
  bench::insertNodes(*broker, kRecords / 2);
  return broker;
}

// A node instance that joins: its tree is new, and a message has come since anybody read the area.
void readStatsArea(benchmark::State& state) {
  const auto writer = filledBroker();
  ZEB_STIR* const statistics = bench::firstNode(*writer)->getStatsRecord();
  for (auto _ : state) {
    state.PauseTiming();
    writer->updateStatistics(statistics, {}, {}, 1000);
    auto joining = bench::attachBroker();
    state.ResumeTiming();
    if (joining->readStatsArea(1) != ZEB_SUCCESS) state.SkipWithError("the area can't be read");
    state.PauseTiming();
    bench::firstNode(*joining);  // throws when nothing was read
    joining.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(readStatsArea)->Unit(benchmark::kMillisecond)->MinTime(1);

// A tree that reads again what it has.
void readStatsAreaAgain(benchmark::State& state) {
  const auto writer = filledBroker();
  ZEB_STIR* const statistics = bench::firstNode(*writer)->getStatsRecord();
  const auto joined = bench::attachBroker();
  joined->readStatsArea(1);
  for (auto _ : state) {
    state.PauseTiming();
    writer->updateStatistics(statistics, {}, {}, 1000);
    state.ResumeTiming();
    if (joined->readStatsArea(1) != ZEB_SUCCESS) state.SkipWithError("the area can't be read");
  }
}
BENCHMARK(readStatsAreaAgain)->Unit(benchmark::kMillisecond)->MinTime(1);

}  // namespace
