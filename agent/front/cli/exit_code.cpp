// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/exit_code.h"

#include <algorithm>
#include <cerrno>

namespace cli {
namespace {

using reader::State;

ExitCode exitCodeOfState(State state) {
  switch (state) {
    case State::ok:
    case State::noSegment:
    case State::noKeyFile:
      return kDone;
    case State::notInitialised:
    case State::damaged:
      return kDamaged;
    case State::noPermission:
      return kNoPermission;
    case State::failed:
      break;
  }
  return kFailed;
}

}  // namespace

const char kExitCodes[] =
    "Exit codes:\n"
    "  0   done\n"
    "  64  the command line is wrong\n"
    "  65  something is damaged; the rest is shown\n"
    "  66  no such file or directory\n"
    "  69  there is no broker, or nothing of that name\n"
    "  74  reading or writing failed\n"
    "  77  no permission";

ExitCode exitCodeOf(int error) {
  if (error == 0) return kDone;
  if (error == ENOENT || error == ENOTDIR) return kNoFile;
  return error == EACCES || error == EPERM ? kNoPermission : kFailed;
}

ExitCode exitCodeOf(const archived::Failure& failure) {
  using Kind = archived::Failure::Kind;
  switch (failure.kind) {
    case Kind::none:
      return kDone;
    case Kind::foreign:
    case Kind::damaged:
    case Kind::tooLarge:
      return kDamaged;
    case Kind::system:
      return exitCodeOf(failure.error);
    case Kind::notRegular:
      break;
  }
  return kFailed;
}

ExitCode exitCodeOf(const model::Snapshot& selected) {
  if (selected.error != 0) return exitCodeOf(selected.error);
  if (selected.brokers.empty()) return kNoBroker;
  ExitCode worst = kDone;  // the codes of these failures rise with their weight
  for (const auto& broker : selected.brokers)
    worst = std::max(worst, exitCodeOfState(broker->state()));
  return worst;
}

ExitCode exitCodeOfContents(const model::Snapshot& selected) {
  const auto hasMemory = [](const auto& broker) {
    return broker->state() != State::noSegment && broker->state() != State::noKeyFile;
  };
  const ExitCode code = exitCodeOf(selected);
  if (code != kDone || std::ranges::any_of(selected.brokers, hasMemory)) return code;
  return kNoBroker;
}

}  // namespace cli
