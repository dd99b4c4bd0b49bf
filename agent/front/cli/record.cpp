// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/commands.h"
#include "agent/front/cli/service.h"

namespace cli {

void declareRecord(Options& options, Request& request) {
  serve::Options& wanted = request.serve;
  declareHistory(options, wanted.history, false);
  declareInterval(options, wanted.interval);
  declareScope(options, wanted.scope);
  declareDirectory(options, wanted.directory);
}

ExitCode runRecord(const Request& request, Output& output) {
  return runService(serve::record, request.serve, output);
}

}  // namespace cli
