// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/exit_code.h"

#include <algorithm>

namespace cli {
namespace {

bool isFailure(const model::SeenBroker& broker) {
  const reader::State state = broker.state();
  return state != reader::State::ok && state != reader::State::noSegment &&
         state != reader::State::noKeyFile;
}

}  // namespace

const char kExitCodes[] =
    "Exit codes:\n"
    "  0  everything that was asked for was read\n"
    "  1  something is damaged or could not be read or written; the rest is shown\n"
    "  2  the command line is wrong\n"
    "  3  there is no broker, or none of that name";

ExitCode exitCodeOf(const model::Snapshot& selected) {
  if (selected.error != 0) return kNotAllRead;
  if (selected.brokers.empty()) return kNoBroker;
  const bool failed = std::any_of(selected.brokers.begin(), selected.brokers.end(),
                                  [](const auto& broker) { return isFailure(*broker); });
  return failed ? kNotAllRead : kDone;
}

}  // namespace cli
