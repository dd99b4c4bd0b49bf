// SPDX-License-Identifier: Apache-2.0
// What zebmon can be asked to do: one row a command, one file a row.
#ifndef ZEB_AGENT_FRONT_CLI_COMMANDS_H
#define ZEB_AGENT_FRONT_CLI_COMMANDS_H

#include <span>

#include "agent/front/cli/exit_code.h"
#include "agent/front/cli/output.h"
#include "agent/front/cli/parser.h"
#include "agent/front/cli/request.h"

namespace cli {

struct Command {
  const char* name;
  const char* summary;

  // Adds the options that the command takes. Parsing writes into `request`, which must live until
  // then.
  void (*declare)(Options& options, Request& request);

  // Does it: data goes to the output, everything else to standard error.
  ExitCode (*run)(const Request& request, Output& output);

  // It reads a history and nothing else.
  bool ofHistory = false;
};

// All of them, in the order of --help.
std::span<const Command> commands();

void declareBrokers(Options& options, Request& request);
ExitCode runBrokers(const Request& request, Output& output);

void declareStats(Options& options, Request& request);
ExitCode runStats(const Request& request, Output& output);

void declareFlow(Options& options, Request& request);
ExitCode runFlow(const Request& request, Output& output);

// On a terminal, ends with a key or a signal.
void declareTop(Options& options, Request& request);
ExitCode runTop(const Request& request, Output& output);

// With --follow, ends only with the output.
void declareEvents(Options& options, Request& request);
ExitCode runEvents(const Request& request, Output& output);

// Ends with a level (agent/model/check.h) in place of the other codes.
void declareCheck(Options& options, Request& request);
ExitCode runCheck(const Request& request, Output& output);

// What the machine says besides shared memory: locks, and the configuration in force.
void declareLocks(Options& options, Request& request);
ExitCode runLocks(const Request& request, Output& output);
void declareConfig(Options& options, Request& request);
ExitCode runConfig(const Request& request, Output& output);

// How large shared memory has to be for a plan, or how full it is.
void declareSize(Options& options, Request& request);
ExitCode runSize(const Request& request, Output& output);

// Of a history.
void declareChanges(Options& options, Request& request);
ExitCode runChanges(const Request& request, Output& output);

// Writes into shared memory, only with --yes.
void declareReset(Options& options, Request& request);
ExitCode runReset(const Request& request, Output& output);

// Writes only with --repair and --yes.
void declareDoctor(Options& options, Request& request);
ExitCode runDoctor(const Request& request, Output& output);

// The way of one message.
void declareMessage(Options& options, Request& request);
ExitCode runMessage(const Request& request, Output& output);

// Writes a file that every command takes with --from.
void declareSnapshot(Options& options, Request& request);
ExitCode runSnapshot(const Request& request, Output& output);

// What happened between two such files. Ends with kDifferent when anything did.
void declareDiff(Options& options, Request& request);
ExitCode runDiff(const Request& request, Output& output);

// For a monitoring system.
void declareMetrics(Options& options, Request& request);
ExitCode runMetrics(const Request& request, Output& output);

// Answers over HTTP until SIGINT or SIGTERM.
void declareServe(Options& options, Request& request);
ExitCode runServe(const Request& request, Output& output);

// The same without HTTP: keeps a history.
void declareRecord(Options& options, Request& request);
ExitCode runRecord(const Request& request, Output& output);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_COMMANDS_H
