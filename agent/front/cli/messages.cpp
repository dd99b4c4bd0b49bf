// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/messages.h"

#include <cstdio>

#include "agent/render/words.h"
#include "text/printable.h"

namespace cli {

void complain(const std::string& sentence) {
  if (!sentence.empty()) say("zebmon: " + text::printable(sentence) + ".\n");
}

void say(const std::string& lines) {
  std::fputs(lines.c_str(), stderr);
}

std::string namedProblemOf(const model::SeenBroker& broker) {
  const std::string problem = render::problemOf(broker);
  return problem.empty() ? "" : "broker " + render::nameOf(broker) + ": " + problem;
}

void reportProblem(const model::SeenBroker& broker) {
  const std::string problem = namedProblemOf(broker);
  if (problem.empty()) return;
  complain(problem);
  for (const std::string& line : render::damageOf(broker)) say("zebmon:   " + line + "\n");
}

}  // namespace cli
