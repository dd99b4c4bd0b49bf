// SPDX-License-Identifier: Apache-2.0
// What the agent shows, whatever it read: texts that move no cursor, documents that are JSON.
#ifndef ZEB_TESTS_FUZZ_SHOWN_H
#define ZEB_TESTS_FUZZ_SHOWN_H

#include <algorithm>
#include <cstdint>
#include <string>

#include "agent/render/json.h"
#include "tests/fuzz/private_world.h"

namespace fuzz {

inline void requirePrintable(const std::string& text) {
  require(std::all_of(text.begin(), text.end(), [](char c) {
    return c == '\n' || (static_cast<std::uint8_t>(c) >= ' ' && c != '\x7F');
  }));
}

inline void requireJson(const render::Json& document) {
  const std::string text = render::written(document);
  requirePrintable(text);
  require(render::Json::accept(text));
}

// In every form that a sheet has.
inline void requireShown(const render::Sheet& sheet, const model::Snapshot& snapshot) {
  requirePrintable(render::tableOf(sheet, {.width = 80}));
  requirePrintable(render::tableOf(arranged(sheet, {.sort = sheet.columns.back().name}), {}));
  requirePrintable(render::csvOf(sheet, true));
  requirePrintable(render::rowLines("rows", snapshot, sheet));
}

}  // namespace fuzz

#endif  // ZEB_TESTS_FUZZ_SHOWN_H
