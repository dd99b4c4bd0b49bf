// SPDX-License-Identifier: Apache-2.0
// What is different between two snapshot files, as people and programs see it.
#ifndef ZEB_AGENT_RENDER_DIFF_SCREENS_H
#define ZEB_AGENT_RENDER_DIFF_SCREENS_H

#include <string>
#include <vector>

#include "agent/archive/snapshot_file.h"
#include "agent/model/diff.h"
#include "agent/model/flow_view.h"
#include "agent/render/json.h"
#include "agent/render/sheet.h"

namespace render {

// All that is known of two files. The looks of the two are in `view`.
struct DiffView {
  archived::Origin before;  // where the looks are from
  archived::Origin after;
  model::Apart apart;
  model::Differences differences;

  // The figures between the looks; without brokers where they can't be compared, or were not asked
  // for.
  model::View view;
  bool measured = false;  // some figure in there grew
  bool self = false;      // self times are asked for

  // Nothing is different in what was asked for.
  bool same() const { return differences.list.empty() && !measured; }
};

// One row a difference. A table tells both looks, and when it was reset, in one column; that time
// is in `zone` there.
std::vector<Column> changesColumns();
Sheet changesSheet(const model::Differences& differences, Zone zone);

// How long lies between the looks, what is different, and the rates in between. `ofRates` arranges
// the tables of rates, `ofChanges` the other one.
std::string diffScreen(const DiffView& diff, const model::Selection& selection,
                       const Arrangement& ofChanges, const Arrangement& ofRates,
                       const TableStyle& style);

// "zebmon.diff".
Json diffDocument(const DiffView& diff, const model::Selection& selection);

// What of the looks' times or machines is not as people expect, a sentence without its full stop;
// empty when nothing is.
std::string apartText(const DiffView& diff);

// Why two files are not compared, since B is older than A; what to type instead.
std::string wrongOrderText(const model::Apart& apart, const std::string& fileA,
                           const std::string& fileB);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_DIFF_SCREENS_H
