// SPDX-License-Identifier: Apache-2.0
// Looks of the agent at more than a machine in use has: a segment of 2 GiB, and 2,000 locks.
#include <benchmark/benchmark.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/model/collector.h"
#include "agent/model/findings.h"
#include "bench/functions/filled_broker.h"
#include "bench/support/settings.h"

namespace {

constexpr int kNodes = 800;
constexpr int kLocks = 2000;
constexpr std::uint32_t kAreaOf2GiB = ((1U << 31) - 32) / 3;

// Free locks with their key files; all go with it.
class Locks {
 public:
  explicit Locks(int count) {
    for (int i = 0; i < count; ++i) {
      files_.push_back("/tmp/" + std::to_string(i) + ".zebmutx");
      std::ofstream{files_.back()};
      const key_t key = ftok(files_.back().c_str(), 1);
      sets_.push_back(semget(key, 1, IPC_CREAT | 0660));
      queues_.push_back(msgget(key, IPC_CREAT | 0660));
      if (sets_.back() < 0 || queues_.back() < 0) throw std::runtime_error("too few locks");
      sembuf give{.sem_num = 0, .sem_op = 1, .sem_flg = 0};
      if (semop(sets_.back(), &give, 1) != 0) throw std::runtime_error("semop");
    }
  }
  ~Locks() {
    for (const int id : sets_) semctl(id, 0, IPC_RMID);
    for (const int id : queues_) msgctl(id, IPC_RMID, nullptr);
    for (const std::string& file : files_) unlink(file.c_str());
  }
  Locks(const Locks&) = delete;
  Locks& operator=(const Locks&) = delete;

 private:
  std::vector<std::string> files_;
  std::vector<int> sets_;
  std::vector<int> queues_;
};

// What "zebmon brokers" does before it prints.
void lookAt2GiB(benchmark::State& state) {
  bench::writeSettings(kAreaOf2GiB);
  const auto broker = bench::attachBroker();
  bench::insertNodes(*broker, kNodes);
  model::Collector collector("", model::Events::skip, model::MachineFacts::processes);
  for (auto _ : state) {
    const auto snapshot = collector.take();
    if (snapshot->brokers.size() != 1 || !snapshot->brokers[0]->tree) {
      state.SkipWithError("the broker was not seen");
    }
  }
}
BENCHMARK(lookAt2GiB)->Unit(benchmark::kMillisecond);

// One look of "zebmon doctor", with what it finds.
void doctorWith2000Locks(benchmark::State& state) {
  bench::writeSettings(1 << 20);
  const auto broker = bench::attachBroker();
  bench::insertNodes(*broker, kNodes);
  const Locks locks(kLocks);
  model::Collector collector("", model::Events::leave, model::MachineFacts::all);
  for (auto _ : state) {
    const auto snapshot = collector.take();
    const model::Findings findings = model::findingsOf(nullptr, *snapshot);
    if (findings.locks < kLocks) state.SkipWithError("the locks were not seen");
  }
}
BENCHMARK(doctorWith2000Locks)->Unit(benchmark::kMillisecond);

}  // namespace
