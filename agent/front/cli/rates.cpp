// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/rates.h"

#include <algorithm>

#include "agent/front/cli/looks.h"
#include "agent/front/cli/messages.h"
#include "agent/model/selection.h"
#include "flowfile/load.h"
#include "flowfile/quantity.h"
#include "flowfile/reader.h"

namespace cli {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kShortest{10};
constexpr milliseconds kLongest = std::chrono::hours(24);
constexpr std::size_t kMostFindings = 20;

void takeInterval(milliseconds& interval, const std::string& text) {
  const auto parsed = flowfile::parseDuration(text);
  if (parsed && *parsed >= kShortest && *parsed <= kLongest) {
    interval = std::chrono::ceil<milliseconds>(*parsed);
    return;
  }
  refuse("--interval", "\"" + text +
                           "\" is no time from 10ms to 24h, like 500ms, 5s or "
                           "2m");
}

void takeChain(std::optional<model::Chain>& chain, const std::string& text) {
  model::ChainText parsed = model::parseChain(text);
  if (!parsed.problem.empty()) refuse("--chain", parsed.problem);
  chain = std::move(parsed.chain);
}

Option declareThreads(Options& options, RatesRequest& rates) {
  return options.add("--threads", rates.threads, "Threads that take messages of the flow")
      .within(1, 1000000)
      .shown("N");
}

}  // namespace

FlowFile readFlows(const std::string& path) {
  constexpr std::chrono::seconds kPatience{2};
  if (path.empty()) return {};
  const flowfile::Text text = flowfile::load(path, kPatience);
  if (!text.problem.empty()) {
    complain(text.problem);
    return {{}, kNoFile};
  }
  flowfile::ReadResult read = flowfile::read(text.text, path);
  for (std::size_t i = 0; i < std::min(read.findings.size(), kMostFindings); ++i) {
    complain(flowfile::findingText(path, read.findings[i]));
  }
  return {std::move(read.file), read.findings.empty() ? kDone : kDamaged};
}

bool chainFits(const model::View& view, const Request& request) {
  if (!request.rates.chain) return true;
  std::string problem;
  for (const auto& broker : view.brokers) {
    for (const model::FlowView& flow : broker.flows) {
      if (!selects(request.selection, flow)) continue;
      if (flow.nesting.problem.empty()) return true;
      problem = flow.nesting.problem;
    }
  }
  complain(problem);
  return problem.empty();
}

model::FlowKnowledge knowledgeOf(const Request& request, const FlowFile& flows) {
  return {.chain = request.rates.chain,
          .file = flows.file ? &*flows.file : nullptr,
          .threads = request.rates.threads};
}

Option addInterval(Options& options, Request& request, const char* name) {
  RatesRequest& rates = request.rates;
  return options
      .take(
          name, [&rates](const std::string& text) { takeInterval(rates.interval, text); },
          "Time between two looks: 500ms, 5s, 2m")
      .shown("T");
}

Option addIntervals(Options& options, Request& request) {
  RatesRequest& rates = request.rates;
  const Option interval = addInterval(options, request, "--interval");
  options
      .add("--count", rates.count,
           "So many intervals, 0: until it is stopped\n"
           "(default: 1)")
      .within(0, 1000000000)
      .shown("N");
  return interval;
}

void addFlowKnowledge(Options& options, Request& request) {
  RatesRequest& rates = request.rates;
  const Option chain =
      options
          .take(
              "--chain", [&rates](const std::string& text) { takeChain(rates.chain, text); },
              "Which node is inside which: \"A(B,C(D))\"")
          .shown("CHAIN");
  options
      .add("--flows", rates.flows,
           "Take that, and the threads, from this flow\n"
           "file")
      .shown("FILE")
      .excludes(chain);
  declareThreads(options, rates);
}

void addThreads(Options& options, Request& request, const Option& needed) {
  options
      .add("--flows", request.rates.flows,
           "Take threads from this flow file, so that more\n"
           "can be told of events that were missed")
      .shown("FILE")
      .needs(needed);
  declareThreads(options, request.rates).needs(needed);
}

ExitCode watch(const Request& request, Output& output,
               const std::function<std::string(const model::View&)>& show,
               model::MachineFacts machine) {
  const RatesRequest& rates = request.rates;
  const FlowFile flows = readFlows(rates.flows);
  if (flows.code != kDone) return flows.code;
  const model::FlowKnowledge known = knowledgeOf(request, flows);
  output.stopOnSignals();
  Looks looks(request, machine);
  looks.take();
  const ExitCode code = exitCodeOfContents(looks.report());
  if (code == kNoBroker || code == kNoFile) return code;
  for (unsigned turn = 0; rates.count == 0 || turn < rates.count; ++turn) {
    if (!output.wait(static_cast<int>(rates.interval.count()))) return kDone;
    looks.take();
    const model::View view = looks.view(known);
    if (!chainFits(view, request)) return kUsage;
    if (!output.write(show(view))) return kDone;
  }
  return code;
}

}  // namespace cli
