// SPDX-License-Identifier: Apache-2.0
// One look of the server, and the texts that are made from it.
#ifndef ZEB_AGENT_FRONT_SERVE_SEEN_H
#define ZEB_AGENT_FRONT_SERVE_SEEN_H

#include <array>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "agent/front/serve/gzip.h"
#include "agent/model/event_totals.h"
#include "agent/model/findings.h"
#include "agent/model/flow_view.h"
#include "agent/model/snapshot.h"
#include "agent/render/metrics.h"
#include "flowfile/file.h"

namespace serve {

// What one turn of the collector brought. Never changes.
struct Seen {
  // The last looks, the oldest first; the last of them is the present one. Never empty, none null.
  std::vector<std::shared_ptr<const model::Snapshot>> looks = {};

  model::Findings findings = {};                       // of the present one
  std::chrono::nanoseconds took{0};                    // the look alone
  std::string version = {};                            // of the agent
  model::TotalsByKeyFile posted = {};                  // since the first look
  std::chrono::system_clock::time_point started = {};  // of the first look

  // Tells which node is inside which; null when nothing does.
  std::shared_ptr<const flowfile::File> flows = {};

  // Which series there are. Its exposition doesn't count: that is asked for.
  render::MetricsOptions metrics = {};

  const model::Snapshot& now() const { return *looks.back(); }
};

// Its flows. It needs two looks.
model::View viewOf(const Seen& seen);

// What can be asked for of a look.
enum class Document { metrics, openMetrics, brokers, stats, flows, findings };
inline constexpr std::size_t kDocuments = 6;

using Text = std::shared_ptr<const std::string>;

// The texts of one look. Each is made when it is first asked for, and then everybody gets the same
// bytes. For any number of threads.
class Texts {
 public:
  explicit Texts(Seen seen) : seen_(std::move(seen)) {}

  // Null when one look doesn't tell it: flows need two.
  Text of(Document document, bool gzip) const;

  // "zebmon.page" without its end: what an answer adds comes after a comma.
  struct Page {
    explicit Page(std::string begin) : text(std::move(begin)), compressed(text) {}

    const std::string text;
    const GzipHead compressed;
  };
  const Page& page() const;

  const Seen& seen() const { return seen_; }

 private:
  struct Made {
    std::once_flag once;
    Text text;
  };

  Text plain(Document document) const;

  const Seen seen_;
  mutable std::array<Made, kDocuments> plain_;
  mutable std::array<Made, kDocuments> compressed_;
  mutable std::once_flag pageOnce_;
  mutable std::unique_ptr<const Page> page_;
};

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_SEEN_H
