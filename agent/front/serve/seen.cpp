// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/seen.h"

#include "agent/front/serve/gzip.h"
#include "agent/front/serve/page_document.h"
#include "agent/model/condition.h"
#include "agent/render/findings_screen.h"
#include "agent/render/json.h"
#include "agent/render/metrics.h"
#include "agent/render/rates.h"

namespace serve {
namespace {

std::string metricsOf(const Seen& seen, render::Exposition exposition) {
  render::MetricsOptions options = seen.metrics;
  options.exposition = exposition;
  return render::metrics({.snapshot = seen.now(),
                          .findings = &seen.findings,
                          .took = seen.took,
                          .version = seen.version,
                          .events = &seen.posted,
                          .started = seen.started},
                         options);
}

std::string flowsText(const Seen& seen) {
  return render::written(render::flowDocument(viewOf(seen), {}), true);
}

std::string textOf(Document document, const Seen& seen) {
  switch (document) {
    case Document::metrics:
      return metricsOf(seen, render::Exposition::prometheus);
    case Document::openMetrics:
      return metricsOf(seen, render::Exposition::openMetrics);
    case Document::brokers:
      return render::written(render::brokersDocument(seen.now()), true);
    case Document::stats:
      return render::written(render::statisticsDocument(model::distinct(seen.now())), true);
    case Document::flows:
      return flowsText(seen);
    case Document::findings:
      break;
  }
  return render::written(render::findingsDocument(seen.findings, seen.now()), true);
}

}  // namespace

Text Texts::plain(Document document) const {
  if (document == Document::flows && seen_.looks.size() < 2) return {};
  Made& made = plain_[static_cast<std::size_t>(document)];
  std::call_once(made.once,
                 [&] { made.text = std::make_shared<const std::string>(textOf(document, seen_)); });
  return made.text;
}

model::View viewOf(const Seen& seen) {
  return model::viewOf(seen.looks, {.chain = {}, .file = seen.flows.get(), .threads = {}});
}

const Texts::Page& Texts::page() const {
  std::call_once(pageOnce_, [&] {
    std::string text = render::written(pageDocument(seen_), true);
    text.resize(text.size() - 2);  // the object goes on
    page_ = std::make_unique<const Page>(std::move(text));
  });
  return *page_;
}

Text Texts::of(Document document, bool gzip) const {
  const Text text = plain(document);
  if (!text || !gzip) return text;
  Made& made = compressed_[static_cast<std::size_t>(document)];
  std::call_once(made.once,
                 [&] { made.text = std::make_shared<const std::string>(gzipped(*text)); });
  return made.text;
}

}  // namespace serve
