// SPDX-License-Identifier: Apache-2.0
// The table of "top": flows and their nodes.
#ifndef ZEB_AGENT_RENDER_TOP_LIST_H
#define ZEB_AGENT_RENDER_TOP_LIST_H

#include <optional>
#include <string>
#include <vector>

#include "agent/render/sheet.h"
#include "agent/render/top/screen.h"
#include "agent/render/top/state.h"

namespace top {

// A flow of the view, by index.
struct Place {
  std::size_t broker = 0;
  std::size_t flow = 0;
};

// All flows that are selected and pass the filter, unfolded ones with their nodes, for a table of
// so many columns; nothing: as many as it needs. Sorted by a figure it has the nodes alone, and the
// flows that are folded. State and content must live as long.
class List {
 public:
  List(const State& state, const Content& content, std::optional<std::size_t> width);

  const std::vector<Row>& rows() const { return rows_; }

  // So many of the rows, from `first` on; those that there are. Names and bars get the room that
  // all rows need, so that the table stays as it is when others are shown.
  render::Sheet sheet(std::size_t first, std::size_t count) const;

 private:
  using Cells = std::vector<render::Cell>;

  struct Entry {
    Place place;
    std::optional<std::size_t> node;  // nothing: a row of its flow
    bool folded = false;
  };

  void addFlow(Place place);
  void add(Row row, Entry entry);
  void sort();
  void makeRoom();
  std::vector<std::size_t> nodesOf(const model::FlowView& flow, bool flowPasses) const;
  std::string name(const Entry& entry) const;
  Cells cellsOf(const Entry& entry) const;
  Cells flowCells(const Entry& entry) const;
  Cells nodeCells(Place place, std::size_t node) const;
  render::Cell bar(const model::FlowView& flow, std::size_t node, render::Tone tone) const;

  const State& state_;
  const Content& content_;
  std::vector<render::Column> columns_;
  std::vector<std::optional<std::size_t>> sources_;  // of the columns in a row of rates
  std::size_t barColumns_;
  bool isFirst_;  // there was one look, so nothing was measured
  std::vector<Row> rows_;
  std::vector<Entry> entries_;  // as many
};

// The two must be of that view.
const model::FlowView& viewOf(const Content& content, Place place);
const model::SeenBroker& brokerOf(const Content& content, Place place);

// The flow that a row belongs to; nothing when it is gone.
std::optional<Place> flowOf(const Content& content, const std::string& key);

// "Payment (orders)", with the broker when there are several; each of the two parts is shortened.
std::string nameOf(const Content& content, Place place);

}  // namespace top

#endif  // ZEB_AGENT_RENDER_TOP_LIST_H
