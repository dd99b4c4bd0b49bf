// SPDX-License-Identifier: Apache-2.0
#include "tests/support/image.h"

#include <algorithm>

namespace image {
namespace {

void append(Bytes& out, const Bytes& more) {
  out.insert(out.end(), more.begin(), more.end());
}

void putCharacters(Bytes& out, const std::string& text, std::size_t width) {
  for (std::size_t i = 0; i < width; ++i) {
    out.push_back(i < text.size() ? static_cast<std::uint8_t>(text[i]) : std::uint8_t{0});
  }
}

Bytes resource(const Id& id, const Id& parent, const std::u16string& uuid,
               const std::u16string& label, std::uint32_t deleted = 0) {
  Bytes out = header(id, parent, deleted);
  putString(out, uuid);
  putString(out, label);
  return out;
}

}  // namespace

void put32(Bytes& out, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) {
    out.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

void set32(Bytes& bytes, std::size_t at, std::uint32_t value) {
  Bytes encoded;
  put32(encoded, value);
  std::copy(encoded.begin(), encoded.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

void putId(Bytes& out, const Id& id) {
  put32(out, id.type);
  put32(out, id.seconds);
  put32(out, id.milliseconds);
  put32(out, id.random);
}

void putString(Bytes& out, const std::u16string& text) {
  put32(out, static_cast<std::uint32_t>(text.size()));
  for (const char16_t unit : text + u'\0') {
    out.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    out.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
}

void putDecimal(Bytes& out, const std::string& digits) {
  putCharacters(out, digits == "0" ? "" : digits, 24);
}

Bytes header(const Id& id, const Id& parent, std::uint32_t deleted) {
  Bytes out;
  putCharacters(out, "RCRD", 4);
  put32(out, deleted);
  putId(out, id);
  putId(out, parent);
  return out;
}

Bytes broker(const Id& id, const std::u16string& uuid, const std::u16string& label,
             std::uint32_t resetTime) {
  Bytes out = resource(id, {}, uuid, label);
  put32(out, resetTime);
  return out;
}

Bytes group(const Id& id, const Id& parent, const std::u16string& label, std::uint32_t processId,
            const std::u16string& uuid) {
  Bytes out = resource(id, parent, uuid, label);
  put32(out, processId);
  return out;
}

Bytes flow(const Id& id, const Id& parent, const std::u16string& label) {
  return resource(id, parent, u"", label);
}

Bytes node(const Id& id, const Id& parent, const std::u16string& label, std::uint32_t type,
           const std::u16string& subFlowName, std::uint32_t deleted) {
  Bytes out = resource(id, parent, u"", label, deleted);
  put32(out, type);
  putString(out, subFlowName);
  return out;
}

Bytes statistics(const Id& id, const Id& parent, const Numbers& n) {
  Bytes out = header(id, parent);
  const auto extremes = [&out](std::int32_t most, std::int32_t least) {
    put32(out, static_cast<std::uint32_t>(most));
    put32(out, static_cast<std::uint32_t>(least));
  };
  putDecimal(out, n.count);
  putDecimal(out, n.sumSize);
  extremes(n.maxSize, n.minSize);
  putDecimal(out, n.sumElapsed);
  extremes(n.maxElapsed, n.minElapsed);
  putDecimal(out, n.sumQueued);
  extremes(n.maxQueued, n.minQueued);
  put32(out, n.first);
  put32(out, n.last);
  return out;
}

Bytes eventTemplate(const Id& id, const std::u16string& group, const std::u16string& flow,
                    const std::u16string& node, std::uint32_t nodeType,
                    const std::u16string& text) {
  Bytes out = header(id, {});
  putString(out, group);
  putString(out, flow);
  putString(out, node);
  put32(out, nodeType);
  putString(out, text);
  return out;
}

Bytes event(const Id& id, const Id& parent, std::uint32_t time, std::int32_t thread) {
  Bytes out = header(id, parent);
  put32(out, time);
  put32(out, static_cast<std::uint32_t>(thread));
  for (std::uint8_t i = 0; i < 24; ++i) out.push_back(static_cast<std::uint8_t>(0xA0 + i));
  putCharacters(out, "", 24);
  put32(out, 6);
  putCharacters(out, "order-entry                 ", 28);
  putCharacters(out, "20261121", 8);
  putCharacters(out, "04093112", 8);
  return out;
}

Block& Block::add(const Bytes& record) {
  append(contents, record);
  return *this;
}

Bytes Block::bytes() const {
  const auto end = static_cast<std::int64_t>(32 + contents.size());
  const std::int64_t nextOffset = next < 0 ? end : next;
  const std::int64_t lastOffset = last < 0 ? std::max(end, nextOffset) : last;
  Bytes out;
  putCharacters(out, eyecatcher, 8);
  put32(out, mark);
  put32(out, size);
  put32(out, static_cast<std::uint32_t>(nextOffset));
  put32(out, static_cast<std::uint32_t>(lastOffset));
  put32(out, 1'700'000'000);
  put32(out, 123);
  append(out, contents);
  out.resize(std::max<std::size_t>(size, 32));
  return out;
}

Bytes segment(const std::vector<Block>& blocks) {
  Bytes all;
  for (const Block& block : blocks) append(all, block.bytes());
  Block whole{.eyecatcher = "zebcshme",
              .size = static_cast<std::uint32_t>(32 + all.size()),
              .contents = all};
  return whole.bytes();
}

Block ordersBlock() {
  Block block{.eyecatcher = "zebcstar", .contents = {}};
  block.add(broker(kBroker, u"1-2-3", u"BRK1", 0xEA5F'FFFF));
  block.add(group(kGroup, kBroker, u"orders", 1234));
  block.add(flow(kFlow, kGroup, u"Fulfil"));
  block.add(node(kNode, kFlow, u"Reserve", 1, u"sub"));
  return block.add(statistics(kStatistics, kNode));
}

Bytes ordersAfter(std::uint32_t count, std::uint32_t slots) {
  Block templates{.eyecatcher = "zebcetar", .contents = {}};
  templates.add(eventTemplate(kOrdersTemplate, u"orders", u"Fulfil", u"Reserve", 1, u"seen"));
  Block data{.eyecatcher = "zebcedar", .contents = {}};
  data.size = std::max(data.size, 32 + 144 * slots);
  data.contents.resize(144 * std::min(count, slots));
  for (std::uint32_t n = 0; n < count; ++n) {
    const Bytes record = event({8, 1000, n + 1, n + 1}, kOrdersTemplate, kOrdersTime + n + 1);
    std::copy(record.begin(), record.end(), data.contents.begin() + 144 * (n % slots));
  }
  const bool atEnd = count > 0 && count % slots == 0;
  data.next = 32 + 144 * (atEnd ? slots : count % slots);
  return segment({ordersBlock(), templates, data});
}

}  // namespace image
