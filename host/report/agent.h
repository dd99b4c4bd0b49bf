// SPDX-License-Identifier: Apache-2.0
// The agent, asked about the broker of a flow file.
#ifndef ZEB_HOST_REPORT_AGENT_H
#define ZEB_HOST_REPORT_AGENT_H

#include <filesystem>
#include <string>
#include <vector>

#include "flowfile/file.h"

namespace host {

class Agent {
 public:
  // `program` is the agent. `asInstalled` leaves it to the agent to find the directory of the key
  // files. The file must outlive it.
  Agent(const std::filesystem::path& program, const flowfile::File& file, bool asInstalled);

  // What it answers to a command with these options, about this broker alone. Its exit code may be
  // at most `mostCode`. Throws std::runtime_error with what went wrong.
  std::string ask(const std::string& command, const std::vector<std::string>& options,
                  int mostCode = 0) const;

  const std::filesystem::path& program() const { return program_; }

 private:
  std::filesystem::path program_;
  std::vector<std::string> broker_;  // options that select it
};

}  // namespace host

#endif  // ZEB_HOST_REPORT_AGENT_H
