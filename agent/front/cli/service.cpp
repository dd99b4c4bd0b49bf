// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/service.h"

#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/stop.h"
#include "agent/front/serve/trouble.h"
#include "flowfile/quantity.h"

namespace cli {
namespace {

using std::chrono::milliseconds;

constexpr auto kSmallest = static_cast<std::int64_t>(history::kLeastBytes);
constexpr std::int64_t kLargest = std::int64_t{1} << 40;

void takeEvery(milliseconds& interval, const std::string& text) {
  const auto parsed = flowfile::parseDuration(text);
  if (!parsed || *parsed < milliseconds(100) || *parsed > std::chrono::hours(1)) {
    refuse("--interval", "\"" + text + "\" is no time from 100ms to 1h, like 2s");
  }
  interval = std::chrono::ceil<milliseconds>(*parsed);
}

void takeTotal(std::uint64_t& most, const std::string& text) {
  const auto bytes = flowfile::parseBytes(text);
  if (!bytes || *bytes <= 0) {
    refuse("--max-total", "\"" + text + "\" is no size like 256MiB");
  }
  most = static_cast<std::uint64_t>(*bytes);
}

void takeHistory(serve::KeepOptions& history, const std::string& text, bool optional) {
  const bool none = text == "none";
  if (text.empty() || (none && !optional)) {
    refuse("--history", "\"" + text + "\" is no name of a file");
  }
  history.file = none ? "" : text;
}

void takeMost(std::uint64_t& most, const std::string& text) {
  const auto bytes = flowfile::parseBytes(text);
  if (!bytes || *bytes < kSmallest || *bytes > kLargest) {
    refuse("--max-size", "\"" + text + "\" is no size from 16MiB to 1024GiB, like 2GiB");
  }
  most = static_cast<std::uint64_t>(*bytes);
}

}  // namespace

void declareScope(Options& options, model::Scope& scope) {
  addOwners(options, scope.owners);
  options.add("--max-brokers", scope.mostBrokers, "Look at no more than so many (default: 64)")
      .within(1, 10000)
      .shown("N");
  options
      .take(
          "--max-total", [&scope](const std::string& text) { takeTotal(scope.mostTotal, text); },
          "The most shared memory of all brokers in a\nlook (default: 256MiB)")
      .shown("BYTES");
}

void declareSeries(Options& options, render::MetricsOptions& metrics) {
  options.flag("--extremes", metrics.extremes, "Minima and maxima since the last reset too");
  options.add("--max-series", metrics.mostSeries, "Leave out nodes above so many series")
      .shown("N")
      .showsDefault();
}

void declareHistory(Options& options, serve::KeepOptions& history, bool optional) {
  options
      .take(
          "--history",
          [&history, optional](const std::string& text) { takeHistory(history, text, optional); },
          optional ? "Keep what is seen in this file, or none\n(default: in the state directory)"
                   : "Keep it in this file (default: in the state\ndirectory)")
      .shown("FILE");
  options
      .take(
          "--max-size", [&history](const std::string& text) { takeMost(history.mostBytes, text); },
          "The most that the history may take on its\ndisk (default: 2GiB)")
      .shown("BYTES");
}

void declareInterval(Options& options, milliseconds& interval) {
  options
      .take(
          "--interval", [&interval](const std::string& text) { takeEvery(interval, text); },
          "Time between two looks (default: 2s)")
      .shown("T");
}

void declareDirectory(Options& options, std::string& directory) {
  options
      .add("--temp-directory", directory,
           "Where the brokers' key files are (default:\nas the library is configured here)")
      .shown("DIR");
}

ExitCode runService(void (*service)(const serve::Options&, const serve::Voice&),
                    const serve::Options& options, Output& output) {
  try {
    service(options, {.tell = [&output](const std::string& lines) { output.write(lines); },
                      .log = complain});
  } catch (const serve::Trouble& trouble) {
    const bool usage = trouble.kind == serve::Trouble::Kind::usage;
    throw Stop{usage ? kUsage : exitCodeOf(trouble.error == 0 ? -1 : trouble.error),
               trouble.sentence};
  }
  return kDone;
}

}  // namespace cli
