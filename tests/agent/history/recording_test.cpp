// SPDX-License-Identifier: Apache-2.0
#include "agent/front/history/recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "agent/front/history/reading.h"
#include "agent/front/history/tables.h"
#include "tests/agent/history/recorded.h"

namespace recording_test {

namespace {

namespace fs = std::filesystem;
using history::Database;
using State = history::Recording::State;

// A directory that is only this user's, with a history in it.
class Recording : public ::testing::Test {
 protected:
  Recording() { fs::create_directory(directory); }
  ~Recording() override {
    recording.reset();
    fs::remove_all(directory);
  }

  void start(std::uint64_t bytes = history::kMostBytes) {
    recording.reset();
    recording = std::make_unique<history::Recording>(
        history::Limits{.path = path, .bytes = bytes},
        [this](const std::string& line) { said.push_back(line); });
  }

  // Why it can't start.
  std::string refusal() {
    try {
      start();
    } catch (const history::Refusal& refusal) {
      return refusal.sentence;
    }
    return {};
  }

  void look(std::shared_ptr<model::SeenBroker> broker) {
    auto snapshot = std::make_shared<model::Snapshot>();
    snapshot->brokers = {std::move(broker)};
    second_ += 2;
    snapshot->wall = std::chrono::system_clock::time_point(std::chrono::seconds(kBegin + second_));
    snapshot->steady = std::chrono::steady_clock::time_point(std::chrono::seconds(second_));
    recording->take(history::Sight{.snapshot = snapshot});
    recording->flush();
  }

  std::int64_t number(const std::string& sql) const {
    return Database(path, Database::Mode::read).integerOf(sql).value_or(0);
  }

  State state() const { return recording->status().state; }

  const std::string directory = testing::TempDir() + "history-" + std::to_string(getpid());
  const std::string path = directory + "/history.db";
  std::vector<std::string> said;
  std::unique_ptr<history::Recording> recording;

 private:
  std::int64_t second_ = 0;
};

// Gives up all rights that root has over files of others.
void dropRights() {
  __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
  __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  syscall(SYS_capset, &header, none);
}

// The messages that one sees who may read the history's files and write nothing; -1 when he can't.
std::int64_t seenByAReader(const std::string& directory, const std::string& path) {
  std::vector<std::string> all = {directory};
  for (const auto& entry : fs::directory_iterator(directory)) all.push_back(entry.path());
  for (const auto& one : all) chmod(one.c_str(), one == directory ? 0550 : 0440);
  const pid_t child = fork();
  if (child == 0) {
    dropRights();
    try {
      _exit(static_cast<int>(
          history::openToRead(path).integerOf("SELECT sum(messages) FROM recent").value_or(0)));
    } catch (const history::Failure&) {
      _exit(255);
    }
  }
  int status = 0;
  waitpid(child, &status, 0);
  for (const auto& one : all) chmod(one.c_str(), one == directory ? 0750 : 0640);
  const int seen = WIFEXITED(status) ? WEXITSTATUS(status) : 255;
  return seen == 255 ? -1 : seen;
}

mode_t modeOf(const std::string& path) {
  struct stat facts {};
  EXPECT_EQ(0, stat(path.c_str(), &facts)) << path;
  return facts.st_mode & 07777;
}

// Many nodes, each with the same count.
std::shared_ptr<model::SeenBroker> manyCounting(std::int64_t messages, std::uint32_t nodes) {
  std::vector<reader::Node> all;
  for (std::uint32_t i = 0; i < nodes; ++i) {
    all.push_back(nodeWith("Node " + std::to_string(i), i, {.messages = messages}));
  }
  return present(all);
}

}  // namespace

TEST_F(Recording, MakesItsFileAndDirectoryForThisUserAndItsGroup) {
  fs::remove(directory);
  start();
  look(counting(1));
  EXPECT_EQ(0750U, modeOf(directory));
  for (const std::string end : {"", "-wal", "-shm", "-lock"}) {
    EXPECT_EQ(0640U, modeOf(path + end)) << end;
  }
  recording.reset();
  EXPECT_FALSE(fs::exists(path + "-wal"));
}

TEST_F(Recording, ClosesAFileThatOthersCouldRead) {
  std::ofstream(path).close();
  chmod(path.c_str(), 0666);
  start();
  EXPECT_EQ(0640U, modeOf(path));
}

TEST_F(Recording, RefusesASymbolicLink) {
  fs::create_symlink(directory + "/other.db", path);
  EXPECT_THAT(refusal(), ::testing::HasSubstr("is a symbolic link. Name the file itself"));
  EXPECT_FALSE(fs::exists(directory + "/other.db"));
}

TEST_F(Recording, RefusesADirectoryThatOthersCanWrite) {
  chmod(directory.c_str(), 0777);
  EXPECT_THAT(refusal(), ::testing::HasSubstr("in a directory that others can write"));
  chmod(directory.c_str(), 0770);
  EXPECT_THAT(refusal(), ::testing::HasSubstr("in a directory that others can write"));
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(Recording, RefusesWhatIsNoFile) {
  fs::create_directory(path);
  EXPECT_THAT(refusal(), ::testing::HasSubstr("can't be opened"));
}

TEST_F(Recording, RefusesAFileThatAnotherProcessWritesAndSaysWhich) {
  start();
  const auto first = std::move(recording);
  EXPECT_EQ("the history " + path + " is written by process " + std::to_string(getpid()) +
                ". Name another file with --history, or end that process",
            refusal());
  std::int64_t process = 0;
  EXPECT_TRUE(history::WriterLock::isHeld(path, &process));
  EXPECT_EQ(getpid(), process);
}

TEST_F(Recording, GivesItsLockBackAtTheEnd) {
  EXPECT_FALSE(history::WriterLock::isHeld(path));
  start();
  recording.reset();
  EXPECT_FALSE(history::WriterLock::isHeld(path));
}

TEST_F(Recording, RefusesTablesOfANewerVersion) {
  start();
  recording.reset();
  Database(path, Database::Mode::write)
      .execute("PRAGMA user_version = " + std::to_string(history::kVersion + 1));
  EXPECT_THAT(refusal(), ::testing::HasSubstr("was written by a newer zebmon"));
}

TEST_F(Recording, RefusesTheDatabaseOfAnotherProgram) {
  Database(path, Database::Mode::write).execute("CREATE TABLE bookmarks(a)");
  EXPECT_THAT(refusal(), ::testing::HasSubstr("is a database of another program"));
  EXPECT_EQ(1, number("SELECT count(*) FROM sqlite_schema WHERE name = 'bookmarks'"));
}

TEST_F(Recording, SetsADamagedFileAside) {
  std::ofstream(path) << std::string(10000, 'x');
  start();
  ASSERT_EQ(1U, said.size());
  EXPECT_THAT(said[0], ::testing::HasSubstr("was damaged and is now " + path + ".damaged-"));
  look(counting(1));
  look(counting(3));
  EXPECT_EQ(2, number("SELECT sum(messages) FROM recent"));
  int aside = 0;
  for (const auto& entry : fs::directory_iterator(directory)) {
    if (entry.path().string().find(".damaged-") == std::string::npos) continue;
    EXPECT_EQ(10000U, entry.file_size());
    ++aside;
  }
  EXPECT_EQ(1, aside);
}

TEST_F(Recording, SetsAsideWhatIsDamagedWhileItIsWritten) {
  start(history::kLeastBytes);
  for (int i = 0; i < 40; ++i) look(manyCounting(i, 1000));
  recording.reset();
  {
    std::fstream file(path, std::ios::in | std::ios::out);
    for (std::int64_t page = 2; page < 200; ++page) {
      file.seekp(page * 4096);
      file << std::string(4096, '\xA5');
    }
  }
  start();
  look(counting(1));
  look(counting(3));
  EXPECT_EQ(State::ok, state());
  EXPECT_EQ(2, number("SELECT sum(messages) FROM recent"));
  ASSERT_FALSE(said.empty());
  EXPECT_THAT(said[0], ::testing::HasSubstr(".damaged-"));
}

TEST_F(Recording, GoesOnWhenAnotherProgramHasLetTheFileGo) {
  start();
  look(counting(1));
  {
    Database other(path, Database::Mode::write);
    history::Transaction transaction(other);
    look(counting(5));
    EXPECT_EQ(State::failed, state());
    EXPECT_THAT(recording->status().problem,
                ::testing::HasSubstr("another program holds its file"));
  }
  look(counting(9));
  EXPECT_EQ(State::ok, state());
  EXPECT_EQ(8, number("SELECT sum(messages) FROM recent"));
  EXPECT_EQ(1, number("SELECT count(*) FROM mark WHERE kind = 'gap'"));
  EXPECT_EQ("the history goes on", said.back());
}

TEST_F(Recording, KeepsEventsUntilTheyCanBeWritten) {
  start();
  look(counting(1));
  {
    Database other(path, Database::Mode::write);
    history::Transaction transaction(other);
    reader::Event event;
    event.time = kBegin;
    recording->take(
        std::vector<model::News>{{.broker = counting(1), .gaps = {}, .events = {event}}});
    look(counting(1));
  }
  look(counting(1));
  EXPECT_EQ(1, number("SELECT count(*) FROM event"));
}

TEST_F(Recording, GoesOnWhenThereIsRoomOnTheDiskAgain) {
  const std::string disk = directory + "/disk";
  fs::create_directory(disk);
  ASSERT_EQ(0, mount("none", disk.c_str(), "tmpfs", 0, "size=512k,mode=0750"));
  const std::string full = disk + "/history.db";
  {
    history::Recording small({.path = full},
                             [this](const std::string& line) { said.push_back(line); });
    recording.reset();
    const auto lookThere = [&](std::int64_t messages, std::int64_t second) {
      auto snapshot = std::make_shared<model::Snapshot>();
      snapshot->brokers = {counting(messages)};
      snapshot->wall = std::chrono::system_clock::time_point(std::chrono::seconds(kBegin + second));
      snapshot->steady = std::chrono::steady_clock::time_point(std::chrono::seconds(second));
      small.take(history::Sight{.snapshot = snapshot});
      small.flush();
    };
    lookThere(1, 2);
    std::ofstream filler(disk + "/filler");
    filler << std::string(1 << 20, 'x') << std::flush;
    for (int i = 2; i <= 60 && small.status().state == State::ok; ++i) lookThere(i, i * 2);
    EXPECT_EQ(State::failed, small.status().state);
    EXPECT_THAT(small.status().problem, ::testing::HasSubstr("there is no room"));
    filler.close();
    fs::remove(disk + "/filler");
    lookThere(1000, 1000);
    EXPECT_EQ(State::ok, small.status().state);
    EXPECT_EQ(999, Database(full, Database::Mode::read)
                       .integerOf("SELECT (SELECT total(messages) FROM recent) + total(messages) "
                                  "FROM sample"));
  }
  umount(disk.c_str());
}

TEST_F(Recording, PausesWhileAReaderKeepsTheLogLong) {
  start(history::kLeastBytes);
  look(manyCounting(0, 500));
  {
    Database reader(path, Database::Mode::read);
    const history::Transaction open(reader, history::Transaction::For::reading);
    EXPECT_EQ(0, reader.integerOf("SELECT count(*) FROM recent"));
    for (int i = 1; i < 100 && state() == State::ok; ++i) look(manyCounting(i, 500));
    EXPECT_EQ(State::paused, state());
    EXPECT_GT(history::kLeastBytes / 4, history::logBytesOf(path));
  }
  look(manyCounting(1000, 500));
  EXPECT_EQ(State::ok, state());
  EXPECT_EQ(500000, number("SELECT sum(messages) FROM recent"));
  EXPECT_LT(0, number("SELECT count(*) FROM mark WHERE kind = 'gap'"));
}

TEST_F(Recording, TakesNoMoreThanItMay) {
  start(history::kLeastBytes);
  std::uint64_t most = 0;
  for (int i = 0; i < 120; ++i) {
    look(manyCounting(i, 3000));
    most = std::max(most, history::bytesOf(path));
  }
  EXPECT_EQ(State::ok, state()) << recording->status().problem;
  EXPECT_GE(history::kLeastBytes, most);
  EXPECT_LT(history::kLeastBytes / 4, most);
  EXPECT_LT(0, number("SELECT number FROM over WHERE what = 'bytes'"));
}

TEST_F(Recording, IsReadByOneWhoMayNotWriteWhileItIsWrittenAndAfterwards) {
  start();
  look(counting(1));
  look(counting(4));
  EXPECT_LT(0U, history::logBytesOf(path));
  EXPECT_EQ(3, seenByAReader(directory, path));
  recording.reset();
  EXPECT_EQ(0U, history::logBytesOf(path));
  EXPECT_EQ(3, seenByAReader(directory, path));
}

TEST_F(Recording, IsReadByOneWhoMayNotWriteAfterItsWriterWasKilled) {
  const pid_t child = fork();
  if (child == 0) {
    start();
    look(counting(1));
    look(counting(4));
    kill(getpid(), SIGKILL);
  }
  waitpid(child, nullptr, 0);
  EXPECT_LT(0U, history::logBytesOf(path));
  EXPECT_FALSE(history::WriterLock::isHeld(path));
  EXPECT_EQ(3, seenByAReader(directory, path));
}

TEST(ExpectedSize, GrowsWithNodesAndLooks) {
  EXPECT_EQ(800U * 30 * (10800 + 20160 + 17544), history::expectedBytes(800, 2));
  EXPECT_EQ(0U, history::expectedBytes(0, 2));
}

}  // namespace recording_test
