// SPDX-License-Identifier: Apache-2.0
#include "agent/render/drawing.h"

#include <algorithm>
#include <cmath>

namespace render {
namespace {

constexpr std::size_t kDeepestLevel = 12;  // deeper nodes are drawn there

struct Branches {
  const char* inner;
  const char* last;
  const char* beside;
};

Branches branchesOf(Signs signs) {
  return signs == Signs::boxes ? Branches{"├─ ", "└─ ", "│  "} : Branches{"|- ", "`- ", "|  "};
}

bool isLastIn(const model::Nesting& nesting, std::size_t node) {
  const auto outer = nesting.nodes[node].outer;
  return !outer || nesting.nodes[*outer].inner.back() == node;
}

}  // namespace

std::string branchTo(const model::Nesting& nesting, std::size_t node, Signs signs, bool own) {
  const Branches branches = branchesOf(signs);
  std::string text;
  std::size_t level = 0;
  for (auto at = node; nesting.nodes[at].outer && level < kDeepestLevel;
       at = *nesting.nodes[at].outer, ++level) {
    const bool last = isLastIn(nesting, at);
    const char* sign = last ? "   " : branches.beside;
    if (level == 0) sign = !own ? branches.beside : last ? branches.last : branches.inner;
    text = sign + text;
  }
  return text;
}

std::string barOf(double share, std::size_t columns, Signs signs) {
  const double full = std::clamp(share, 0.0, 1.0) * static_cast<double>(columns);
  std::string text;
  for (long i = std::lround(full); i > 0; --i) text += signs == Signs::boxes ? "█" : "#";
  return text;
}

}  // namespace render
