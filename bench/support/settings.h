// SPDX-License-Identifier: Apache-2.0
// The fixed files that the library reads, in the private world of a benchmark.
#ifndef ZEB_BENCH_SUPPORT_SETTINGS_H
#define ZEB_BENCH_SUPPORT_SETTINGS_H

#include <string>

namespace bench {

inline constexpr char16_t kBrokerLabel[] = u"BENCH";
inline constexpr char kBrokerUuid[] = "bench";

// Writes one broker's registry entry, and areas of so many bytes into the configuration. Only
// inside private namespaces.
void writeSettings(int areaBytes);

// The key file of that broker's segment.
std::string segmentKeyFile();

}  // namespace bench

#endif  // ZEB_BENCH_SUPPORT_SETTINGS_H
