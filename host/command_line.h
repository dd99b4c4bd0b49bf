// SPDX-License-Identifier: Apache-2.0
// The command line of zebhost.
#ifndef ZEB_HOST_COMMAND_LINE_H
#define ZEB_HOST_COMMAND_LINE_H

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/run/options.h"

namespace host {

struct Arguments {
  std::filesystem::path flows;  // the flow file; "-": standard input
  RunOptions options;
  std::vector<std::string> command;                          // of "exec", with its arguments
  std::optional<std::uint64_t> threads;                      // in place of every flow's own
  std::optional<std::uint64_t> seed;                         // in place of the file's
  bool trace = false;                                        // in addition to the file's
  bool endless = false;                                      // inputs begin again when they end
  std::chrono::nanoseconds time = std::chrono::seconds(10);  // that "cost" measures, about
  bool json = false;                                         // what "cost" writes
};

// Declares the commands "check", "run", "exec" and "cost" with their options, which fill in
// `arguments`; these must outlive the parsing. A value that doesn't fit ends the parsing with
// CLI::ValidationError.
void declare(CLI::App& app, Arguments& arguments);

}  // namespace host

#endif  // ZEB_HOST_COMMAND_LINE_H
