// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/event_book.h"

#include <algorithm>

#include "agent/model/condition.h"
#include "agent/render/json.h"

namespace serve {
namespace {

// Exact in the numbers of a browser until the year 2255.
constexpr std::int64_t kNumbersASecond = 1000000;

// On one line, without its end.
std::string lineOf(render::Json document) {
  std::string line = render::written(std::move(document), true);
  line.pop_back();
  return line;
}

}  // namespace

EventBook::EventBook(std::int64_t begin, Limits limits)
    : limits_(limits),
      last_(static_cast<std::uint64_t>(std::max<std::int64_t>(begin, 0) * kNumbersASecond)),
      head_(std::make_shared<const model::Snapshot>()) {}

void EventBook::forget() {
  while (entries_.size() > limits_.events || bytes_ > limits_.bytes) {
    bytes_ -= entries_.front().text.size();
    entries_.pop_front();
  }
}

void EventBook::add(const model::Snapshot& snapshot) {
  auto head = std::make_shared<model::Snapshot>();
  head->wall = snapshot.wall;
  const model::Snapshot once = model::distinct(snapshot);
  const std::lock_guard held(guard_);
  head_ = std::move(head);
  for (const auto& broker : once.brokers) {
    if (!broker->events) continue;
    missed_ += broker->events->missed;
    for (const reader::Event& event : broker->events->events) {
      render::Json document{{"sequence", ++last_}};
      document.update(render::eventDocument(*broker, event, snapshot));
      entries_.push_back({last_, lineOf(std::move(document))});
      bytes_ += entries_.back().text.size();
      forget();
    }
  }
}

std::string EventBook::page(std::uint64_t since) const {
  const std::lock_guard held(guard_);
  const auto begin = std::ranges::upper_bound(entries_, since, {}, &Entry::number);
  const auto rest = static_cast<std::size_t>(entries_.end() - begin);
  const auto end = begin + static_cast<std::ptrdiff_t>(std::min(rest, limits_.page));
  render::Json head = render::headOf("zebmon.events", 1, *head_);
  head["first"] = entries_.empty() ? last_ + 1 : entries_.front().number;
  head["last"] = begin == end ? last_ : (end - 1)->number;
  head["more"] = rest > limits_.page;
  head["missed"] = missed_;
  std::string text = lineOf(std::move(head));
  text.pop_back();  // the object goes on
  text += ",\"events\":[";
  for (auto at = begin; at != end; ++at) text += (at == begin ? "" : ",") + at->text;
  return text + "]}\n";
}

}  // namespace serve
