// SPDX-License-Identifier: Apache-2.0
// zebprobe: loads a plug-in as a host does, and says what it is. Ends with 0, or with 1 when a host
// could not use it.
#include <fmt/format.h>
#include <sys/prctl.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>

#include "format/version.h"
#include "host/run/plugin.h"
#include "text/printable.h"

// A plug-in that looks for its settings runs commands and removes a file of a fixed name, which a
// host that starts at this moment may be about to read. It gets these in place of the system's.
#pragma GCC visibility push(default)
extern "C" int system(const char* /*command*/) {
  return -1;
}

extern "C" int remove(const char* /*path*/) noexcept {
  return -1;
}
#pragma GCC visibility pop

namespace {

// Behind "zebpnode ", as the plug-in's own text has it; empty when it has none.
std::string versionIn(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  static constexpr std::string_view kName("\0zebpnode ", 10);
  const std::size_t at = bytes.find(kName);
  return at == bytes.npos ? std::string() : std::string(bytes.c_str() + at + kName.size());
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text::printable(text)) {
    if (c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result + "\"";
}

int probe(const std::string& path) {
  try {
    const host::Plugin plugin(path);
    const std::string name = host::toUtf8(plugin.factory()->classes.front().name);
    fmt::print("{{\"version\":{},\"nodeClass\":{}}}\n", quoted(versionIn(path)), quoted(name));
    return 0;
  } catch (const std::exception& error) {
    fmt::print("{{\"error\":{}}}\n", quoted(error.what()));
    return 1;
  }
}

}  // namespace

// A crash is an answer here, and nobody wants its dump.
int main(int count, char** arguments) {
  prctl(PR_SET_DUMPABLE, 0);
  if (count == 2 && std::string(arguments[1]) == "--version") {
    fmt::print("zebprobe {}\n", layout::kVersion);
    return 0;
  }
  if (count != 2 || arguments[1][0] != '/') {
    fmt::print(stderr, "zebprobe: give it the path of one plug-in, from \"/\" on.\n");
    return 64;
  }
  return probe(arguments[1]);
}
