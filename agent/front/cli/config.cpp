// SPDX-License-Identifier: Apache-2.0
#include <map>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/terminal.h"
#include "agent/model/selection.h"
#include "agent/render/config_screens.h"
#include "agent/render/words.h"

namespace cli {

void declareConfig(Options& options, Request& request) {
  static const std::map<std::string, Format> kFormats = {{"table", Format::table},
                                                         {"json", Format::json}};
  addWholeBrokers(options, request);
  addChoice(options, "--format", request.show.format, kFormats, "For people, or for programs",
            "table|json");
  addStyle(options, request);
}

// Without any broker the configuration is there all the same.
ExitCode runConfig(const Request& request, Output& output) {
  const auto snapshot = take(request, model::MachineFacts::read);
  const model::Snapshot selected = model::select(*snapshot, request.selection);
  const reader::Configuration& file = snapshot->machine->configuration;
  const render::ConfigView view{selected, model::settingsOf(file, labelsOf(selected)),
                                model::restartsOf(selected)};
  output.write(request.show.format == Format::json
                   ? render::written(render::configDocument(view))
                   : render::configScreen(view, styleOf(request.show)));
  if (selected.brokers.empty() && !request.selection.broker.empty()) {
    complain(render::problemOf(*snapshot, request.selection, request.from));
    return kNoBroker;
  }
  return file.exists && file.error != 0 ? exitCodeOf(file.error) : kDone;
}

}  // namespace cli
