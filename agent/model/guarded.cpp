// SPDX-License-Identifier: Apache-2.0
#include "agent/model/guarded.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "format/names.h"

namespace model {
namespace {

using What = Guarded::What;

bool isRecordId(std::string_view name) {
  return name.size() == 2 * reader::RecordId::kBytes &&
         name.find_first_not_of("0123456789ABCDEF") == name.npos;
}

// The process in "zeb_attach_1234"; 0 for any other name.
std::int32_t processIn(std::string_view name) {
  constexpr std::string_view kBegin = layout::kAttachLock;
  if (!name.starts_with(kBegin)) return 0;
  const char* const end = name.data() + name.size();
  std::int32_t id = 0;
  const auto [stopped, error] = std::from_chars(name.data() + kBegin.size(), end, id);
  return error == std::errc() && stopped == end && id > 0 ? id : 0;
}

What blockIn(std::string_view name) {
  if (name.ends_with(layout::kSegmentSuffix)) return What::segment;
  if (name.ends_with(layout::kStatisticsSuffix)) return What::statisticsArea;
  if (name.ends_with(layout::kEventTemplatesSuffix)) return What::templatesArea;
  return name.ends_with(layout::kEventDataSuffix) ? What::eventsArea : What::unknown;
}

std::string attachLockOf(std::int32_t process) {
  return layout::kAttachLock + std::to_string(process);
}

}  // namespace

// Where two brokers claim one name, the first has it.
Guards::Guards(const Snapshot& snapshot) {
  for (const auto& broker : snapshot.brokers) {
    for (const char* const suffix : {layout::kSegmentSuffix, layout::kStatisticsSuffix,
                                     layout::kEventTemplatesSuffix, layout::kEventDataSuffix}) {
      Guarded block;
      block.what = blockIn(suffix);
      block.broker = broker;
      known_.try_emplace(broker->segment.uuid + suffix, block);
    }
    if (broker->tree) addRecords(broker);
  }
}

void Guards::addRecords(const std::shared_ptr<const SeenBroker>& broker) {
  for (const auto& group : broker->tree->executionGroups) {
    Guarded place;
    place.broker = broker;
    place.group = group.label;
    place.process = group.processId;
    place.what = What::attachTable;
    if (group.processId > 0) known_.try_emplace(attachLockOf(group.processId), place);
    place.process = 0;
    place.what = What::statistics;
    for (const auto& flow : group.messageFlows) {
      place.flow = flow.label;
      for (const auto& node : flow.nodes) {
        if (!node.statistics) continue;
        place.node = node.label;
        known_.try_emplace(node.statistics->recordId.hex(), place);
      }
    }
  }
}

std::optional<reader::MappedSegment> segmentOf(const Guarded& guarded) {
  if (!guarded.broker || guarded.broker->segment.key == 0) return std::nullopt;
  return guarded.broker->segment.mapped();
}

Guarded Guards::of(const std::string& name) const {
  const auto found = known_.find(name);
  if (found != known_.end()) return found->second;
  Guarded guarded;
  guarded.process = processIn(name);
  guarded.what = guarded.process != 0 ? What::attachTable
                 : isRecordId(name)   ? What::statistics
                                      : blockIn(name);
  return guarded;
}

}  // namespace model
