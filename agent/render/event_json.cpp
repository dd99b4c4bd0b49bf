// SPDX-License-Identifier: Apache-2.0
#include "agent/render/event_json.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <string_view>

#include "agent/render/json.h"
#include "agent/render/values.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

constexpr std::size_t kMostOrigins = 10000;

bool isPlain(const std::string& text) {
  return std::ranges::all_of(text,
                             [](char c) { return c >= ' ' && c < 0x7F && c != '"' && c != '\\'; });
}

void appendText(std::string& lines, const std::string& text) {
  if (isPlain(text)) {
    lines += '"';
    lines += text;
    lines += '"';
  } else {
    lines += Json(text::printable(text)).dump(-1, ' ', true);
  }
}

void appendHex(std::string& lines, std::span<const std::uint8_t> bytes) {
  constexpr char digits[] = "0123456789ABCDEF";
  const std::size_t end = lines.size();
  lines.resize(end + 2 * bytes.size());
  char* to = lines.data() + end;
  for (const std::uint8_t byte : bytes) {
    *to++ = digits[byte >> 4];
    *to++ = digits[byte & 0xF];
  }
}

void appendNumber(std::string& lines, std::int32_t number) {
  const fmt::format_int text(number);
  lines.append(text.data(), text.size());
}

// "." and at least three digits.
void appendMilliseconds(std::string& lines, std::uint32_t milliseconds) {
  const fmt::format_int digits(milliseconds);
  lines += '.';
  if (digits.size() < 3) lines.append(3 - digits.size(), '0');
  lines.append(digits.data(), digits.size());
}

// A document's member as it is in a line: without the braces around it.
std::string inside(Json document) {
  const std::string line = written(std::move(document), true);
  return line.substr(1, line.size() - 3);
}

}  // namespace

// The head of any event's document of this look.
void EventJson::begin(const model::SeenBroker& broker, std::int64_t collectedAt) {
  Json document = eventDocument(broker, reader::Event(), collectedAt);
  Json head = Json::object();
  for (const char* name : {"schema", "version", "collectedAt", "broker"})
    head[name] = std::move(document[name]);
  head_ = "{" + inside(std::move(head));
}

const std::string& EventJson::textOf(Second& second, std::int64_t seconds) {
  if (second.text.empty() || second.seconds != seconds) {
    second.seconds = seconds;
    second.text = isoTime(seconds);
    if (second.text.ends_with('Z')) second.text.pop_back();
  }
  return second.text;
}

const std::string& EventJson::originOf(const reader::Event& event) {
  if (origins_.size() > kMostOrigins) origins_.clear();
  Origin& origin = origins_[event.templateId];
  if (origin.json.empty() || origin.kept != event.origin) {
    Json document = Json::object();
    document["template"] = templateObject(event);
    origin = {event.origin, "," + inside(std::move(document)) + "}\n"};
  }
  return origin.json;
}

void EventJson::append(std::string& lines, const reader::Event& event) {
  const reader::Stamp created = event.recordId.created();
  lines += head_;
  lines += ",\"kind\":\"";
  lines += kindName(event.kind());
  lines += "\",\"time\":";
  if (event.time) {
    const std::string& time = textOf(time_, *event.time);
    lines += '"';
    lines += time;
    lines += time == kMissing ? "\"" : "Z\"";
  } else {
    lines += "null";
  }
  lines += ",\"recordId\":\"";
  lines += event.recordId.hex();
  lines += "\",\"created\":\"";
  lines += textOf(created_, created.seconds);
  appendMilliseconds(lines, created.milliseconds);
  lines += "Z\",\"threadId\":";
  appendNumber(lines, event.threadId);
  lines += ",\"messageId\":\"";
  appendHex(lines, event.messageId);
  lines += "\",\"correlationId\":\"";
  appendHex(lines, event.correlationId);
  lines += "\",\"putApplicationType\":";
  appendNumber(lines, event.putApplicationType);
  lines += ",\"putApplicationName\":";
  appendText(lines, event.putApplicationName);
  lines += ",\"putDate\":";
  appendText(lines, event.putDate);
  lines += ",\"putTime\":";
  appendText(lines, event.putTime);
  lines += originOf(event);
}

}  // namespace render
