// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/private_world.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/private_namespaces.h"
#include "tests/support/scripted_host.h"

namespace fuzz {
namespace {

void write(const std::string& path, const std::string& text) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << text;
}

}  // namespace

void require(bool holds) {
  if (!holds) std::abort();
}

void quietHost() {
  support::host().recording = false;
  support::host().forget();
}

std::vector<std::uint8_t> atLeast(std::size_t least, const std::uint8_t* data, std::size_t length) {
  std::vector<std::uint8_t> bytes(data, data + length);
  if (bytes.size() < least) bytes.resize(least);
  return bytes;
}

}  // namespace fuzz

// Called once, before the first input. Starts the program over inside the namespaces.
extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** arguments) {
  support::enterPrivateNamespaces(*arguments);
  fuzz::write("/opt/holt/lil/zebpnode.cfg", "ZEBMemorySize 4096\n");
  fuzz::write("/var/holt/registry/BRK1/BrokerUUID", "UUID1\n");
  return 0;
}
