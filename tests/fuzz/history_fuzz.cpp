// SPDX-License-Identifier: Apache-2.0
// A history file from strangers: what was changed in a healthy one, or any bytes as a file. The
// reader is asked for all that it tells, and a command of zebmon shows it.
#include <fcntl.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "agent/front/cli/command_line.h"
#include "agent/front/cli/output.h"
#include "agent/front/history/reader.h"
#include "agent/front/history/what_changed.h"
#include "tests/agent/history/recorded.h"
#include "tests/fuzz/private_world.h"

namespace {

using Bytes = std::string;
using Words = std::vector<const char*>;
constexpr char kFile[] = "/tmp/history.db";
constexpr model::Period kPeriod{(kBegin - 100) * 1000, (kBegin + 200000) * 1000};

void removeFile() {
  for (const char* const rest : {"", "-wal", "-shm", "-journal"}) {
    std::filesystem::remove(std::string(kFile) + rest);
  }
}

Bytes made(void (*fill)(Recorded&)) {
  removeFile();
  {
    Recorded recorded(kFile);
    fill(recorded);
  }
  std::ifstream file(kFile, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

const Bytes& looks() {
  static const Bytes bytes = made([](Recorded& recorded) {
    for (int i = 0; i < 5; ++i) recorded.look(i * 40, counting(i * i));
    recorded.look(230, nullptr);
  });
  return bytes;
}

const Bytes& minutes() {
  static const Bytes bytes = made([](Recorded& recorded) { addMinutes(recorded.database); });
  return bytes;
}

// Three bytes say where, in 1/16777216 of the file; then a length of at most 16, and as many bytes.
Bytes changed(Bytes file, const std::uint8_t* at, const std::uint8_t* end) {
  while (end - at > 4) {
    const std::uint64_t part = std::uint64_t{at[0]} << 16 | std::uint64_t{at[1]} << 8 | at[2];
    std::size_t place = static_cast<std::size_t>(part * file.size() >> 24);
    std::size_t left = 1 + at[3] % 16;
    for (at += 4; at != end && left > 0 && place < file.size(); --left) {
      file[place++] = static_cast<char>(*at++);
    }
  }
  return file;
}

// The first byte says what the rest is, the second which command looks.
Bytes fileOf(const std::uint8_t* data, std::size_t length) {
  if (data[0] == 0) return {data + 2, data + length};
  return changed(data[0] % 4 == 0 ? minutes() : looks(), data + 2, data + length);
}

void readAll(const history::Reader& reader) {
  reader.lastLook();
  reader.findings(kPeriod);
  for (const history::KnownBroker& broker : reader.brokers()) {
    bool bounded = false;
    reader.past(broker, kPeriod);
    reader.past(broker, kPeriod, 6);
    reader.last(broker);
    reader.growth(broker);
    reader.events(broker, kPeriod, bounded);
    reader.gaps(broker, kPeriod);
    reader.marks(broker, kPeriod);
  }
}

// What it says goes nowhere: nobody could read it.
void show(std::uint8_t which) {
  static const Words kCommands[] = {{"stats"},
                                    {"stats", "--format", "json"},
                                    {"flow", "*"},
                                    {"flow", "*", "--format", "json"},
                                    {"flow", "*", "--between", "2027-01-15", "now"},
                                    {"events"},
                                    {"events", "--format", "jsonl"},
                                    {"events", "--count-by", "node"},
                                    {"message", "00"},
                                    {"size"},
                                    {"doctor"},
                                    {"doctor", "--format", "json"},
                                    {"changes", "--since", "2027-01-15"},
                                    {"changes", "--format", "json"}};
  static cli::Output nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
  Words words = {"zebmon"};
  const Words& command = kCommands[which % std::size(kCommands)];
  words.insert(words.end(), command.begin(), command.end());
  words.insert(words.end(), {"--from", kFile});
  cli::interpret(static_cast<int>(words.size()), words.data(), nowhere);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  static const bool quiet = (stderr = std::fopen("/dev/null", "w")) != nullptr;
  fuzz::require(quiet);
  if (length < 2) return 0;
  const Bytes file = fileOf(data, length);
  removeFile();
  std::ofstream(kFile, std::ios::binary) << file;
  try {
    const history::Reader reader(kFile);
    readAll(reader);
    history::changesIn(reader, kPeriod, {}, {});
  } catch (const history::Failure&) {
  }
  show(data[1]);
  return 0;
}
