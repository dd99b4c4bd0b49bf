// SPDX-License-Identifier: Apache-2.0
#include "agent/render/top/help.h"

namespace top {

std::span<const char* const> helpLines() {
  static constexpr const char* kLines[] = {
      "Keys",
      " arrows, PgUp, PgDn   choose a row: the sentence above is then about its flow",
      " Enter f   F          fold the flow of that row; fold all flows",
      " s S                  sort by the next figure, or by the one before",
      " /                    only what has this text in it; * is any text",
      " e                    events: all, only exceptions, only others, none",
      " space                pause: the screen keeps its figures",
      " Esc                  take back: the filter, the chosen row",
      " q                    quit",
      "Figures of the last interval; times are milliseconds a message",
      " msg/s     messages a second",
      " elapsed   from the node to the end of all that is behind it",
      " queued    time in front of an input node; - is not measured, or none",
      " self      elapsed without the nodes inside; ? means: interval too short",
      " share     self as a part of the time that the whole flow took",
      " lost      messages of the node around it that did not get here",
      " busy      threads inside, at least; of a flow all of its threads",
      " wait      messages in the queue on average; too low while it grows",
      " exc       exceptions of the last minute; of a flow: messages that failed",
      "A folded flow has the self time of its slowest node. Which node is inside",
      "which is not stored: without --chain or --flows it is inferred, if it can be.",
  };
  return kLines;
}

}  // namespace top
