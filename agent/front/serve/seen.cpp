// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/seen.h"

#include <zlib.h>

#include <new>

#include "agent/model/condition.h"
#include "agent/model/flow_view.h"
#include "agent/render/findings_screen.h"
#include "agent/render/json.h"
#include "agent/render/metrics.h"
#include "agent/render/rates.h"

namespace serve {
namespace {

std::string metricsOf(const Seen& seen, render::Exposition exposition) {
  return render::metrics({.snapshot = seen.now(),
                          .findings = &seen.findings,
                          .took = seen.took,
                          .version = seen.version},
                         {.exposition = exposition});
}

std::string flowsOf(const Seen& seen) {
  const model::View view = model::viewOf(seen.looks, {});
  return render::written(render::flowDocument(view, {}), true);
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
      return flowsOf(seen);
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

Text Texts::of(Document document, bool gzip) const {
  const Text text = plain(document);
  if (!text || !gzip) return text;
  Made& made = compressed_[static_cast<std::size_t>(document)];
  std::call_once(made.once,
                 [&] { made.text = std::make_shared<const std::string>(gzipped(*text)); });
  return made.text;
}

std::string gzipped(const std::string& text) {
  constexpr int kGzipFormat = 15 + 16;
  constexpr int kMemory = 8;
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, kGzipFormat, kMemory, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::bad_alloc();
  }
  std::string out(deflateBound(&stream, text.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::bad_alloc();
  return out;
}

}  // namespace serve
