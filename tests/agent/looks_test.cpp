// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/looks.h"

#include <gtest/gtest.h>

#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace looks_test {

using cli::Looks;

namespace {

// So many messages through A, B and C, whose times are these.
struct Sums {
  int messages = 0;
  int a = 0;
  int b = 0;
  int c = 0;
};

image::Bytes segmentWith(const Sums& sums) {
  image::Block block{.eyecatcher = "zebcstar", .contents = {}};
  block.add(image::broker(image::kBroker, u"1-2-3", u"BRK1", 0xEA5FFFFF));
  block.add(image::group(image::kGroup, image::kBroker, u"orders", 1234));
  block.add(image::flow(image::kFlow, image::kGroup, u"Fulfil"));
  std::uint32_t number = 20;
  const auto add = [&](const std::u16string& label, std::uint32_t type, int elapsed) {
    const image::Id node{5, 1000, number, number}, record{6, 1000, number, number};
    ++number;
    block.add(image::node(node, image::kFlow, label, type));
    block.add(image::statistics(
        record, node,
        {.count = std::to_string(sums.messages), .sumElapsed = std::to_string(elapsed)}));
  };
  add(u"A", 1, sums.a);
  add(u"B", 3, sums.b);
  add(u"C", 3, sums.c);
  return image::segment({block});
}

}  // namespace

// The first interval leaves no doubt that C is in B. The later ones do, and so does, at last, what
// was collected in all.
TEST(Looks, TheLastTenTellWhichNodeIsInWhich) {
  const cli::Request request;
  const model::FlowKnowledge known{.threads = 1};
  Sums sums;
  LiveSegment live("1-2-3", segmentWith(sums));
  Looks looks(request);
  looks.take();
  EXPECT_EQ(0, looks.view(known).interval.count()) << "one look";
  for (const Sums& more : std::vector<Sums>{
           {1000, 10000, 9000, 7000}, {7000, 70000, 42000, 21000}, {1000, 10000, 6000, 3000}}) {
    sums = {sums.messages + more.messages, sums.a + more.a, sums.b + more.b, sums.c + more.c};
    live.write(segmentWith(sums));
    looks.take();
  }
  const model::View view = looks.view(known);
  EXPECT_LT(0, view.interval.count());
  EXPECT_EQ(view.after->wall, looks.last()->wall);
  const model::Nesting& nesting = view.brokers.at(0).flows.at(0).nesting;
  EXPECT_EQ(model::NestingSource::inferred, nesting.source);
  EXPECT_EQ(1U, nesting.nodes.at(2).outer);
}

}  // namespace looks_test
