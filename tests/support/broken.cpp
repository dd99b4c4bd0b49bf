// SPDX-License-Identifier: Apache-2.0
#include "tests/support/broken.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace broken {
namespace {

using image::Id;

// Offsets in a block header and in a record.
constexpr std::size_t kMark = 8;
constexpr std::size_t kSize = 12;
constexpr std::size_t kNext = 16;
constexpr std::size_t kLast = 20;
constexpr std::size_t kDeleted = 4;
constexpr std::size_t kId = 8;
constexpr std::size_t kParent = 24;
constexpr std::size_t kIdBytes = 16;
constexpr std::size_t kBody = 40;

constexpr std::size_t kChange = 6;  // bytes of one change that a fuzzer makes

constexpr std::uint32_t kNodeType = 5;
constexpr std::uint32_t kStatisticsType = 6;
constexpr std::uint32_t kTemplateType = 7;
constexpr std::uint32_t kEventType = 8;

struct Block {
  const char* name;
  std::uint32_t at;
  std::uint32_t size;
};
constexpr Block kBlocks[] = {{"segment", 0, kBytes},
                             {"statistics", kStatisticsAt, kArea},
                             {"templates", kTemplatesAt, kArea},
                             {"events", kEventsAt, kArea}};

std::uint32_t get32(const Bytes& bytes, std::size_t at) {
  std::uint32_t value;
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

// Records of the healthy segment by number: its ID says the number as well.
Id idOf(std::uint32_t type, std::uint32_t number) {
  return {type, 1000 + number, number, 7000 + number};
}

image::Block statisticsBlock() {
  const Id brk = idOf(2, 1), group = idOf(3, 2), flow = idOf(4, 3), first = idOf(5, 4),
           second = idOf(5, 6), orders = idOf(3, 8), fulfil = idOf(4, 9), reserve = idOf(5, 10);
  image::Block block{.eyecatcher = "zebcstar", .size = kArea, .contents = {}};
  block.add(image::broker(brk, u"UUID1", u"BRK1", 0xEA5F'FFFF))
      .add(image::group(group, brk, u"default", 1234, u""))
      .add(image::flow(flow, group, u"FLOW1"))
      .add(image::node(first, flow, u"NODE1", 1))
      .add(image::statistics(idOf(6, 5), first))
      .add(image::node(second, flow, u"NODE2", 3, u"sub"))
      .add(image::statistics(idOf(6, 7), second))
      .add(image::group(orders, brk, u"orders", 99, u""))
      .add(image::flow(fulfil, orders, u"Fulfil"))
      .add(image::node(reserve, fulfil, u"Reserve", 2));
  return block.add(image::statistics(idOf(6, 11), reserve));
}

image::Block templatesBlock() {
  image::Block block{.eyecatcher = "zebcetar", .size = kArea, .contents = {}};
  block.add(image::eventTemplate(idOf(7, 20), u"default", u"FLOW1", u"NODE1", 1, u"seen"));
  return block.add(image::eventTemplate(idOf(7, 21), u"default", u"FLOW1", u"NODE2", 3,
                                        u"Exception found in NODE2"));
}

image::Block eventsBlock() {
  image::Block block{.eyecatcher = "zebcedar", .size = kArea, .contents = {}};
  for (std::uint32_t n = 30; n < 35; ++n)
    block.add(image::event(idOf(8, n), idOf(7, 20 + n % 2), 0xEA60'0000 + n));
  return block;
}

// Behind the string at `at`.
std::size_t behindString(const Bytes& bytes, std::size_t at) {
  return at + 6 + 2UL * get32(bytes, at);
}

Place placeAt(const Bytes& bytes, std::size_t at) {
  const std::uint32_t type = get32(bytes, at + kId);
  if (type == kStatisticsType) return {at, 168, type, {}};
  if (type == kEventType) return {at, 144, type, {}};
  Place place{at, 0, type, {}};
  std::size_t end = at + kBody;
  const auto strings = [&](int count) {
    for (; count > 0; --count) {
      place.counts.push_back(end);
      end = behindString(bytes, end);
    }
  };
  strings(type == kTemplateType ? 3 : 2);
  if (type != 4) end += 4;
  if (type == kNodeType || type == kTemplateType) strings(1);
  place.size = end - at;
  return place;
}

std::vector<Place> findPlaces(const Bytes& bytes) {
  std::vector<Place> found;
  for (const std::uint32_t area : {kStatisticsAt, kTemplatesAt, kEventsAt}) {
    for (std::size_t at = area + 32; at < area + get32(bytes, area + kLast);
         at += found.back().size)
      found.push_back(placeAt(bytes, at));
  }
  return found;
}

std::string named(std::size_t record) {
  return "record " + std::to_string(record) + " of type " + std::to_string(places()[record].type);
}

std::size_t areaEnd(std::size_t at) {
  return at < kTemplatesAt ? kTemplatesAt : at < kEventsAt ? kEventsAt : kBytes;
}

// Collects broken copies of the healthy segment.
class Breaker {
 public:
  Bytes& add(const std::string& what, std::size_t at, std::size_t record = 0) {
    segments_.push_back({what, healthy(), at, record});
    return segments_.back().bytes;
  }
  void number(const std::string& what, std::size_t at, std::uint32_t value,
              std::size_t record = 0) {
    if (get32(healthy(), at) == value) return;
    image::set32(add(what + " is " + std::to_string(value), at, record), at, value);
  }
  void text(const std::string& what, std::size_t at, const std::string& value, std::size_t width,
            std::size_t record = 0) {
    Bytes& bytes = add(what + " is \"" + value.substr(0, value.find('\0')) + "\"", at, record);
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), width, std::uint8_t{0});
    std::copy_n(value.begin(), std::min(width, value.size()),
                bytes.begin() + static_cast<std::ptrdiff_t>(at));
  }
  void copy(const std::string& what, std::size_t from, std::size_t to, std::size_t count,
            std::size_t record) {
    Bytes& bytes = add(what, to, record);
    std::memmove(bytes.data() + to, bytes.data() + from, count);
  }
  Segments take() { return std::move(segments_); }

 private:
  Segments segments_;
};

void breakNumbersOf(Breaker& breaker, const Block& block) {
  const std::string name = block.name;
  for (const std::uint32_t mark : {0U, 2U, 0xFFFFFFFFU})
    breaker.number(name + ": mark", block.at + kMark, mark);
  for (const std::uint32_t size : {0U, 1U, 31U, 32U, 33U, 100U, kArea - 1, kArea, kArea + 1, kBytes,
                                   kBytes + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
    breaker.number(name + ": size", block.at + kSize, size);
  for (const std::size_t offset : {kNext, kLast}) {
    const std::string what = name + (offset == kNext ? ": next offset" : ": last offset");
    for (const std::uint32_t value :
         {0U, 1U, 31U, 32U, 33U, 70U, block.size - 1, block.size, block.size + 1, 4 * block.size,
          0x7FFFFFFFU, 0x80000000U, 0x80000020U, 0xFFFFFFFFU})
      breaker.number(what, block.at + offset, value);
  }
}

std::u16string labelOf(std::uint32_t n) {
  return {static_cast<char16_t>(u'A' + n / 100), static_cast<char16_t>(u'0' + n % 100)};
}

template <class Number, class Label>
Bytes entangled(std::uint32_t each, std::uint32_t area, Number numberOf, Label label) {
  const Id brk = idOf(2, 0), group = idOf(3, 0), flow = idOf(4, 0);
  image::Block block{.eyecatcher = "zebcstar", .size = area, .contents = {}};
  block.add(image::broker(brk, u"UUID1", u"BRK1"));
  for (std::uint32_t n = 0; n < each; ++n)
    block.add(image::group(idOf(3, numberOf(n)), brk, label(n), 1, u""));
  for (std::uint32_t n = 0; n < each; ++n)
    block.add(image::flow(idOf(4, numberOf(n)), group, label(n)));
  for (std::uint32_t n = 0; n < each; ++n) block.add(image::node(idOf(5, n), flow, label(n), 1));
  return image::segment({block,
                         {.eyecatcher = "zebcetar", .size = area, .contents = {}},
                         {.eyecatcher = "zebcedar", .size = area, .contents = {}}});
}

}  // namespace

const Bytes& healthy() {
  static const Bytes bytes = image::segment({statisticsBlock(), templatesBlock(), eventsBlock()});
  return bytes;
}

const std::vector<Place>& places() {
  static const std::vector<Place> found = findPlaces(healthy());
  return found;
}

Segments headers() {
  Breaker breaker;
  for (const Block& block : kBlocks) {
    for (const char* eyecatcher : {"", "AAAAAAAA", "zebcsha", "ZEBCSHME"})
      breaker.text(std::string(block.name) + ": eyecatcher", block.at, eyecatcher, 8);
    breakNumbersOf(breaker, block);
  }
  return breaker.take();
}

Segments chains() {
  Breaker breaker;
  for (const Block& block : {kBlocks[1], kBlocks[2], kBlocks[3]}) {
    const std::string name = block.name;
    // Added to an offset of 32 bits, these lead back: to the block itself and in front of it.
    for (const std::uint32_t back : {block.at, block.at - 32, 32U, block.at + kArea})
      breaker.number(name + ": size", block.at + kSize, 0U - back);
    // The next header would be among the records, or behind the area that follows.
    for (const std::uint32_t other : {64U, kArea / 2, kArea + 32, 2 * kArea})
      breaker.number(name + ": size", block.at + kSize, other);
    for (const char* eyecatcher : {"zebcshme", "zebcstar", "zebcetar", "zebcedar"})
      breaker.text(name + ": eyecatcher", block.at, eyecatcher, 8);
  }
  Bytes& inside = breaker.add("a block header is among the records of statistics", 44);
  image::set32(inside, kStatisticsAt + kSize, 64);
  std::memcpy(inside.data() + kStatisticsAt + 64, healthy().data() + kEventsAt, 32);
  Bytes& tiny = breaker.add("statistics: a chain of blocks of 32 bytes", kStatisticsAt);
  for (std::uint32_t at = kStatisticsAt; at < kTemplatesAt; at += 32) {
    std::memcpy(tiny.data() + at, "whatever", 8);
    image::set32(tiny, at + kSize, 32);
  }
  return breaker.take();
}

Segments records() {
  Breaker breaker;
  for (std::size_t n = 0; n < places().size(); ++n) {
    const std::size_t at = places()[n].at;
    for (const char* eyecatcher : {"", "RCR", "rcrd", "RCRE"})
      breaker.text(named(n) + ": eyecatcher", at, eyecatcher, 4, n);
    for (const std::uint32_t type : {0U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 10U, 0x80000000U, 0xFFFFFFFFU})
      breaker.number(named(n) + ": type", at + kId, type, n);
    for (const std::uint32_t deleted : {2U, 0xFFFFFFFFU})
      breaker.number(named(n) + ": deleted flag", at + kDeleted, deleted, n);
  }
  return breaker.take();
}

Segments strings() {
  Breaker breaker;
  for (std::size_t n = 0; n < places().size(); ++n) {
    for (const std::size_t at : places()[n].counts) {
      const std::uint32_t present = get32(healthy(), at);
      const auto toEnd = static_cast<std::uint32_t>((areaEnd(at) - at - 6) / 2);
      for (const std::uint32_t count :
           {0U, present - 1, present + 1, present + 20, toEnd - 1, toEnd, toEnd + 1, toEnd + 2048,
            0x3FFFFFFFU, 0x7FFFFFFDU, 0x7FFFFFFFU, 0x80000000U, 0x80000001U, 0xFFFFFFFDU,
            0xFFFFFFFFU})
        breaker.number(named(n) + ": count at " + std::to_string(at), at, count, n);
    }
  }
  return breaker.take();
}

Segments parents() {
  Breaker breaker;
  for (std::size_t n = 0; n < places().size(); ++n) {
    const std::size_t at = places()[n].at;
    std::fill_n(breaker.add(named(n) + " names no parent", at + kParent, n).begin() +
                    static_cast<std::ptrdiff_t>(at + kParent),
                kIdBytes, std::uint8_t{0});
    breaker.number(named(n) + ": the parent's random number", at + kParent + 12, 0xDEADBEEF, n);
    for (std::size_t other = 0; other < places().size(); ++other) {
      const std::size_t id = places()[other].at + kId;
      if (std::memcmp(healthy().data() + at + kParent, healthy().data() + id, kIdBytes) == 0)
        continue;
      breaker.copy(named(n) + " names as its parent " + named(other), id, at + kParent, kIdBytes,
                   n);
      if (other != n)
        breaker.copy(named(n) + " has the ID of " + named(other), id, at + kId, kIdBytes, n);
    }
  }
  return breaker.take();
}

Segments decimals() {
  Breaker breaker;
  for (std::size_t n = 0; n < places().size(); ++n) {
    if (places()[n].type != kStatisticsType) continue;
    for (const std::size_t field : {40U, 64U, 96U, 128U}) {
      for (const std::string& text :
           {std::string("-"), std::string("+"), std::string("-1"), std::string("+-3"),
            std::string(" 12"), std::string("12 "), std::string("x"), std::string("0x10"),
            std::string("9223372036854775808"), std::string("18446744073709551616"),
            std::string(24, '1'), std::string(24, '9'), std::string(24, ' '),
            std::string(24, '\xFF'), std::string(23, '0') + "x"})
        breaker.text(named(n) + ": decimal text at " + std::to_string(field),
                     places()[n].at + field, text, 24, n);
    }
  }
  return breaker.take();
}

Segments cuts() {
  Breaker breaker;
  for (std::size_t n = 0; n < places().size(); ++n) {
    const Place& place = places()[n];
    const std::size_t area = areaEnd(place.at) - kArea;
    for (const std::size_t left : {std::size_t{1}, std::size_t{3}, std::size_t{4}, std::size_t{39},
                                   kBody, kBody + 2, place.size - 1}) {
      const std::string part = std::to_string(left) + " bytes of " + named(n);
      Bytes& ended = breaker.add("the area ends behind " + part, area + kNext, n);
      for (const std::size_t offset : {kNext, kLast})
        image::set32(ended, area + offset, static_cast<std::uint32_t>(place.at - area + left));
      Bytes& unwritten = breaker.add("zeros behind " + part, place.at + left, n);
      std::fill(unwritten.begin() + static_cast<std::ptrdiff_t>(place.at + left),
                unwritten.begin() + static_cast<std::ptrdiff_t>(place.at + place.size), 0);
    }
  }
  return breaker.take();
}

Segments all() {
  Segments every;
  for (Segments (*family)() : {headers, chains, records, strings, parents, decimals, cuts}) {
    for (Segment& segment : family()) every.push_back(std::move(segment));
  }
  return every;
}

Segments mixed(std::uint32_t seed, std::size_t many) {
  const Segments every = all();
  std::mt19937 random(seed);
  Segments segments;
  while (segments.size() < many) {
    Segment segment{"seed " + std::to_string(seed), healthy(), 0, 0};
    for (std::uint32_t wrong = 1 + random() % 4; wrong > 0; --wrong) {
      const Segment& one = every[random() % every.size()];
      segment.what += "; " + one.what;
      for (std::size_t at = 0; at < kBytes; ++at)
        if (one.bytes[at] != healthy()[at]) segment.bytes[at] = one.bytes[at];
    }
    segments.push_back(std::move(segment));
  }
  return segments;
}

Bytes sharedIds(std::uint32_t each, std::uint32_t area) {
  return entangled(
      each, area, [](std::uint32_t) { return 0U; }, labelOf);
}

Bytes sharedLabels(std::uint32_t each, std::uint32_t area) {
  return entangled(
      each, area, [](std::uint32_t n) { return n; }, [](std::uint32_t) { return labelOf(0); });
}

Bytes patched(const std::uint8_t* changes, std::size_t length) {
  Bytes bytes = healthy();
  for (; length >= kChange; changes += kChange, length -= kChange) {
    std::uint16_t at;
    std::memcpy(&at, changes, sizeof at);
    std::memcpy(bytes.data() + at % (kBytes - 3), changes + sizeof at, 4);
  }
  return bytes;
}

Bytes changesOf(const Bytes& segment) {
  Bytes changes;
  for (std::size_t at = 0; at < kBytes; ++at) {
    if (segment[at] == healthy()[at]) continue;
    const auto from = static_cast<std::uint16_t>(std::min<std::size_t>(at, kBytes - 4));
    const auto* const offset = reinterpret_cast<const std::uint8_t*>(&from);
    changes.insert(changes.end(), offset, offset + sizeof from);
    changes.insert(changes.end(), segment.begin() + from, segment.begin() + from + 4);
    at = from + 3U;
  }
  return changes;
}

}  // namespace broken
