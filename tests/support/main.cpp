// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/support/leftovers.h"
#include "tests/support/private_namespaces.h"
#include "tests/support/processes.h"

// An allocation that is too large fails under a sanitizer as it does without one.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

int main(int argumentCount, char** arguments) {
  int exitCode = 0;
  if (support::runRole(argumentCount, arguments, exitCode)) return exitCode;
  testing::GTEST_FLAG(catch_exceptions) = true;
  std::vector<char*> original(arguments, arguments + argumentCount + 1);
  testing::InitGoogleTest(&argumentCount, arguments);
  if (!testing::GTEST_FLAG(list_tests)) {
    support::enterPrivateNamespaces(original.data());
    testing::UnitTest::GetInstance()->listeners().Append(new support::LeftoverCheck);
  }
  return RUN_ALL_TESTS();
}
