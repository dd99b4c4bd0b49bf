// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <vector>

#include "bench/driver/child.h"
#include "bench/driver/sections.h"
#include "tests/support/private_namespaces.h"

namespace bench {
namespace {

struct Section {
  const char* name;
  nlohmann::json (*measure)(const Plan&);
};
constexpr Section kSections[] = {
    {"messages", measureMessages},
    {"allocations", measureAllocations},
    {"tracePoints", measureTracePoints},
    {"threads", measureThreads},
    {"waits", measureWaits},
    {"processes", measureProcesses},
    {"deployment", measureDeployment},
    {"following", measureFollowing},
    {"watching", measureWatching},
    {"peers", measurePeers},
};

struct Options {
  std::vector<std::string> sections;
  Plan plan{{}, "full", ZEB_LIBRARY, ZEB_BARE_LIBRARY, ZEB_AGENT};
};

std::vector<std::string> sectionNames() {
  std::vector<std::string> names;
  for (const Section& section : kSections) names.emplace_back(section.name);
  return names;
}

void describe(CLI::App& app, Options& options) {
  app.add_option("section", options.sections, "What to measure; everything when none is named")
      ->check(CLI::IsMember(sectionNames()));
  app.add_option("--effort", options.plan.effortName, "How long to measure")
      ->check(CLI::IsMember({"full", "quick", "tiny"}))
      ->capture_default_str();
  app.add_option("--library", options.plan.library, "The library to measure")
      ->capture_default_str();
  app.add_option("--agent", options.plan.agent, "The agent that follows events")
      ->capture_default_str();
  app.add_option("--bare-library", options.plan.bare, "The same, built without trace points")
      ->capture_default_str();
}

// What was found goes to the standard output as one document, at the end; files of this program's
// would lie in its private world.
void run(const Options& options) {
  const auto& wanted = options.sections;
  nlohmann::json found = {{"effort", options.plan.effortName}};
  for (const Section& section : kSections) {
    if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), section.name) == wanted.end())
      continue;
    fmt::print(stderr, "zebbench: {}\n", section.name);
    found[section.name] = inChild([&] { return section.measure(options.plan); });
  }
  fmt::print("{}\n", found.dump(2));
}

}  // namespace
}  // namespace bench

int main(int count, char** arguments) {
  bench::Options options;
  CLI::App app{"Measures the library as a host sees it, against the least that it could cost."};
  bench::describe(app, options);
  CLI11_PARSE(app, count, arguments);
  support::enterPrivateNamespaces(arguments);
  options.plan.effort = bench::effortNamed(options.plan.effortName);
  try {
    bench::run(options);
  } catch (const std::exception& error) {
    fmt::print(stderr, "zebbench: {}\n", error.what());
    return 1;
  }
  return 0;
}
