// SPDX-License-Identifier: Apache-2.0
// Exceptions, once a message.
#include "agent/model/exceptions.h"

#include <gtest/gtest.h>

#include "tests/agent/grown.h"

namespace exceptions_test {

namespace {

using reader::Event;

Event event(const std::string& node, std::uint8_t message,
            const std::string& text = "Exception found in X(1). It failed",
            std::int32_t thread = 7) {
  Event event;
  event.origin = std::make_shared<reader::EventTemplate>(
      reader::EventTemplate{"orders", "Fulfil", node, 3, text});
  event.messageId[0] = message;
  event.threadId = thread;
  return event;
}

Event ofFlow(Event event, const std::string& flow) {
  auto origin = *event.origin;
  origin.messageFlow = flow;
  event.origin = std::make_shared<reader::EventTemplate>(origin);
  return event;
}

// "A<C,B" says that the outermost node A follows the echoes of C and B.
std::vector<std::string> found(const std::vector<Event>& events) {
  std::vector<std::string> words;
  for (const model::Exception& exception : model::exceptionsOf(events)) {
    std::string& word = words.emplace_back(events[exception.event].origin->node);
    for (const std::size_t echo : exception.echoes) {
      word += (word.size() == 1 ? "<" : ",") + events[echo].origin->node;
    }
  }
  return words;
}

using Words = std::vector<std::string>;

}  // namespace

TEST(Exceptions, CountOnceAMessageAtTheOutermostNode) {
  EXPECT_EQ((Words{"A<C,B"}), found({event("C", 1), event("B", 1), event("A", 1)}));
  EXPECT_EQ((Words{"B", "A<C"}), found({event("C", 1), event("B", 2), event("A", 1)}));
}

TEST(Exceptions, OfOtherThreadsAndFlowsAreOthers) {
  EXPECT_EQ((Words{"A", "B"}), found({event("A", 1), event("B", 1, "Exception found in X", 8)}));
  EXPECT_EQ((Words{"A", "B"}), found({event("A", 1), ofFlow(event("B", 1), "Other")}));
}

TEST(Exceptions, ANodesSecondIsTheNextFailure) {
  EXPECT_EQ((Words{"A<B", "A<B"}),
            found({event("B", 1), event("A", 1), event("B", 1), event("A", 1)}));
}

TEST(Exceptions, AreOnlyEventsOfThatKind) {
  Event lost = event("A", 1);
  lost.origin.reset();
  EXPECT_EQ((Words{"B"}), found({event("A", 1, "Order accepted"), event("B", 1), lost}));
  EXPECT_TRUE(found({}).empty());
}

TEST(Exceptions, FailedBehindANodeAreThoseThatNoInnerNodeHad) {
  const GrownFlow flow({{.label = "A"}, {.label = "B"}, {.label = "C"}});
  const auto nesting =
      model::nest(flow.growth(), model::parseChain("A(B,C)").chain, model::NestingSource::given);
  const std::vector<Event> events{event("A", 1),  // between A and the others
                                  event("B", 2),
                                  event("A", 2),  // behind B
                                  event("C", 3),
                                  event("A", 3),  // behind C
                                  ofFlow(event("A", 4), "Other")};
  EXPECT_EQ((std::vector<std::uint64_t>{1, 0, 0}),
            model::failedBehind(flow.growth(), nesting, events));
}

TEST(Exceptions, AReasonIsTheTextWithoutItsFirstWords) {
  const auto reason = [](const std::string& text) {
    return std::string(model::reasonOf({"orders", "Fulfil", "A", 1, text}));
  };
  EXPECT_EQ("Bank(4711). Refused", reason("Exception found in Bank(4711). Refused"));
  EXPECT_EQ("Order accepted", reason("Order accepted"));
  EXPECT_EQ("", reason("Exception found in "));
  EXPECT_EQ("", reason(""));
}

}  // namespace exceptions_test
