// SPDX-License-Identifier: Apache-2.0
// zebmon: shows what the monitoring nodes of this machine's brokers have collected.
#include <unistd.h>

#include <exception>
#include <new>

#include "agent/front/cli/command_line.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/output.h"

namespace {

int run(int argc, char** argv, cli::Output& output) {
  try {
    return cli::interpret(argc, argv, output);
  } catch (const std::bad_alloc&) {
    cli::complain("out of memory");
  } catch (const std::exception& error) {
    cli::complain(error.what());
  }
  return cli::kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  cli::Output output(STDOUT_FILENO);
  const int code = run(argc, argv, output);
  return cli::wasWritten(output) ? code : cli::kFailed;
}
