// SPDX-License-Identifier: Apache-2.0
// "zebmon doctor" as people and scripts start it.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/agent/live_lock.h"
#include "tests/agent/zebmon.h"
#include "tests/support/broken.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"
#include "text/printable.h"

namespace doctor_test {

namespace {

using Json = nlohmann::json;
namespace fs = std::filesystem;

constexpr char kLock[] = "lock.stuck:/tmp/1-2-3.zebcedar.zebmutx";

image::Bytes brokersSegment() {
  return image::segment({image::ordersBlock()});
}

// A segment whose template area somebody has just emptied, since his text is larger than that.
image::Bytes withEmptyTemplates() {
  image::Block templates{.eyecatcher = "zebcetar", .contents = {}};
  templates.contents.resize(1000);
  templates.next = 32;
  return image::segment({image::ordersBlock(), templates});
}

// A child that takes a lock and gives it back without end.
class Spinner {
 public:
  explicit Spinner(const LiveLock& lock) : id_(fork()) {
    if (id_ != 0) return;
    for (;;) {
      lock.change(-1);
      lock.change(1);
    }
  }
  ~Spinner() {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
  Spinner(const Spinner&) = delete;
  Spinner& operator=(const Spinner&) = delete;
  pid_t id() const { return id_; }

 private:
  pid_t id_;
};

// A used statistics area of `area` bytes that holds the orders and, far behind, other records.
image::Bytes large(std::uint32_t nodes) {
  image::Block block = image::ordersBlock();
  block.size = 1 << 20;
  for (std::uint32_t i = 0; i < nodes; ++i) {
    const image::Id id{5, 2000, 1, i};
    block.add(image::node(id, image::kFlow, u"another node", 1));
    block.add(image::statistics({6, 2000, 1, i}, id));
  }
  return image::segment({block});
}

}  // namespace

TEST(Doctor, FindsAProcessWhoseTextNeverFits) {
  const LiveSegment segment("1-2-3", withEmptyTemplates());
  const LiveLock lock("1-2-3.zebcetar");
  const Spinner spinner(lock);
  const Result result = run({"doctor", "--only", "record"});
  EXPECT_EQ(2, result.code);
  EXPECT_TRUE(contains(result.out, "record.too-large")) << result.out;
  EXPECT_TRUE(contains(result.out, "process " + std::to_string(spinner.id()))) << result.out;
  EXPECT_TRUE(contains(result.out, "    ZEBMemorySize=8192\n"));
}

TEST(Doctor, FindsNoSuchProcessWhereNobodyTriesAgain) {
  const LiveSegment segment("1-2-3", withEmptyTemplates());
  const LiveLock lock("1-2-3.zebcetar");
  lock.change(-1);
  lock.change(1);
  EXPECT_FALSE(contains(run({"doctor", "--only", "record"}).out, "record.too-large"));
}

TEST(Doctor, LeavesOtherUsersBrokersOut) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  lock.takenByADeadProcess();
  const Result others = run({"doctor", "--only", "lock", "--owner", "12345"});
  EXPECT_EQ(0, others.code);
  EXPECT_FALSE(contains(others.out, "lock.stuck")) << others.out;
  EXPECT_TRUE(contains(others.errors, "1 broker of other users is ignored")) << others.errors;
  EXPECT_TRUE(contains(others.errors, "belongs to that user. Leave out --owner")) << others.errors;
  const Result own = run({"doctor", "--only", "lock", "--owner", "12345", "--owner", "0"});
  EXPECT_EQ(2, own.code);
  EXPECT_FALSE(contains(own.errors, "ignored")) << own.errors;
  EXPECT_EQ(69, run({"brokers", "--owner", "12345"}).code);
  EXPECT_EQ(0, run({"brokers", "--owner", "root"}).code);
  EXPECT_EQ(0, run({"locks", "--owner", "0"}).code);
  const Result nobody = run({"brokers", "--owner", "no such user"});
  EXPECT_EQ(64, nobody.code);
  EXPECT_TRUE(contains(nobody.errors, "there is no user \"no such user\"")) << nobody.errors;
}

TEST(Doctor, SaysWhatWasTooMuchAndFindsNothingInWhatIsMissing) {
  const LiveSegment segment("1-2-3", large(400));
  const Result all = run({"doctor", "--only", "segment.damaged"});
  EXPECT_FALSE(contains(all.out, "too many to be looked at")) << all.out;
  for (const char* const most : {"0", "33", "1000", "50000", "50001"}) {
    const Result cut = run({"doctor", "--only", "segment.damaged", "--max-bytes", most});
    EXPECT_FALSE(contains(cut.out, "damaged\n")) << most << cut.out;
    EXPECT_TRUE(contains(cut.out, "Not checked: broker ")) << most << cut.out;
    EXPECT_TRUE(contains(cut.errors, "Allow more with --max-bytes")) << cut.errors;
  }
  const Json document =
      Json::parse(run({"brokers", "--format", "json", "--max-bytes", "50000"}).out);
  EXPECT_EQ("noProcess", document["brokers"][0]["state"]) << "not damaged";
  EXPECT_EQ("/tmp/1-2-3.zebcshme", document["cut"][0]["keyFile"]);
  EXPECT_LT(50000, document["cut"][0]["bytes"]);
  EXPECT_FALSE(Json::parse(run({"brokers", "--format", "json"}).out).contains("cut"));
}

TEST(Doctor, ASnapshotOfAPartIsReadAgain) {
  const LiveSegment segment("1-2-3", large(400));
  const Result taken = run({"snapshot", "-o", "/tmp/part.tar", "--max-bytes", "50000"});
  EXPECT_EQ(0, taken.code) << taken.errors;
  const Result read = run({"brokers", "--from", "/tmp/part.tar", "--format", "json"});
  EXPECT_EQ(0, read.code) << read.errors;
  EXPECT_TRUE(Json::parse(read.out).contains("cut"));
  EXPECT_NE(64, run({"doctor", "--from", "/tmp/part.tar"}).code);
  std::filesystem::remove("/tmp/part.tar");
}

TEST(Doctor, SaysWhyALockIsNotLeftOver) {
  const LiveLock lock("zeb_attach_999999999");
  lock.refer();
  const Result result =
      run({"doctor", "--repair", "leftover.lock:/tmp/zeb_attach_999999999.zebmutx"});
  EXPECT_TRUE(contains(result.errors, "is not to be repaired: process ")) << result.errors;
  EXPECT_EQ(1, lock.value());
}

TEST(Doctor, ShowsFitLinesWhateverIsInASegment) {
  LiveSegment live("1-2-3", broken::healthy());
  std::size_t turn = 0;
  for (const auto& segment : broken::all()) {
    if (turn++ % 40 != 0) continue;
    SCOPED_TRACE(segment.what);
    live.write(segment.bytes);
    const Result result = run({"doctor"});
    EXPECT_GE(2, result.code) << result.errors;
    std::istringstream lines(result.out + result.errors);
    for (std::string line; std::getline(lines, line);) EXPECT_EQ(text::printable(line), line);
  }
}

TEST(Doctor, FindsAStuckLockAndEndsWithTwo) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  const pid_t dead = lock.takenByADeadProcess();
  const Result result = run({"doctor", "--only", "lock"});
  EXPECT_EQ(2, result.code);
  EXPECT_TRUE(result.out.starts_with("CRITICAL  lock.stuck\n")) << result.out;
  EXPECT_TRUE(contains(result.out, "process " + std::to_string(dead) + " took it and is dead"));
  EXPECT_TRUE(contains(result.out, "--repair " + std::string(kLock) + " --yes\n"));
  EXPECT_EQ(0, lock.value()) << "a look changes nothing";
}

TEST(Doctor, NamesWhoWaitsForAStuckLockAndWhichFlowStops) {
  const LiveSegment segment("1-2-3", image::ordersAfter(3));
  const LiveLock lock("1-2-3.zebcedar");
  lock.takenByADeadProcess();
  const Waiting waiting(lock);
  const Result result = run({"doctor", "--only", "lock", "--format", "json"});
  const Json finding = Json::parse(result.out)["findings"][0];
  const std::string evidence = finding["evidence"];
  const std::string id = std::to_string(waiting.id());
  EXPECT_TRUE(contains(evidence, "1 process waits for it: " + id + " (")) << evidence;
  EXPECT_EQ(Json::array({waiting.id()}), finding["waitingProcessIds"]);
  EXPECT_EQ("messages stop at each node that posts an event: of Fulfil at Reserve",
            finding["effect"]);
  EXPECT_EQ("Reserve", finding["stops"][0]["node"]);
}

TEST(Doctor, ShowsAPlanAndChangesNothingWithoutYes) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  lock.takenByADeadProcess();
  const Result result = run({"doctor", "--repair", "lock.stuck"});
  EXPECT_EQ(2, result.code);
  EXPECT_TRUE(contains(result.out, "add 1 to its semaphore")) << result.out;
  EXPECT_TRUE(contains(result.out, "Nothing was changed."));
  EXPECT_EQ(0, lock.value());
}

TEST(Doctor, FreesOneLockAndEndsWithWhatIsLeft) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  const LiveLock other("1-2-3.zebcetar");
  lock.takenByADeadProcess();
  other.takenByADeadProcess();
  const Result result = run({"doctor", "--only", "lock", "--repair", kLock, "--yes"});
  EXPECT_EQ(2, result.code) << "the other one is left";
  EXPECT_TRUE(contains(result.out, "done: it is free. What may be half done:")) << result.out;
  EXPECT_EQ(1, lock.value());
  EXPECT_EQ(0, other.value());
  EXPECT_EQ(0, run({"doctor", "--only", "lock", "--repair", "lock.stuck", "--yes"}).code);
  EXPECT_EQ(1, other.value());
}

TEST(Doctor, FindsAndRepairsInWhatIsNamedAlone) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("06000000E8030000050000000F000000");
  lock.takenByADeadProcess();
  const auto doctor = [](const char* node, std::vector<std::string> more) {
    more.insert(more.begin(), {"doctor", "--only", "lock", "--node", node});
    return run(more);
  };
  const Result other = doctor("x", {"--repair", "lock.stuck", "--yes"});
  EXPECT_EQ(69, other.code);
  EXPECT_EQ("", other.out);
  EXPECT_EQ(0, lock.value());
  EXPECT_TRUE(contains(doctor("x", {}).errors, "no node \"x\": there are Reserve"));
  const Result its = doctor("Res*", {});
  EXPECT_EQ(2, its.code) << its.errors;
  EXPECT_TRUE(contains(its.out, "lock of the statistics of orders/Fulfil/Reserve")) << its.out;
  EXPECT_EQ(0, doctor("Res*", {"--repair", "lock.stuck", "--yes"}).code);
  EXPECT_EQ(1, lock.value());
}

TEST(Doctor, LeavesALivingHoldersLock) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  lock.change(-1);
  const Result result = run({"doctor", "--repair", "lock.stuck", "--yes"});
  EXPECT_TRUE(contains(result.errors, "there is no lock.stuck to repair now")) << result.errors;
  EXPECT_EQ(0, lock.value());
}

TEST(Doctor, SaysWhatItCanRepairAndFind) {
  const Result repair = run({"doctor", "--repair", "area.full"});
  EXPECT_EQ(64, repair.code);
  EXPECT_TRUE(contains(repair.errors, "there are lock.stuck and leftover.lock")) << repair.errors;
  const Result only = run({"doctor", "--only", "nonsense"});
  EXPECT_EQ(64, only.code);
  EXPECT_TRUE(contains(only.errors, "lock.held-long")) << only.errors;
  EXPECT_EQ(64, run({"doctor", "--yes"}).code);
}

TEST(Doctor, WithoutABrokerSaysSoAndIsContent) {
  const Result result = run({"doctor", "--only", "lock"});
  EXPECT_EQ(0, result.code);
  EXPECT_TRUE(contains(result.errors, "no broker has a key file")) << result.errors;
  EXPECT_TRUE(contains(result.out, "Nothing of that kind is wrong in 0 brokers")) << result.out;
}

TEST(Doctor, EndsWithNoBrokerWhereOneIsNamed) {
  EXPECT_EQ(69, run({"doctor", "--only", "lock", "--broker", "BRK9"}).code);
  const LiveSegment segment("1-2-3", brokersSegment());
  const Result result = run({"doctor", "--only", "lock", "--broker", "BRK9"});
  EXPECT_EQ(69, result.code);
  EXPECT_EQ("", result.out);
}

TEST(Doctor, ABrokerThatMayNotBeReadIsNotClean) {
  const LiveSegment segment("1-2-3", brokersSegment(), 0);
  const auto codeOf = [](const std::string& only) {
    return run(Start{.arguments = {"doctor", "--only", only}, .ownsAll = false}).code;
  };
  EXPECT_EQ(77, codeOf("area"));
  EXPECT_EQ(0, run({"doctor", "--only", "area"}).code);
}

TEST(Doctor, OfABrokerThatIsNotThereItSaysWhereMoreIsTold) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const Result result = run({"doctor", "--broker", "BRK9"});
  EXPECT_EQ(69, result.code);
  EXPECT_EQ("", result.out);
  EXPECT_TRUE(contains(result.errors, "See it with zebmon doctor.\n")) << result.errors;
}

TEST(Doctor, ASnapshotIsOneLookAlsoFromStandardInput) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  lock.takenByADeadProcess();
  EXPECT_EQ(0, run({"snapshot", "-o", "/tmp/stuck.tar"}).code);
  const Result result = run({"doctor", "--from", "/tmp/stuck.tar"});
  EXPECT_EQ(result.errors.find("was taken on"), result.errors.rfind("was taken on"));
  EXPECT_FALSE(contains(result.out, "lock.stuck")) << result.out;
  EXPECT_TRUE(contains(result.out, "one look can't tell a stuck lock")) << result.out;
  const std::string piped =
      answerOf("{ " ZEBMON " doctor --from - </tmp/stuck.tar || true; } 2>&1");
  EXPECT_TRUE(contains(piped, "one look can't tell a stuck lock")) << piped;
  fs::remove("/tmp/stuck.tar");
}

TEST(Doctor, ItsCommandsLookWhereItLooked) {
  fs::create_directory("/tmp/keys");
  for (int i = 0; i < 7; ++i) std::ofstream("/tmp/keys/" + std::to_string(i) + ".zebcshme");
  const Result result = run({"doctor", "--temp-directory", "/tmp/keys"});
  EXPECT_TRUE(contains(result.out, ": zebmon doctor --temp-directory /tmp/keys --only leftover"))
      << result.out;
  fs::remove_all("/tmp/keys");
}

TEST(Doctor, WritesADocument) {
  const LiveSegment segment("1-2-3", brokersSegment());
  const LiveLock lock("1-2-3.zebcedar");
  lock.takenByADeadProcess();
  const Result result = run({"doctor", "--format", "json", "--only", "lock"});
  const Json document = Json::parse(result.out);
  EXPECT_EQ("zebmon.doctor", document["schema"]);
  EXPECT_EQ(1, document["version"]);
  EXPECT_TRUE(document.contains("collectedAt"));
  EXPECT_EQ(1, document["criticalCount"]);
  ASSERT_EQ(1U, document["findings"].size());
  EXPECT_EQ(kLock, document["findings"][0]["key"]);
  EXPECT_EQ("critical", document["findings"][0]["severity"]);
  EXPECT_TRUE(document["notChecked"].is_array());
}

}  // namespace doctor_test
