// SPDX-License-Identifier: Apache-2.0
// Which node of a flow is inside which, as people write it.
#ifndef ZEB_AGENT_MODEL_CHAIN_H
#define ZEB_AGENT_MODEL_CHAIN_H

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace model {

inline constexpr std::size_t kMostChainNodes = 1000;
inline constexpr std::size_t kMostChainLevels = 100;

// A node of a chain. Messages that it passes on reach the nodes inside it next.
struct ChainNode {
  std::string label;
  std::optional<std::size_t> outer;  // index of the node that it is directly in; nothing: outermost

  bool operator==(const ChainNode&) const = default;
};

// Each node comes behind the one that it is in.
using Chain = std::vector<ChainNode>;

struct ChainText {
  Chain chain;          // only to be used without a problem
  std::string problem;  // one sentence with the column, without its full stop; it quotes labels
};

// "A(B,C(D))": B and C are directly in A, and D in C. "A,B" are two outermost nodes. Blanks around
// a label don't count; a backslash makes the sign behind it, one of ( ) , \ or a blank, a part of
// the label. Columns count characters from 1.
ChainText parseChain(std::string_view text);

// The text of nodes each of which is inside the one before it. Labels that are empty, or the same,
// have no such text: parseChain refuses it.
std::string chainTextOf(std::span<const std::string> labels);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_CHAIN_H
