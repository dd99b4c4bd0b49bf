// SPDX-License-Identifier: Apache-2.0
// How far events were told, as a text that a program keeps.
#ifndef ZEB_READ_CURSOR_H
#define ZEB_READ_CURSOR_H

#include <optional>
#include <string>
#include <string_view>

#include "agent/model/collector.h"

namespace read_c {

// Printable ASCII on one line.
std::string textOf(const model::Collector::Marks& marks);

// Nothing when the text is not one of these.
std::optional<model::Collector::Marks> marksIn(std::string_view text);

}  // namespace read_c

#endif  // ZEB_READ_CURSOR_H
