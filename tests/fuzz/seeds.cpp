// SPDX-License-Identifier: Apache-2.0
// Writes what the fuzzers begin with: fuzz_seeds FOLDER makes FOLDER/NAME for each that takes
// segments, areas or records, with broken ones in it; and changes of snapshot files.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "tests/support/broken.h"

namespace {

namespace fs = std::filesystem;
using broken::Bytes;

constexpr std::size_t kStep = 7;  // of the broken segments, every so many-th

void write(const fs::path& folder, std::size_t number, const Bytes& bytes) {
  fs::create_directories(folder);
  std::ofstream file(folder / ("seed" + std::to_string(number)), std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

// From `at` to behind the records of an area.
Bytes usedPart(const Bytes& segment, std::uint32_t at, std::uint32_t from) {
  const broken::Place* last = nullptr;
  for (const broken::Place& place : broken::places())
    if (place.at > at && place.at < at + broken::kArea) last = &place;
  return {segment.begin() + at + from,
          segment.begin() + static_cast<std::ptrdiff_t>(last->at + last->size)};
}

void writeAreas(const fs::path& folder, std::size_t number, const Bytes& segment) {
  for (const std::uint32_t at : {broken::kStatisticsAt, broken::kTemplatesAt, broken::kEventsAt}) {
    write(folder / "area", number + at, usedPart(segment, at, 0));
    write(folder / "records", number + at, usedPart(segment, at, 32));
  }
}

// Rows of choices, always the same ones: changes of a snapshot file's bytes, and of its facts.
void writeChanges(const fs::path& folder) {
  std::minstd_rand random(1);
  for (std::size_t number = 0; number < 60; ++number) {
    Bytes choices = {static_cast<std::uint8_t>(1 + number % 2)};
    while (choices.size() < 5 + number) choices.push_back(static_cast<std::uint8_t>(random() >> 8));
    write(folder, number, choices);
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", arguments[0]);
    return 64;
  }
  const fs::path folder = arguments[1];
  const broken::Segments all = broken::all();
  writeAreas(folder, 0, broken::healthy());
  for (std::size_t n = 0; n < all.size(); n += kStep) {
    Bytes changes = broken::changesOf(all[n].bytes);
    write(folder / "segment", n, changes);
    changes.insert(changes.begin(), 1);
    write(folder / "agent", n, changes);
    write(folder / "read", n, changes);
    if (n % (4 * kStep) == 0) writeAreas(folder, n, all[n].bytes);
  }
  for (std::uint32_t each : {3U, 20U}) {
    Bytes shared = broken::sharedIds(each, broken::kArea);
    shared.insert(shared.begin(), 0);
    write(folder / "agent", all.size() + each, shared);
  }
  writeChanges(folder / "archive");
}
