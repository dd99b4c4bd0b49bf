// SPDX-License-Identifier: Apache-2.0
// A damaged segment under the agent: whatever it reads there, its tables hold nothing that moves a
// cursor and its documents are JSON.
#include "agent/render/screens.h"
#include "agent/render/words.h"
#include "tests/fuzz/shown.h"
#include "tests/support/broken.h"

namespace {

using fuzz::requireJson;
using fuzz::requirePrintable;

model::SeenBroker lookAt(const broken::Bytes& bytes) {
  reader::Segment segment;
  segment.state = reader::State::ok;
  segment.keyFile = "/tmp/UUID1.zebcshme";
  segment.size = bytes.size();
  segment.copy = reader::copySegment(bytes, bytes.size());
  return model::decoded(std::move(segment), 1795234171);
}

// The first byte says whether the rest is a segment or what was changed in a healthy one.
broken::Bytes segmentOf(const std::uint8_t* data, std::size_t length) {
  if (length == 0) return {};
  if (data[0] != 0) return broken::patched(data + 1, length - 1);
  return {data + 1, data + length};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  const auto broker = std::make_shared<model::SeenBroker>(lookAt(segmentOf(data, length)));
  reader::EventLog log;
  for (const reader::Event& event : log.read(broker->segment, broker->damage).events) {
    requireJson(render::eventDocument(*broker, event, {}));
    requirePrintable(render::eventLines(event, render::Zone::utc));
  }
  fuzz::require(log.read(broker->segment, broker->damage).events.empty());
  model::Snapshot snapshot;
  snapshot.directory = "/tmp/";
  snapshot.brokers.push_back(broker);
  requireJson(render::statisticsDocument(snapshot));
  requireJson(render::brokersDocument(snapshot));
  requirePrintable(render::problemOf(*broker));
  requirePrintable(render::nameOf(*broker));
  requirePrintable(render::statisticsTables(snapshot, {}, {.width = 80}));
  for (const render::Sheet& sheet :
       {render::brokersSheet(snapshot), render::statisticsSheet(snapshot)}) {
    fuzz::requireShown(sheet, snapshot);
  }
  return 0;
}
