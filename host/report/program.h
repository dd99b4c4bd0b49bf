// SPDX-License-Identifier: Apache-2.0
// Another program's answer.
#ifndef ZEB_HOST_REPORT_PROGRAM_H
#define ZEB_HOST_REPORT_PROGRAM_H

#include <string>
#include <vector>

namespace host {

// Runs a program, its path first and then its arguments, and returns what it wrote to standard
// output. Its standard error goes where this program's goes. Throws std::runtime_error with what
// went wrong unless it exits with 0, or with a code up to `mostCode`.
std::string outputOf(const std::vector<std::string>& command, int mostCode = 0);

}  // namespace host

#endif  // ZEB_HOST_REPORT_PROGRAM_H
