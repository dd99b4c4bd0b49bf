// SPDX-License-Identifier: Apache-2.0
// Snapshots as files: written, read, redacted, damaged.
#include "agent/archive/snapshot_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "agent/archive/facts.h"
#include "agent/model/calendar.h"
#include "agent/model/collector.h"
#include "agent/model/findings.h"
#include "agent/render/findings_screen.h"
#include "agent/render/json.h"
#include "tests/agent/live_lock.h"
#include "tests/agent/zebmon.h"
#include "tests/support/broken.h"
#include "tests/support/live_segment.h"
#include "tests/support/sanitized.h"

namespace snapshot_file_test {

namespace {

namespace fs = std::filesystem;
using archived::Failure;
using archived::Loaded;
using Kind = archived::Failure::Kind;
using model::Events;

constexpr char kFile[] = "/tmp/a.tar";

std::shared_ptr<model::SeenBroker> brokerOf(const image::Bytes& bytes, std::int64_t wall) {
  reader::Segment segment;
  segment.state = reader::State::ok;
  segment.keyFile = "/tmp/\xFFUUID1.zebcshme";
  segment.uuid = "\xFFUUID1";
  segment.group = "staff";
  segment.key = 0xFFFFFFFF;
  segment.id = 17;
  segment.size = bytes.size();
  segment.attached = 3;
  segment.owner = 1001;
  segment.fileOwner = 1002;
  segment.copy = reader::copySegment(bytes, bytes.size());
  auto broker = std::make_shared<model::SeenBroker>(model::decoded(std::move(segment), wall));
  broker->events = reader::EventLog().read(broker->segment, broker->damage);
  model::makeNearest(*broker->events, wall);
  return broker;
}

// Each member has a value of its own.
model::Machine machine() {
  model::Machine machine;
  machine.clocks = {std::chrono::milliseconds(1), std::chrono::milliseconds(2), 3, 100};
  machine.configuration.places = {{"/etc/a", ENOENT, "BASE=/etc"}};
  machine.configuration.path = "/etc/a";
  machine.configuration.exists = true;
  machine.configuration.modified = -5;
  machine.configuration.text = std::string("x\0\x80", 3);
  machine.configuration.files = {{"name", "value"}};
  machine.limits.segmentBytes = ~std::uint64_t{0};
  machine.limits.pageBytes = 4096;
  reader::Lock lock;
  lock.file.path = "/tmp/k.zebcmtxe";
  lock.file.inode = 77;
  lock.name = "k";
  lock.semaphore.presence = reader::Presence::refused;
  lock.semaphore.lastProcess = -1;
  lock.queue.references = 2;
  machine.locks.locks = {lock};
  reader::Process process;
  process.id = 1234;
  process.exists = true;
  process.command = "zeb";
  process.segments = {{.key = 9, .id = 17}};
  reader::KeyFile file;
  file.path = "/tmp/\xFFUUID1.zebcshme";
  file.link = true;
  file.mode = 0640;
  machine.keyFiles = {file};
  machine.processes = {{1234, process}};
  return machine;
}

model::Snapshot snapshotOf(const image::Bytes& bytes) {
  model::Snapshot snapshot;
  snapshot.wall =
      std::chrono::system_clock::time_point(std::chrono::nanoseconds(1795234171000000007));
  snapshot.steady = std::chrono::steady_clock::time_point(std::chrono::nanoseconds(-9));
  snapshot.directory = "/tmp/";
  snapshot.brokers = {brokerOf(bytes, secondsOf(snapshot))};
  snapshot.machine = std::make_shared<const model::Machine>(machine());
  return snapshot;
}

std::string shown(const model::Snapshot& snapshot) {
  std::string text = render::written(render::brokersDocument(snapshot)) +
                     render::written(render::statisticsDocument(snapshot));
  for (const auto& broker : snapshot.brokers) {
    if (!broker->events) continue;
    for (const reader::Event& event : broker->events->events)
      text += render::written(render::eventDocument(*broker, event, snapshot));
  }
  return text;
}

const archived::Origin kOrigin{.host = "web\xFF", .version = "1"};

Loaded writtenAndRead(const model::Snapshot& snapshot, const archived::Origin& origin = kOrigin) {
  const Failure failure = archived::save(snapshot, origin, kFile);
  EXPECT_FALSE(failure) << failure.what << strerror(failure.error);
  Loaded loaded = archived::load(kFile, Events::read);
  EXPECT_FALSE(loaded.failure) << loaded.failure.what;
  return loaded;
}

Kind kindOf(const std::string& bytes) {
  std::ofstream(kFile, std::ios::binary) << bytes;
  return archived::load(kFile, Events::read).failure.kind;
}

std::string replaced(std::string text, const std::string& what, const std::string& with) {
  const std::size_t at = text.find(what);
  EXPECT_NE(text.npos, at) << what;
  return at == text.npos ? text : text.replace(at, what.size(), with);
}

std::string healthyFile() {
  archived::save(snapshotOf(broken::healthy()), kOrigin, kFile);
  return contents(kFile);
}

class SnapshotFile : public testing::Test {
 protected:
  void TearDown() override {
    for (const char* name : {kFile, "/tmp/b.tar", "/tmp/names", "/tmp/x"}) fs::remove_all(name);
  }
};
class RedactedSnapshotFile : public SnapshotFile {};
class DamagedSnapshotFile : public SnapshotFile {};
class SnapshotCommand : public SnapshotFile {};

}  // namespace

TEST_F(SnapshotFile, HoldsAllThatTheSnapshotHeld) {
  const model::Snapshot before = snapshotOf(broken::healthy());
  const Loaded loaded = writtenAndRead(before);
  ASSERT_TRUE(loaded.snapshot);
  const model::Snapshot& after = *loaded.snapshot;
  EXPECT_EQ(before.wall, after.wall);
  EXPECT_EQ(before.steady, after.steady);
  EXPECT_EQ(before.directory, after.directory);
  EXPECT_EQ(5U, after.brokers.at(0)->events->events.size());
  EXPECT_EQ(shown(before), shown(after));
  EXPECT_EQ("web\xFF", loaded.origin.host);
  EXPECT_EQ("1", loaded.origin.version);
  EXPECT_FALSE(loaded.origin.redacted);
  const reader::Segment& segment = after.brokers[0]->segment;
  EXPECT_EQ("/tmp/\xFFUUID1.zebcshme", segment.keyFile);
  EXPECT_EQ(0xFFFFFFFF, segment.key);
  EXPECT_EQ(1001U, segment.owner);
  EXPECT_EQ(1002U, segment.fileOwner);
  const auto& areas = before.brokers[0]->segment.copy.areas;
  ASSERT_EQ(areas.size(), segment.copy.areas.size());
  for (std::size_t i = 0; i < areas.size(); ++i)
    EXPECT_EQ(areas[i].bytes, segment.copy.areas[i].bytes);
}

TEST_F(SnapshotFile, HoldsWhatTheMachineSaid) {
  const Loaded loaded = writtenAndRead(snapshotOf(broken::healthy()));
  ASSERT_TRUE(loaded.snapshot && loaded.snapshot->machine);
  const model::Machine& after = *loaded.snapshot->machine;
  EXPECT_EQ(archived::jsonOfMachine(machine()), archived::jsonOfMachine(after));
  EXPECT_EQ(std::string("x\0\x80", 3), after.configuration.text);
  EXPECT_EQ(-5, after.configuration.modified);
  EXPECT_EQ(~std::uint64_t{0}, after.limits.segmentBytes);
  EXPECT_FALSE(after.limits.queues);
  ASSERT_EQ(1U, after.locks.locks.size());
  EXPECT_EQ(reader::Presence::refused, after.locks.locks[0].semaphore.presence);
  EXPECT_EQ(-1, after.locks.locks[0].semaphore.lastProcess);
  EXPECT_EQ(77U, after.locks.locks[0].file.inode);
  ASSERT_NE(nullptr, after.find(1234));
  EXPECT_EQ(17U, after.find(1234)->segments->at(0).id);
  EXPECT_FALSE(after.find(1234)->ended);
  ASSERT_EQ(1U, after.keyFiles.size());
  EXPECT_TRUE(after.keyFiles[0].link);
  EXPECT_EQ(0640U, after.keyFiles[0].mode);
}

TEST_F(SnapshotFile, OfSomeBrokersHoldsTheirKeyFilesAlone) {
  model::Snapshot snapshot = snapshotOf(broken::healthy());
  model::Machine two = machine();
  two.keyFiles.insert(two.keyFiles.begin(), reader::KeyFile{.path = "/tmp/other.zebcshme"});
  snapshot.machine = std::make_shared<const model::Machine>(two);
  const Loaded loaded = writtenAndRead(snapshot);
  ASSERT_EQ(1U, loaded.snapshot->machine->keyFiles.size());
  EXPECT_EQ("/tmp/\xFFUUID1.zebcshme", loaded.snapshot->machine->keyFiles[0].path);
}

TEST_F(SnapshotFile, OfAnOlderZebmonIsReadAndSaysWhatWasNotChecked) {
  const std::string older =
      replaced(replaced(replaced(healthyFile(), "\"keyFiles\"", "\"keyFileZ\""), "\"owner\": 1001",
                        "\"ownez\": 1001"),
               "\"fileOwner\"", "\"fileOwneZ\"");
  std::ofstream(kFile, std::ios::binary) << older;
  const Loaded loaded = archived::load(kFile, Events::read);
  ASSERT_TRUE(loaded.snapshot) << loaded.failure.what;
  EXPECT_TRUE(loaded.snapshot->machine->keyFiles.empty());
  EXPECT_FALSE(loaded.snapshot->brokers[0]->segment.owner);
  const model::Findings findings = model::findingsOf(nullptr, *loaded.snapshot);
  EXPECT_EQ(1, std::ranges::count(findings.notChecked,
                                  "key files of brokers: the look has none of their facts",
                                  &model::Unchecked::why));
}

TEST_F(SnapshotFile, TheDoctorSaysTheSameOfItAsOfTheMachine) {
  const LiveSegment segment("UUID1", broken::healthy());
  const LiveLock stuck("06000000E8030000050000000F000000");
  stuck.takenByADeadProcess();
  fs::rename(segment.keyFile(), "/tmp/moved");
  fs::create_symlink("/tmp/moved", segment.keyFile());
  model::Collector collector("/tmp", Events::leave, model::MachineFacts::read);
  const auto before = collector.take();
  const auto now = collector.take();
  const auto said = [](const model::Snapshot& first, const model::Snapshot& second) {
    return render::written(render::findingsDocument(model::findingsOf(&first, second), second));
  };
  const std::string live = said(*before, *now);
  const Loaded first = writtenAndRead(*before);
  EXPECT_EQ(live, said(*first.snapshot, *writtenAndRead(*now).snapshot));
  EXPECT_TRUE(contains(live, "\"keyfile.link\"")) << live;
  EXPECT_TRUE(contains(live, "\"lock.stuck\"")) << live;
  fs::remove(segment.keyFile());
  fs::rename("/tmp/moved", segment.keyFile());
}

TEST_F(SnapshotFile, OfDamagedSegmentsTellsTheSame) {
  const broken::Segments segments = broken::all();
  for (std::size_t i = 0; i < segments.size(); i += kSanitized ? 10 : 1) {
    const broken::Segment& segment = segments[i];
    const model::Snapshot before = snapshotOf(segment.bytes);
    const Loaded loaded = writtenAndRead(before);
    ASSERT_TRUE(loaded.snapshot) << segment.what;
    EXPECT_EQ(shown(before), shown(*loaded.snapshot)) << segment.what;
  }
}

TEST_F(SnapshotFile, OnlyItsOwnerCanReadItAndNothingElseIsLeft) {
  std::ofstream(kFile) << "old";
  fs::permissions(kFile, fs::perms(0644));
  writtenAndRead(snapshotOf(broken::healthy()));
  struct stat file {};
  ASSERT_EQ(0, stat(kFile, &file));
  EXPECT_EQ(0600U, file.st_mode & 0777);
  for (const auto& entry : fs::directory_iterator("/tmp"))
    EXPECT_FALSE(entry.path().string().starts_with(std::string(kFile) + ".")) << entry.path();
}

TEST_F(SnapshotFile, IsAnArchiveThatTarOpens) {
  writtenAndRead(snapshotOf(broken::healthy()));
  EXPECT_EQ(0, std::system("tar tf /tmp/a.tar >/tmp/names"));
  EXPECT_EQ(
      "manifest.json\nmachine.json\nbrokers/0/eventData\nbrokers/0/eventTemplates\n"
      "brokers/0/statistics\n",
      contents("/tmp/names"));
}

TEST_F(SnapshotFile, LeavesAloneWhatIsNoRegularFile) {
  const model::Snapshot snapshot = snapshotOf(broken::healthy());
  fs::remove(kFile);
  fs::create_symlink("/dev/null", kFile);
  EXPECT_EQ(Kind::notRegular, archived::save(snapshot, kOrigin, kFile).kind);
  EXPECT_TRUE(fs::is_symlink(kFile));
  fs::remove(kFile);
  const Failure failure = archived::save(snapshot, kOrigin, "/tmp/absent/a.tar");
  EXPECT_EQ(Kind::system, failure.kind);
  EXPECT_EQ(ENOENT, failure.error);
}

TEST_F(SnapshotFile, AFailureOfTheSinkIsToldAndEndsTheWriting) {
  int calls = 0;
  const Failure failure =
      archived::write(snapshotOf(broken::healthy()), kOrigin, [&](std::string_view) {
        ++calls;
        return ENOSPC;
      });
  EXPECT_EQ(Kind::system, failure.kind);
  EXPECT_EQ(ENOSPC, failure.error);
  EXPECT_EQ(1, calls);
}

TEST_F(RedactedSnapshotFile, HasNoTextAndNoMessageDataAnywhere) {
  const model::Snapshot before = snapshotOf(broken::healthy());
  archived::Origin origin = kOrigin;
  origin.redacted = true;
  const Loaded loaded = writtenAndRead(before, origin);
  ASSERT_TRUE(loaded.snapshot);
  EXPECT_TRUE(loaded.origin.redacted);
  const auto& was = before.brokers[0]->events->events;
  const auto& is = loaded.snapshot->brokers[0]->events->events;
  ASSERT_EQ(was.size(), is.size());
  const std::string file = contents(kFile);
  for (std::size_t i = 0; i < was.size(); ++i) {
    EXPECT_EQ(was[i].recordId, is[i].recordId);
    EXPECT_EQ(was[i].kind(), is[i].kind());
    EXPECT_EQ(was[i].time, is[i].time);
    EXPECT_EQ(decltype(is[i].messageId){}, is[i].messageId);
    EXPECT_EQ(decltype(is[i].correlationId){}, is[i].correlationId);
    EXPECT_EQ("", is[i].putApplicationName);
    const std::string id(was[i].messageId.begin(), was[i].messageId.end());
    EXPECT_FALSE(contains(file, id));
    EXPECT_FALSE(contains(file, "order-entry"));
    ASSERT_TRUE(is[i].origin);
    EXPECT_EQ(was[i].origin->node, is[i].origin->node);
    EXPECT_TRUE(is[i].origin->text.empty() || is[i].kind() == reader::EventKind::exception);
    EXPECT_LT(is[i].origin->text.size(), was[i].origin->text.size());
  }
}

TEST_F(DamagedSnapshotFile, CutAnywhereItIsAFailure) {
  const std::string whole = healthyFile();
  for (std::size_t size = 0; size + 1024 < whole.size(); size += 97) {
    const Kind kind = kindOf(whole.substr(0, size));
    EXPECT_TRUE(kind == Kind::foreign || kind == Kind::damaged) << size;
  }
}

TEST_F(DamagedSnapshotFile, WithAnyByteChangedItIsReadOrAFailure) {
  const std::string whole = healthyFile();
  for (std::size_t at = 0; at < whole.size(); at += 53) {
    std::string bytes = whole;
    bytes[at] = static_cast<char>(bytes[at] ^ 0x11);
    std::ofstream(kFile, std::ios::binary) << bytes;
    const Loaded loaded = archived::load(kFile, Events::read);
    EXPECT_NE(loaded.snapshot == nullptr, loaded.failure.kind == Kind::none) << at;
    if (loaded.snapshot) shown(*loaded.snapshot);
  }
}

TEST_F(DamagedSnapshotFile, WhatItsManifestSaysIsChecked) {
  const std::string whole = healthyFile();
  EXPECT_EQ(Kind::none, kindOf(whole));
  EXPECT_EQ(Kind::foreign, kindOf(replaced(whole, "zebmon.snapshot", "zebmon.snapshoT")));
  EXPECT_EQ(Kind::foreign, kindOf(replaced(whole, "\"version\": 1", "\"version\": 2")));
  EXPECT_EQ(Kind::damaged, kindOf(replaced(whole, "\"attached\"", "\"attacheD\"")));
  EXPECT_EQ(Kind::damaged, kindOf(replaced(whole, "\"attached\": 3", "\"attached\":-3")));
  EXPECT_EQ(Kind::damaged, kindOf(replaced(whole, "\"next\": ", "\"next\": 9")));
  EXPECT_EQ(Kind::damaged, kindOf(replaced(whole, "\"ok\"", "\"oK\"")));
  EXPECT_EQ(Kind::damaged, kindOf(replaced(whole, "\"eventData\"", "\"statistic\"")));
}

TEST_F(DamagedSnapshotFile, MembersWithOtherNamesEndTheReading) {
  const std::string whole = healthyFile();
  EXPECT_EQ(Kind::foreign, kindOf(replaced(whole, "manifest.json", "manifest.jsoM")));
  std::system(
      "cd /tmp && mkdir -p x && touch x/manifest.json x/other && ln -sf /etc/passwd x/link");
  std::system("cd /tmp/x && tar cf /tmp/a.tar manifest.json other");
  EXPECT_EQ(Kind::damaged, archived::load(kFile, Events::read).failure.kind);
  std::system("cd /tmp/x && tar cf /tmp/a.tar link");
  EXPECT_NE(Kind::none, archived::load(kFile, Events::read).failure.kind);
  EXPECT_EQ(Kind::foreign, kindOf("no archive at all\n"));
  EXPECT_EQ(Kind::foreign, kindOf(""));
}

TEST_F(DamagedSnapshotFile, ABrokerThatIsTooLargeIsNotTaken) {
  healthyFile();
  const Failure failure = archived::load(kFile, Events::read, 1000).failure;
  EXPECT_EQ(Kind::tooLarge, failure.kind);
  EXPECT_LT(1000U, failure.bytes);
}

TEST_F(SnapshotCommand, EveryCommandTellsTheSameOfTheFile) {
  const LiveSegment live("UUID1", broken::healthy());
  const Result written = run({"snapshot", "-o", kFile});
  EXPECT_EQ(0, written.code) << written.errors;
  EXPECT_EQ("/tmp/a.tar\n", written.out);
  for (const std::string command : {"stats", "events", "brokers"}) {
    const Result now = run({command});
    const Result then = run({command, "--from", kFile});
    EXPECT_EQ(now.code, then.code) << command;
    EXPECT_EQ(now.out, then.out) << command;
    EXPECT_TRUE(contains(then.errors, "zebmon: /tmp/a.tar was taken on ")) << then.errors;
  }
  EXPECT_EQ(0, run({"config", "--from", kFile, "--format", "json"}).code);
  EXPECT_EQ(0, run({"locks", "--from", kFile, "--all"}).code);
}

TEST_F(SnapshotCommand, WhatNeedsTheMachineTakesNoFile) {
  const LiveSegment live("UUID1", broken::healthy());
  run({"snapshot", "-o", kFile});
  const std::string oneLook = "is a snapshot, which is one look. Give a history, or compare";
  const std::pair<std::vector<std::string>, std::string> commands[] = {
      {{"stats", "--interval", "10ms"}, oneLook},
      {{"flow", "F", "--interval", "10ms"}, oneLook},
      {{"top"}, "--from"},
      {{"reset", "--yes"}, "Leave out --from."},
      {{"doctor", "--repair", "lock.stuck"}, "Leave out --from."},
  };
  for (auto [command, answer] : commands) {
    command.insert(command.end(), {"--from", kFile});
    const Result refused = run(command);
    EXPECT_EQ(64, refused.code) << command[0] << refused.errors;
    EXPECT_EQ("", refused.out);
    EXPECT_TRUE(contains(refused.errors, answer)) << refused.errors;
  }
  EXPECT_EQ(0, run({"check", "area=90%", "--from", kFile}).code);
}

TEST_F(SnapshotCommand, AFileCanBeRedactedLater) {
  const LiveSegment live("UUID1", broken::healthy());
  run({"snapshot", "-o", kFile});
  const Result again = run({"snapshot", "--from", kFile, "--redact", "-o", "/tmp/b.tar"});
  EXPECT_EQ(0, again.code) << again.errors;
  EXPECT_FALSE(contains(contents("/tmp/b.tar"), "order-entry"));
  EXPECT_TRUE(contains(run({"stats", "--from", "/tmp/b.tar"}).errors, "left out"));
  const std::string events = run({"events", "--from", "/tmp/b.tar"}).out;
  EXPECT_TRUE(contains(events, "    (left out)\n")) << events;
  EXPECT_TRUE(contains(events, "    message (left out)\n")) << events;
  EXPECT_TRUE(contains(run({"events", "--short", "--from", "/tmp/b.tar"}).out, "(left out)"));
}

TEST_F(SnapshotCommand, WhatItCannotDoItSaysAndEndsWithACode) {
  EXPECT_EQ(69, run({"snapshot", "-o", kFile}).code);
  const LiveSegment live("UUID1", broken::healthy());
  EXPECT_EQ(66, run({"stats", "--from", "/tmp/absent"}).code);
  EXPECT_EQ(66, run({"snapshot", "-o", "/tmp/absent/a"}).code);
  EXPECT_EQ(74, run({"snapshot", "-o", "/tmp"}).code);
  EXPECT_EQ(74, run({"stats", "--from", "/tmp"}).code);
  EXPECT_EQ(64, run({"stats", "--from", kFile, "--temp-directory", "/tmp"}).code);
  EXPECT_EQ(64, run({"events", "--from", kFile, "--follow"}).code);
  std::ofstream(kFile) << "text";
  const Result foreign = run({"stats", "--from", kFile});
  EXPECT_EQ(65, foreign.code);
  EXPECT_EQ(
      "zebmon: /tmp/a.tar is no snapshot that this zebmon can read. Name a file that zebmon "
      "snapshot wrote.\n",
      foreign.errors);
}

TEST_F(SnapshotCommand, WritesToAPipeToo) {
  const LiveSegment live("UUID1", broken::healthy());
  const Result piped = run({"snapshot", "-o", "-"});
  std::ofstream(kFile, std::ios::binary) << piped.out;
  EXPECT_EQ(run({"stats"}).out, run({"stats", "--from", kFile}).out);
}

}  // namespace snapshot_file_test
