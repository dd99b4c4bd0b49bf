// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/commands.h"
#include "agent/front/cli/look.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/terminal.h"
#include "agent/render/json.h"
#include "agent/render/screens.h"
#include "agent/render/words.h"

namespace cli {
namespace {

std::string shown(const model::Snapshot& selected, const ShowRequest& show) {
  const auto sheet = [&] { return arranged(render::brokersSheet(selected), show.arrangement); };
  switch (show.format) {
    case Format::json:
      return render::written(render::brokersDocument(selected));
    case Format::jsonl:
      return render::rowLines("zebmon.broker", selected, sheet());
    case Format::csv:
      return render::csvOf(sheet(), show.titles);
    case Format::table:
      break;
  }
  return render::tableOf(sheet(), styleOf(show));
}

}  // namespace

void declareBrokers(Options& options, Request& request) {
  addWholeBrokers(options, request);
  addSheet(options, request, render::brokersColumns());
}

ExitCode runBrokers(const Request& request, Output& output) {
  const model::Snapshot found =
      selected(*take(request, model::MachineFacts::processes, model::Events::skip), request);
  complainOfEach(render::remarksOn(found), kChooseABroker);
  output.write(shown(found, request.show));
  return exitCodeOf(found);
}

}  // namespace cli
