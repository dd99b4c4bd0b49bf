// SPDX-License-Identifier: Apache-2.0
// "repeat" of an input: how often its files are read.
#ifndef ZEB_HOST_SOURCES_REPEAT_H
#define ZEB_HOST_SOURCES_REPEAT_H

#include <cstdint>

#include "flowfile/reader.h"

namespace host {

// The key's value, 1 without it. Notes it where nothing can be read twice.
std::uint64_t readRepeat(flowfile::Section& input, bool repeatable);

}  // namespace host

#endif  // ZEB_HOST_SOURCES_REPEAT_H
