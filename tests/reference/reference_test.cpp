// SPDX-License-Identifier: Apache-2.0
// Random sequences of operations, run by the built library and by the model side by side: after
// each operation the whole statistics area of every broker must hold the same bytes.
//
// ZEB_REFERENCE_SEQUENCES sets how many sequences each test runs; ZEB_REFERENCE_SEED is the seed of
// the first one, so a sequence that failed is run again alone with its seed and 1.
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "tests/reference/comparison.h"
#include "tests/reference/library.h"
#include "tests/reference/sequence.h"

namespace reference_test {

namespace {

using namespace reference;

const std::vector<std::string> kBrokers{"BRK1", "BRK2"};

// Sanitizers slow all of it down, and look for other things.
constexpr std::uint64_t kSlower = sizeof ZEB_SANITIZERS > 1 ? 8 : 1;

std::uint64_t environment(const char* name, std::uint64_t otherwise) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing writes the environment.
  const char* const value = std::getenv(name);
  return value == nullptr ? otherwise : std::strtoull(value, nullptr, 10);
}

class SideBySide {
 public:
  SideBySide(Library& library, std::uint32_t areaSize)
      : library_(library), model_(areaSize, library.processes()) {
    support::writeFile(support::kConfiguration, "ZEBMemorySize " + std::to_string(areaSize) + "\n");
  }

  const Model& model() const { return model_; }

  // What is different afterwards, if anything is.
  std::optional<std::string> apply(const Operation& operation) {
    done_ << "  " << describe(operation) << "\n";
    model_.apply(operation);
    library_.apply(operation);
    return difference();
  }

  std::optional<std::string> difference() {
    for (const std::string& broker : kBrokers) {
      const auto expected = model_.areas().find(broker);
      const Area* const area = expected == model_.areas().end() ? nullptr : &expected->second;
      const auto told = comparisons_[broker].difference(area, StoredArea(broker).copy());
      if (told) return broker + ": " + *told;
    }
    return std::nullopt;
  }

  std::string done() const { return done_.str(); }

 private:
  Library& library_;
  Model model_;
  std::map<std::string, Comparison> comparisons_;
  std::ostringstream done_;
};

class Reference : public testing::Test {
 protected:
  Reference() {
    for (const std::string& broker : kBrokers)
      support::writeFile("/var/holt/registry/" + broker + "/BrokerUUID", uuidOf(broker) + "\n");
    support::writeFile(support::kConfiguration, "\n");
  }

  // How often a maximum was reached.
  static int runSequence(Library& library, const Setting& setting, std::uint64_t seed) {
    Sequence sequence(seed, setting);
    SideBySide both(library, sequence.areaSize());
    while (const auto operation = sequence.next(both.model())) {
      const auto told = both.apply(*operation);
      if (!told) continue;
      ADD_FAILURE() << "seed " << seed << ", areas of " << sequence.areaSize() << " bytes\n"
                    << both.done() << *told;
      break;
    }
    return both.model().maximaReached();
  }

  static void runSequences(Library& library, const Setting& setting, std::uint64_t sequences) {
    const std::uint64_t first = environment("ZEB_REFERENCE_SEED", 1);
    const std::uint64_t end = first + environment("ZEB_REFERENCE_SEQUENCES", sequences / kSlower);
    int maxima = 0;
    for (std::uint64_t seed = first; seed < end && !HasFailure(); ++seed)
      maxima += runSequence(library, setting, seed);
    if (HasFailure()) return;
    EXPECT_EQ(library.maximaReached(), maxima);
  }
};

TEST_F(Reference, InOneProcessEveryByteOfTheAreaIsTheModels) {
  OneProcess library;
  runSequences(library, {.areaSizes = {8192, 32768}}, 1000);
}

TEST_F(Reference, AnAreaThatBecomesFullIsTheModelsToo) {
  OneProcess library;
  runSequences(library, {.areaSizes = {4096, 6000}, .longestLabel = 300}, 1000);
}

TEST_F(Reference, SoAreThoseThatSeveralProcessesShare) {
  SeveralProcesses library(3);
  runSequences(library, {.processes = 3, .areaSizes = {4096, 32768}, .longestLabel = 40}, 700);
}

// Labels changed in place, and records that share an ID or a place.
TEST_F(Reference, SoIsOneInWhichStrangersWrite) {
  OneProcess library;
  runSequences(library, {.areaSizes = {8192, 32768}, .strange = 30}, 1000);
}

// By the way that production takes, and with every step traced.
TEST_F(Reference, SoIsOneThatIsTraced) {
  support::useWitnessLibrary();
  support::writeFile(support::kConfiguration, "ZEBNodeTrace On\n");
  OneProcess library;
  runSequences(library, {.areaSizes = {8192, 32768}, .strange = 10}, 30);
}

// A whole tree is stored by populateStatsArea, a partial one is not.
TEST_F(Reference, TheTracedTreeIsPartialInTheWitnessLibraryOnly) {
  support::useWitnessLibrary();
  support::startLibrary("ZEBNodeTrace On\n");
  const auto first = support::deploy({.label = u"A"});
  support::host().forget();
  const auto second = support::deploy({.label = u"B"});
  std::size_t resets = 0;
  for (const support::LogEntry& entry : support::host().trace()) {
    if (entry.function == "ZEB_Broker::resetStatistics") ++resets;
    EXPECT_NE("ZEB_Broker::populateStatsArea", entry.function);
  }
  EXPECT_EQ(2U, resets) << "begin and end";
}

TEST_F(Reference, TheTracedTreeIsWholeInTheLibrary) {
  support::startLibrary("ZEBNodeTrace On\n");
  const auto node = support::deploy({.label = u"A"});
  std::size_t populated = 0;
  for (const support::LogEntry& entry : support::host().trace())
    if (entry.function == "ZEB_Broker::populateStatsArea") ++populated;
  EXPECT_EQ(2U, populated) << "begin and end";
}

TEST_F(Reference, AForeignByteIsFoundAndToldByItsField) {
  OneProcess library;
  SideBySide both(library, 4096);
  Operation operation;
  operation.now = 1767322800000;
  operation.broker = "BRK1";
  operation.group = "G";
  operation.flow = "F";
  EXPECT_EQ(both.apply(operation), std::nullopt);
  operation.kind = Kind::deploy;
  operation.plan = {"N", "input", "", "", "yes", "yes"};
  EXPECT_EQ(both.apply(operation), std::nullopt);
  const StoredArea area("BRK1");
  for (std::size_t at = 0; at < 4096; ++at) {
    area.bytes()[at] ^= 1;
    EXPECT_NE(both.difference(), std::nullopt) << "byte " << at;
    area.bytes()[at] ^= 1;
  }
  EXPECT_EQ(both.difference(), std::nullopt);
}

}  // namespace

}  // namespace reference_test
