// SPDX-License-Identifier: Apache-2.0
// Single functions, measured by Google Benchmark. They may use the library's fixed paths and System
// V objects, so the program runs in namespaces of its own; what it writes goes to standard output.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>

#include "tests/support/private_namespaces.h"

int main(int count, char** arguments) {
  support::enterPrivateNamespaces(arguments);
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 64;
  try {
    benchmark::RunSpecifiedBenchmarks();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zebfunctions: %s\n", error.what());
    return 1;
  }
  benchmark::Shutdown();
  return 0;
}
