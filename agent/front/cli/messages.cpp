// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/messages.h"

#include <cstdio>
#include <ranges>

#include "agent/render/words.h"
#include "text/printable.h"

namespace cli {
namespace {

constexpr std::size_t kMostOfAKind = 20;

void complainOfRest(std::size_t all, const std::string& more) {
  if (all > kMostOfAKind) complain(std::to_string(all - kMostOfAKind) + " more " + more);
}

}  // namespace

const char kChooseABroker[] = "like these of other brokers. Choose one with --broker";

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

void complainOfEach(const std::vector<std::string>& sentences, const std::string& more) {
  for (const std::string& sentence : sentences | std::views::take(kMostOfAKind)) complain(sentence);
  complainOfRest(sentences.size(), more);
}

void reportProblems(const model::Snapshot& selected) {
  std::size_t found = 0;
  for (const auto& broker : selected.brokers) {
    const std::string problem = namedProblemOf(*broker);
    if (problem.empty() || ++found > kMostOfAKind) continue;
    complain(problem);
    for (const std::string& line : render::damageOf(*broker)) say("zebmon:   " + line + "\n");
  }
  complainOfRest(found, kChooseABroker);
}

}  // namespace cli
