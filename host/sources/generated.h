// SPDX-License-Identifier: Apache-2.0
// Messages that the host makes up: letters and digits.
#ifndef ZEB_HOST_SOURCES_GENERATED_H
#define ZEB_HOST_SOURCES_GENERATED_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "flowfile/reader.h"
#include "host/sources/message_source.h"
#include "host/sources/stop_signal.h"

namespace host {

// What a flow file says of this kind.
struct Generated {
  static constexpr char key[] = "generated";  // of an input, chooses this kind

  // How many messages; 0: without end.
  std::uint64_t count = 0;
  // Bytes of a body. What a distribution draws above 256 MiB is cut there.
  flowfile::Distribution size;

  // Reads "generated", whose sizes are 100 bytes unless it says so; nothing when it is no table.
  // Notes a "repeat", which this kind has not.
  static std::optional<Generated> read(flowfile::Section& input, flowfile::Context& context);
};

// Bodies depend on the seed and on the number of the message alone.
std::unique_ptr<MessageSource> open(const Generated& generated, std::uint64_t seed,
                                    const StopSignal& stop);

// None: it reads no file.
std::vector<std::filesystem::path> inputsOf(const Generated& generated);

}  // namespace host

#endif  // ZEB_HOST_SOURCES_GENERATED_H
