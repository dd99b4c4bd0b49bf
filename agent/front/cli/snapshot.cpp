// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cerrno>

#include "agent/archive/snapshot_file.h"
#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/save.h"
#include "agent/front/cli/stop.h"
#include "agent/model/selection.h"
#include "text/printable.h"

namespace cli {
namespace {

// From a file, where it came from; then what was left out there is left out here.
archived::Loaded taken(const Request& request) {
  if (!request.from.empty()) return open(request.from, model::Events::leave, request.mostBytes);
  return {
      .failure = {}, .snapshot = take(request, model::MachineFacts::all), .origin = originHere()};
}

// A reader that goes away is no failure, as everywhere.
void writeTo(Output& output, const model::Snapshot& snapshot, const archived::Origin& origin) {
  if (isatty(STDOUT_FILENO) != 0) {
    throw Stop{kUsage, "a snapshot is no text for a terminal. Name a file with -o, or use a pipe"};
  }
  archived::write(snapshot, origin,
                  [&output](std::string_view bytes) { return output.write(bytes) ? 0 : EPIPE; });
}

}  // namespace

void declareSnapshot(Options& options, Request& request) {
  addWholeBrokers(options, request);
  options
      .add("-o,--output", request.snapshot.file,
           "Where to write it, - is standard output\n"
           "(default: a name by broker and time)")
      .shown("FILE");
  options.flag("--redact", request.snapshot.redact,
               "Without texts of events, message and\n"
               "correlation IDs and application names");
}

ExitCode runSnapshot(const Request& request, Output& output) {
  archived::Loaded all = taken(request);
  all.origin.redacted = all.origin.redacted || request.snapshot.redact;
  const model::Snapshot found = selected(*all.snapshot, request);
  const ExitCode code = exitCodeOf(found);
  if (found.brokers.empty()) return code;
  if (request.snapshot.file == "-") {
    writeTo(output, found, all.origin);
  } else {
    const std::string file =
        save(found, all.origin, request.snapshot.file, archived::Existing::replace, "-o");
    output.write(text::printable(file) + "\n");
  }
  return code;
}

}  // namespace cli
