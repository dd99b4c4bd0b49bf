// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/event_book.h"

#include <algorithm>

#include "agent/render/event_json.h"
#include "agent/render/json.h"

namespace serve {
namespace {

// Exact in the numbers of a browser until the year 2255.
constexpr std::int64_t kNumbersASecond = 1000000;

// What the text of an event needs of its broker: entries live longer than looks.
std::shared_ptr<const model::SeenBroker> identityOf(const model::SeenBroker& broker) {
  auto identity = std::make_shared<model::SeenBroker>();
  identity->segment.uuid = broker.segment.uuid;
  if (broker.tree) {
    identity->tree.emplace();
    identity->tree->label = broker.tree->label;
    identity->tree->uuid = broker.tree->uuid;
  }
  return identity;
}

bool isSame(const model::SeenBroker& one, const model::SeenBroker& other) {
  return one.segment.uuid == other.segment.uuid && one.label() == other.label() &&
         one.uuid() == other.uuid();
}

// Events as members of a list, in the order in which they are added.
class Members {
 public:
  void add(std::uint64_t number, std::int64_t seenAt,
           const std::shared_ptr<const model::SeenBroker>& broker, const reader::Event& event) {
    if (broker != broker_ || seenAt != seenAt_) json_.begin(*broker, seenAt);
    broker_ = broker;
    seenAt_ = seenAt;
    std::string line;
    json_.append(line, event);
    text_ += (text_.empty() ? "{\"sequence\":" : ",{\"sequence\":") + std::to_string(number) + ",";
    text_.append(line, 1, line.size() - 2);
  }

  const std::string& text() const { return text_; }

 private:
  render::EventJson json_;
  std::shared_ptr<const model::SeenBroker> broker_;
  std::int64_t seenAt_ = 0;
  std::string text_;
};

}  // namespace

EventBook::EventBook(std::int64_t begin, Limits limits)
    : limits_(limits),
      last_(static_cast<std::uint64_t>(std::max<std::int64_t>(begin, 0) * kNumbersASecond)) {}

void EventBook::add(const model::FollowLook& look) {
  const std::lock_guard held(guard_);
  seenAt_ = model::secondsOf(look.wall);
  for (const model::News& news : look.news) add(news);
}

void EventBook::add(const model::News& news) {
  for (const model::Gap& gap : news.gaps) {
    if (gap.node.empty()) missed_ += gap.missed.least;
  }
  auto broker = identityOf(*news.broker);
  if (!entries_.empty() && isSame(*entries_.back().broker, *broker)) {
    broker = entries_.back().broker;
  }
  // Those that would have to go at once aren't even taken.
  const std::size_t kept = std::min(news.events.size(), limits_.events);
  last_ += news.events.size() - kept;
  for (const reader::Event& event : std::span(news.events).last(kept)) {
    entries_.push_back({++last_, seenAt_, broker, event});
  }
  while (entries_.size() > limits_.events) entries_.pop_front();
}

std::string EventBook::page(std::uint64_t since) const {
  const std::lock_guard held(guard_);
  const auto begin = std::ranges::upper_bound(entries_, since, {}, &Entry::number);
  const auto rest = static_cast<std::size_t>(entries_.end() - begin);
  const auto end = begin + static_cast<std::ptrdiff_t>(std::min(rest, limits_.page));
  render::Json head = render::headOf("zebmon.events", 1, seenAt_);
  head["first"] = entries_.empty() ? last_ + 1 : entries_.front().number;
  head["last"] = begin == end ? last_ : (end - 1)->number;
  head["more"] = rest > limits_.page;
  head["missed"] = missed_;
  Members members;
  for (auto at = begin; at != end; ++at) {
    members.add(at->number, at->seenAt, at->broker, at->event);
  }
  std::string text = render::written(std::move(head), true);
  text.resize(text.size() - 2);  // the object goes on
  return text + ",\"events\":[" + members.text() + "]}\n";
}

}  // namespace serve
