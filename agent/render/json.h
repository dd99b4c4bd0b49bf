// SPDX-License-Identifier: Apache-2.0
// JSON for scripts. Every document carries "schema" and "version"; a version only ever gains keys.
#ifndef ZEB_AGENT_RENDER_JSON_H
#define ZEB_AGENT_RENDER_JSON_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "agent/model/gaps.h"
#include "agent/model/snapshot.h"
#include "agent/render/sheet.h"

namespace render {

// Keys keep the order in which they were written.
using Json = nlohmann::ordered_json;

// What can't be read, or isn't known, is null. Texts are as they were stored; written() makes them
// fit for the outside.
Json brokersDocument(const model::Snapshot& snapshot);
Json statisticsDocument(const model::Snapshot& snapshot);
Json eventDocument(const model::SeenBroker& broker, const reader::Event& event,
                   const model::Snapshot& snapshot);

// The same of a look at `collectedAt`, in seconds since 1970.
Json eventDocument(const model::SeenBroker& broker, const reader::Event& event,
                   std::int64_t collectedAt);

// What an event's document says of its template; null when that is gone.
Json templateObject(const reader::Event& event);

// Schema "zebmon.event.gap".
Json gapDocument(const model::SeenBroker& broker, const model::Gap& gap, std::int64_t collectedAt);

// Who a broker is: "label" and "uuid". null for none.
Json brokerObject(const model::SeenBroker* broker);

// What every document begins with: "schema", "version" and "collectedAt"; "cut" where a broker has
// more bytes than were to be looked at.
Json headOf(const char* schema, int version, const model::Snapshot& snapshot);
Json headOf(const char* schema, int version, std::int64_t collectedAt);

// null where there is no value.
template <class Value>
Json orNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

// null for an empty text, and for a time that is not set.
Json textOrNull(const std::string& text);
Json timeOrNull(const reader::Time& time);

// A document a row on a line each, with a key a column behind those that every document has.
std::string rowLines(const char* schema, const model::Snapshot& snapshot, const Sheet& sheet);

// ASCII with a newline at its end: every text in it printable, and what is left above ASCII as
// "\u00f6". Indented unless it is to be one line.
std::string written(Json document, bool oneLine = false);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_JSON_H
