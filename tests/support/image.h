// SPDX-License-Identifier: Apache-2.0
// Bytes of a segment, written here from the description of the format and from nothing that the
// library or the agent share: an independent witness of every offset.
#ifndef ZEB_TESTS_SUPPORT_IMAGE_H
#define ZEB_TESTS_SUPPORT_IMAGE_H

#include <cstdint>
#include <string>
#include <vector>

namespace image {

using Bytes = std::vector<std::uint8_t>;

struct Id {
  std::uint32_t type = 0;
  std::uint32_t seconds = 0;
  std::uint32_t milliseconds = 0;
  std::uint32_t random = 0;
};

void put32(Bytes& out, std::uint32_t value);
void putId(Bytes& out, const Id& id);
void putString(Bytes& out, const std::u16string& text);
void putDecimal(Bytes& out, const std::string& digits);
void set32(Bytes& bytes, std::size_t at, std::uint32_t value);

Bytes header(const Id& id, const Id& parent, std::uint32_t deleted = 0);
Bytes broker(const Id& id, const std::u16string& uuid, const std::u16string& label,
             std::uint32_t resetTime = 0);
Bytes group(const Id& id, const Id& parent, const std::u16string& label, std::uint32_t processId,
            const std::u16string& uuid = u"group-uuid");
Bytes flow(const Id& id, const Id& parent, const std::u16string& label);
Bytes node(const Id& id, const Id& parent, const std::u16string& label, std::uint32_t type,
           const std::u16string& subFlowName = u"", std::uint32_t deleted = 0);

// Times in milliseconds; collection times in seconds since 1901.
struct Numbers {
  std::string count = "3";
  std::string sumSize = "600";
  std::int32_t maxSize = 300;
  std::int32_t minSize = 100;
  std::string sumElapsed = "45";
  std::int32_t maxElapsed = 20;
  std::int32_t minElapsed = 10;
  std::string sumQueued = "9";
  std::int32_t maxQueued = 4;
  std::int32_t minQueued = 2;
  std::uint32_t first = 0xEA60'0000;
  std::uint32_t last = 0xEA60'0010;
};
Bytes statistics(const Id& id, const Id& parent, const Numbers& numbers = {});

Bytes eventTemplate(const Id& id, const std::u16string& group, const std::u16string& flow,
                    const std::u16string& node, std::uint32_t nodeType, const std::u16string& text);
Bytes event(const Id& id, const Id& parent, std::uint32_t time, std::int32_t thread = 7);

// A block of `size` bytes: its header, then the records. `next` is behind the records and `last`
// the same, unless told otherwise.
struct Block {
  std::string eyecatcher;
  std::uint32_t size = 4096;
  Bytes contents;
  std::int64_t next = -1;
  std::int64_t last = -1;
  std::uint32_t mark = 1;

  Block& add(const Bytes& record);
  Bytes bytes() const;
};

Bytes segment(const std::vector<Block>& blocks);

// One broker BRK1 with group "orders" (process 1234), flow "Fulfil" and node "Reserve" (input,
// statistics as Numbers has them), in a statistics area of 4096 bytes.
inline constexpr Id kBroker{2, 1000, 1, 11};
inline constexpr Id kGroup{3, 1000, 2, 12};
inline constexpr Id kFlow{4, 1000, 3, 13};
inline constexpr Id kNode{5, 1000, 4, 14};
inline constexpr Id kStatistics{6, 1000, 5, 15};
Block ordersBlock();

// The orders broker after `count` message events of Reserve, "seen", in a ring of `slots`. The
// first was posted at kOrdersTime + 1, each later one a second after that before it.
inline constexpr std::uint32_t kOrdersSlots = 28;
inline constexpr std::uint32_t kOrdersTime = 0xEA60'0000;
inline constexpr Id kOrdersTemplate{7, 500, 1, 1};
Bytes ordersAfter(std::uint32_t count, std::uint32_t slots = kOrdersSlots);

}  // namespace image

#endif  // ZEB_TESTS_SUPPORT_IMAGE_H
