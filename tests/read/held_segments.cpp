// SPDX-License-Identifier: Apache-2.0
// Runs a command beside segments that are always the same, in namespaces of its own:
// held_segments orders|all COMMAND ARGUMENT...
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <list>
#include <string>

#include "tests/support/broken.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"
#include "tests/support/private_namespaces.h"

namespace {

// Clears a screen, begins lines, turns the direction of writing, and half a character.
const std::u16string kHostile =
    u"H\x1B[2J\nEVIL\r\u009B31m\u202E%n%s{}\"\\\x7Fö" + std::u16string{0xD800, 0xFFE9};

image::Bytes hostile() {
  constexpr image::Id kTemplate{7, 500, 1, 1};
  image::Block tree{.eyecatcher = "zebcstar", .contents = {}};
  tree.add(image::broker(image::kBroker, kHostile, kHostile));
  tree.add(image::group(image::kGroup, image::kBroker, kHostile, 0x80000000U, kHostile));
  tree.add(image::flow(image::kFlow, image::kGroup, kHostile));
  tree.add(image::node(image::kNode, image::kFlow, kHostile, 4000000000U, kHostile, 1));
  tree.add(image::statistics(image::kStatistics, image::kNode,
                             {.count = "-9223372036854775808", .maxSize = -1, .first = 0}));
  image::Block templates{.eyecatcher = "zebcetar", .contents = {}};
  templates.add(image::eventTemplate(kTemplate, kHostile, kHostile, kHostile, 9, kHostile));
  image::Block data{.eyecatcher = "zebcedar", .contents = {}};
  data.add(image::event({8, 1, 4000000000U, 1}, kTemplate, 0, -1));
  data.add(image::event({8, 1, 1, 2}, {7, 1, 1, 1}, 0xEA600000));
  return image::segment({tree, templates, data});
}

void addAll(std::list<LiveSegment>& segments) {
  segments.emplace_back("hostile\x1B\xFF", hostile());
  segments.emplace_back("empty", image::segment({}));
  segments.emplace_back("unwritten", image::Bytes(4096));
  segments.emplace_back("full", image::ordersAfter(image::kOrdersSlots + 3));
  int number = 0;
  const auto add = [&](const broken::Segment& segment) {
    if (!segment.bytes.empty())
      segments.emplace_back("broken" + std::to_string(number++), segment.bytes);
  };
  for (const broken::Segment& segment : broken::decimals()) add(segment);
  for (const broken::Segment& segment : broken::mixed(11, 100)) add(segment);
  std::ofstream("/tmp/gone.zebcshme");
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) return 64;
  support::enterPrivateNamespaces(arguments);
  std::list<LiveSegment> segments;
  segments.emplace_back("1-2-3", image::ordersAfter(3));
  if (arguments[1] == std::string("all")) addAll(segments);
  const pid_t child = fork();
  if (child == 0) {
    execvp(arguments[2], arguments + 2);
    std::perror(arguments[2]);
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  std::remove("/tmp/gone.zebcshme");
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
