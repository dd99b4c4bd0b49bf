// SPDX-License-Identifier: Apache-2.0
#include "agent/render/paragraph.h"

#include "agent/render/line.h"

namespace render {

std::string inLines(const std::string& sentence, std::optional<std::size_t> width) {
  if (!width) return sentence + "\n";
  std::string text;
  for (const std::string& line : wrapped(sentence, *width)) text += line + "\n";
  return text;
}

}  // namespace render
