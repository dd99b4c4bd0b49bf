// SPDX-License-Identifier: Apache-2.0
// A damaged segment under the agent: whatever it reads there, its tables hold nothing that moves a
// cursor and its documents are JSON.
#include <algorithm>

#include "agent/cli/commands.h"
#include "agent/cli/documents.h"
#include "tests/damage/broken.h"
#include "tests/fuzz/private_world.h"

namespace {

void requirePrintable(const std::string& text) {
  fuzz::require(std::all_of(text.begin(), text.end(), [](char c) {
    return c == '\n' || (static_cast<std::uint8_t>(c) >= ' ' && c != '\x7F');
  }));
}

void requireJson(const cli::Json& document) {
  const std::string text = cli::written(document);
  requirePrintable(text);
  fuzz::require(cli::Json::accept(text));
}

cli::Found lookAt(const broken::Bytes& bytes) {
  cli::Found found;
  found.segment.state = reader::State::ok;
  found.segment.keyFile = "/tmp/UUID1.zebcshme";
  found.segment.size = bytes.size();
  found.segment.copy = reader::copySegment(bytes, bytes.size());
  found.damage = found.segment.copy.damage;
  found.broker = reader::readTree(found.segment.copy, found.damage);
  return found;
}

// The first byte says whether the rest is a segment or what was changed in a healthy one.
broken::Bytes segmentOf(const std::uint8_t* data, std::size_t length) {
  if (length == 0) return {};
  if (data[0] != 0) return broken::patched(data + 1, length - 1);
  return {data + 1, data + length};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  cli::Brokers brokers;
  brokers.found.push_back(lookAt(segmentOf(data, length)));
  cli::Found& found = brokers.found.front();
  reader::EventLog log;
  for (const reader::Event& event : log.read(found.segment, found.damage).events) {
    requireJson(cli::eventDocument(found, event));
    requirePrintable(cli::eventLines(event));
  }
  fuzz::require(log.read(found.segment, found.damage).events.empty());
  requireJson(cli::statisticsDocument(brokers));
  requireJson(cli::brokersDocument({.temporaryDirectory = "/tmp/", .broker = {}}, brokers));
  requirePrintable(cli::describe(found));
  requirePrintable(cli::nameOf(found));
  if (found.broker) requirePrintable(cli::statisticsTable(found));
  return 0;
}
