// SPDX-License-Identifier: Apache-2.0
// What the commands share that go on until somebody stops them.
#ifndef ZEB_AGENT_FRONT_CLI_SERVICE_H
#define ZEB_AGENT_FRONT_CLI_SERVICE_H

#include <chrono>
#include <string>

#include "agent/front/cli/exit_code.h"
#include "agent/front/cli/output.h"
#include "agent/front/cli/parser.h"
#include "agent/front/serve/server.h"

namespace cli {

// --owner, --max-brokers and --max-total.
void declareScope(Options& options, model::Scope& scope);

// --history and --max-size. `optional`: it may also be none.
void declareHistory(Options& options, serve::KeepOptions& history, bool optional);

// --interval and --temp-directory.
void declareInterval(Options& options, std::chrono::milliseconds& interval);
void declareDirectory(Options& options, std::string& directory);

// --extremes and --max-series, of what writes metrics.
void declareSeries(Options& options, render::MetricsOptions& metrics);

// To its end. Throws Stop when it can't start.
ExitCode runService(void (*service)(const serve::Options&, const serve::Voice&),
                    const serve::Options& options, Output& output);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_SERVICE_H
