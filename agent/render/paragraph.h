// SPDX-License-Identifier: Apache-2.0
#ifndef ZEB_AGENT_RENDER_PARAGRAPH_H
#define ZEB_AGENT_RENDER_PARAGRAPH_H

#include <optional>
#include <string>

namespace render {

// A printable sentence in lines of the terminal's width, or in one where there is none.
std::string inLines(const std::string& sentence, std::optional<std::size_t> width);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_PARAGRAPH_H
