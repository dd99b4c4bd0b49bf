// SPDX-License-Identifier: Apache-2.0
// A fuzzer without the fuzzing: `replay_NAME ARCHIVE` runs each input of the archive once, in the
// order of their names. `replay_NAME ARCHIVE INPUT` runs one. The last name that it prints is the
// input that ended it.
#include <cstdint>
#include <cstdio>
#include <exception>

#include "tests/fuzz/archive.h"

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length);

namespace {

int replay(const std::string& archive, const std::string& only) {
  int inputs = 0;
  for (const auto& [name, bytes] : fuzz::filesOf(archive)) {
    if (!only.empty() && name != only) continue;
    std::printf("%s\n", name.c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    ++inputs;
  }
  std::printf("%d inputs\n", inputs);
  return inputs == 0 ? 1 : 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2 && count != 3) {
    std::fprintf(stderr, "usage: %s ARCHIVE [INPUT]\n", arguments[0]);
    return 64;
  }
  LLVMFuzzerInitialize(&count, &arguments);
  try {
    return replay(arguments[1], count == 3 ? arguments[2] : "");
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 66;
  }
}
