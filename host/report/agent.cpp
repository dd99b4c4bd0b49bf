// SPDX-License-Identifier: Apache-2.0
#include "host/report/agent.h"

#include "host/report/program.h"

namespace host {

Agent::Agent(const std::filesystem::path& program, const flowfile::File& file, bool asInstalled)
    : program_(program), broker_{"--broker", file.broker.uuid.value_or(file.broker.label)} {
  if (!file.broker.tempDirectory || asInstalled) return;
  broker_.insert(broker_.end(), {"--temp-directory", file.broker.tempDirectory->string()});
}

std::string Agent::ask(const std::string& command, const std::vector<std::string>& options,
                       int mostCode) const {
  std::vector<std::string> line{program_.string(), command};
  line.insert(line.end(), options.begin(), options.end());
  line.insert(line.end(), broker_.begin(), broker_.end());
  return outputOf(line, mostCode);
}

}  // namespace host
