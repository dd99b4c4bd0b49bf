// SPDX-License-Identifier: Apache-2.0
// What happened between two looks, for people and for programs.
#ifndef ZEB_AGENT_RENDER_RATES_H
#define ZEB_AGENT_RENDER_RATES_H

#include <string>
#include <vector>

#include "agent/model/flow_view.h"
#include "agent/model/selection.h"
#include "agent/render/drawing.h"
#include "agent/render/json.h"
#include "agent/render/sheet.h"

namespace render {

// The names in JSON and CSV of what became of a node ("measured", "reset", ...), of where a chain
// comes from ("given", "flowFile", ...), and of how sure a self time and a loss are ("measured",
// "intervalTooShort", ...).
const char* changeName(model::Change change);
const char* sourceName(model::NestingSource source);
const char* selfStateName(model::SelfTime::State state);
const char* lossStateName(model::Loss::State state);

// A word of what became of a node, for a table; empty when it was measured and is still there.
const char* noteOf(const model::NodeGrowth& node);

// One row a node, flow by flow, the nodes in the order in which messages pass. A self time is shown
// in tables only with `self`; it is always there for programs.
std::vector<Column> ratesColumns(bool self);
Row ratesRow(const model::BrokerView& broker, const model::FlowView& flow, std::size_t node);
Sheet ratesSheet(const model::View& view, const model::Selection& selection, bool self);

// A head and a table a broker, and what can't be told and why.
std::string ratesTables(const model::View& view, const model::Selection& selection, bool self,
                        const Arrangement& wanted, TableStyle style);

// "zebmon.rates", and its member "brokers" alone.
Json ratesDocument(const model::View& view, const model::Selection& selection);
Json ratesOfBrokers(const model::View& view, const model::Selection& selection);

// A time in milliseconds, so that no document has more digits than were measured.
double roundedSeconds(model::Seconds interval);

// Options that commands to type need, to look at the same place: each with a blank before it.
struct Typed {
  std::string flow = {};
  std::string doctor = {};
};

// Each selected flow as a tree of its nodes: where the time went, what was lost, and one sentence
// that names the node to look at. Empty when no flow is selected.
std::string flowScreens(const model::View& view, const model::Selection& selection,
                        TableStyle style, Signs signs, const Typed& typed = {});

// "zebmon.flow": the same as a document.
Json flowDocument(const model::View& view, const model::Selection& selection);

// What to look at, in one sentence without its full stop.
std::string verdictOf(const model::FlowView& flow);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_RATES_H
