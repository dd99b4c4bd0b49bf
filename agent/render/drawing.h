// SPDX-License-Identifier: Apache-2.0
// Trees and bars, drawn with characters.
#ifndef ZEB_AGENT_RENDER_DRAWING_H
#define ZEB_AGENT_RENDER_DRAWING_H

#include <cstddef>
#include <string>

#include "agent/model/nesting.h"

namespace render {

// Signs for lines and bars.
enum class Signs { ascii, boxes };

// What is drawn in front of a node of a tree; with `own` false, in front of a line above it. Empty
// for an outermost node, and of the same width for all that are deeper than the twelfth level.
std::string branchTo(const model::Nesting& nesting, std::size_t node, Signs signs, bool own = true);

// A part of 1 as a bar of at most so many columns, rounded. What is not a part of 1 counts as the
// nearest that is.
std::string barOf(double share, std::size_t columns, Signs signs);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_DRAWING_H
