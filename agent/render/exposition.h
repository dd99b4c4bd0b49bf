// SPDX-License-Identifier: Apache-2.0
// The two texts in which metrics are written.
#ifndef ZEB_AGENT_RENDER_EXPOSITION_H
#define ZEB_AGENT_RENDER_EXPOSITION_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "agent/render/metrics.h"

namespace render {

// A metric family. `name` is without the ending of counters, "_total", and of facts, "_info".
struct Family {
  enum class Type { gauge, counter, info };

  const char* name;
  Type type;
  const char* unit;  // "seconds" or "bytes", with which `name` ends; empty for none
  const char* help;  // a sentence, without "\" and line ends
};

using Label = std::pair<std::string_view, std::string_view>;

// `broker="SHOP",node="Order in"`: values escaped, and well-formed UTF-8 whatever they held.
std::string labelled(std::initializer_list<Label> labels);

// A text under construction. All samples of a family are written directly behind it.
class ExpositionText {
 public:
  explicit ExpositionText(Exposition exposition) : exposition_(exposition) {}

  // The samples that follow are of that family; what has none leaves no trace. `family` must live
  // until the next one.
  void begin(const Family& family);

  // `labels` are as labelled() made them; empty for none.
  void add(std::string_view labels, std::int64_t value);
  void add(std::string_view labels, double value);

  // A number of milliseconds in seconds, exactly: 12345 is "12.345".
  void addMilliseconds(std::string_view labels, std::int64_t value);

  // The text with its end. Nothing may be added behind it.
  std::string end();

 private:
  void head();
  void sample(std::string_view labels, std::string_view value);

  Exposition exposition_;
  const Family* family_ = nullptr;
  bool headed_ = false;  // the family has a sample already
  std::string sampleName_;
  std::string text_;
};

}  // namespace render

#endif  // ZEB_AGENT_RENDER_EXPOSITION_H
