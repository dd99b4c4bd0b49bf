// SPDX-License-Identifier: Apache-2.0
// The text of a flow file, from wherever it comes.
#ifndef ZEB_FLOWFILE_LOAD_H
#define ZEB_FLOWFILE_LOAD_H

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace flowfile {

// What was read, or why it was not.
struct Text {
  // All bytes, whatever they are.
  std::string text;
  // Why they could not be read, and what to do; empty when they could.
  std::string problem;
  // errno of the call that failed; 0 also when none did.
  int error = 0;
};

// Reads a file, a pipe, or standard input for "-", to its end; at most 64 MiB. Opens a named pipe
// without blocking and waits for its writer no longer than `patience`, or without limit when there
// is none. Once somebody writes, it is read to the end however long that takes.
Text load(const std::filesystem::path& path, std::optional<std::chrono::nanoseconds> patience);

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_LOAD_H
