// SPDX-License-Identifier: Apache-2.0
// Looks again and again, for commands that show what happened in between.
#ifndef ZEB_AGENT_FRONT_CLI_RATES_H
#define ZEB_AGENT_FRONT_CLI_RATES_H

#include <functional>
#include <optional>
#include <string>

#include "agent/front/cli/exit_code.h"
#include "agent/front/cli/output.h"
#include "agent/front/cli/parser.h"
#include "agent/front/cli/request.h"
#include "agent/model/flow_view.h"
#include "flowfile/file.h"

namespace cli {

// An option for a duration like "5s", "500ms" or "2m".
Option addInterval(Options& options, Request& request, const char* name);

// That as --interval, and --count. Returns the first.
Option addIntervals(Options& options, Request& request);

// --chain, --flows and --threads: what isn't stored of flows.
void addFlowKnowledge(Options& options, Request& request);

// --threads and --flows alone, for a command that looks again and again only with `needed`.
void addThreads(Options& options, Request& request, const Option& needed);

// A flow file, or why there is none: that was said.
struct FlowFile {
  std::optional<flowfile::File> file;  // nothing: none was asked for
  ExitCode code = kDone;
};

// Reads the file at `path`; an empty one is none.
FlowFile readFlows(const std::string& path);

// What the request says of flows, and that file, which must live as long.
model::FlowKnowledge knowledgeOf(const Request& request, const FlowFile& flows);

// Whether the chain that was given, if one was, is that of a flow which was asked for. Why it isn't
// is said on standard error. True while there is no such flow.
bool chainFits(const model::View& view, const Request& request);

// Looks, waits, looks again, and writes what `show` makes of it, as often as was asked for. A
// signal or the output's end stops it at any time. Says on standard error what is wrong, a chain
// that fits none of the selected flows too. Each look takes so many of the machine's facts.
ExitCode watch(const Request& request, Output& output,
               const std::function<std::string(const model::View&)>& show,
               model::MachineFacts machine = model::MachineFacts::leave);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_RATES_H
