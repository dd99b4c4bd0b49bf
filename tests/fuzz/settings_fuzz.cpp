// SPDX-License-Identifier: Apache-2.0
// Any bytes as a configuration file, with the first line as the key.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "base/settings.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  const auto* const end = std::find(data, data + length, '\n');
  const std::string key(data, end);
  const std::string path = "/tmp/zeb_fuzz_settings_" + std::to_string(getpid());
  if (FILE* const file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(end, 1, static_cast<std::size_t>(data + length - end), file);
    std::fclose(file);
  }
  ZEB_GetRegistryValue(path.c_str(), key.c_str());
  ZEB_GetRegistryValue(path.c_str(), "ZEBActivateNode");
  std::remove(path.c_str());
  return 0;
}
