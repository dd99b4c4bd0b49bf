// SPDX-License-Identifier: Apache-2.0
#include "bench/support/settings.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "agent/reader/segment.h"
#include "tests/support/private_namespaces.h"

namespace bench {
namespace {

constexpr char kRegistry[] = "/var/holt/registry/BENCH/BrokerUUID";
constexpr char kConfiguration[] = "/opt/holt/lil/zebpnode.cfg";

void writeFile(const std::filesystem::path& path, const std::string& content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << content;
  if (!file.flush()) throw std::runtime_error("can't write " + path.string());
}

}  // namespace

void writeSettings(int areaBytes) {
  if (!support::insidePrivateNamespaces())
    throw std::logic_error("this is the machine's own world");
  writeFile(kRegistry, std::string(kBrokerUuid) + "\n");
  writeFile(kConfiguration, "ZEBMemorySize=" + std::to_string(areaBytes) + "\n");
}

std::string segmentKeyFile() {
  return reader::keyFileOf("/tmp/", kBrokerUuid);
}

}  // namespace bench
