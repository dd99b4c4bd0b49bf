// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/options.h"
#include "agent/render/json.h"
#include "agent/render/screens.h"

namespace cli {

void declareStats(CLI::App& options, Request& request) {
  addSelection(options, request);
  addFormat(options, request);
}

ExitCode runStats(const Request& request, Output& output) {
  const model::Snapshot selected = look(request);
  output.write(request.format == Format::json
                   ? render::written(render::statisticsDocument(selected))
                   : render::statisticsTables(selected));
  return exitCodeOf(selected);
}

}  // namespace cli
