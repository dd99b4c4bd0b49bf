// SPDX-License-Identifier: Apache-2.0
// zebpnode: lets a host load the plug-in.
#include <cstdio>
#include <exception>
#include <string>

#include "setup/command_line.h"
#include "text/printable.h"

int main(int argc, char** argv) {
  try {
    return setup::interpret(argc, argv);
  } catch (const std::exception& error) {
    std::fputs(("zebpnode: " + text::printable(error.what()) + ".\n").c_str(), stderr);
    return setup::kFailed;
  }
}
