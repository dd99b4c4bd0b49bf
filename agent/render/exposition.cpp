// SPDX-License-Identifier: Apache-2.0
#include "agent/render/exposition.h"

#include <fmt/format.h>

#include "text/utf8.h"

namespace render {
namespace {

const char* typeName(Family::Type type, Exposition exposition) {
  switch (type) {
    case Family::Type::gauge:
      return "gauge";
    case Family::Type::counter:
      return "counter";
    case Family::Type::info:
      break;
  }
  return exposition == Exposition::openMetrics ? "info" : "gauge";
}

const char* ending(Family::Type type) {
  switch (type) {
    case Family::Type::counter:
      return "_total";
    case Family::Type::info:
      return "_info";
    case Family::Type::gauge:
      break;
  }
  return "";
}

void appendEscaped(std::string& text, std::string_view value) {
  while (!value.empty()) {
    const text::Step step = text::firstOf(value);
    const char byte = value.front();
    if (!step.valid) {
      text::append(text, text::kReplacement);
    } else if (byte == '\n') {
      text += "\\n";
    } else {
      if (byte == '"' || byte == '\\') text += '\\';
      text += value.substr(0, step.bytes);
    }
    value.remove_prefix(step.bytes);
  }
}

}  // namespace

std::string labelled(std::initializer_list<Label> labels) {
  std::string text;
  for (const auto& [name, value] : labels) {
    if (!text.empty()) text += ',';
    text += name;
    text += "=\"";
    appendEscaped(text, value);
    text += '"';
  }
  return text;
}

void ExpositionText::begin(const Family& family) {
  family_ = &family;
  headed_ = false;
  sampleName_ = std::string(family.name) + ending(family.type);
}

void ExpositionText::head() {
  const bool open = exposition_ == Exposition::openMetrics;
  const std::string_view name = open ? std::string_view(family_->name) : sampleName_;
  auto out = std::back_inserter(text_);
  fmt::format_to(out, "# HELP {} {}\n", name, family_->help);
  fmt::format_to(out, "# TYPE {} {}\n", name, typeName(family_->type, exposition_));
  if (open && *family_->unit != '\0') fmt::format_to(out, "# UNIT {} {}\n", name, family_->unit);
  headed_ = true;
}

// Most of the time of a large text is spent here.
void ExpositionText::sample(std::string_view labels, std::string_view value) {
  if (!headed_) head();
  text_ += sampleName_;
  if (!labels.empty()) {
    text_ += '{';
    text_ += labels;
    text_ += '}';
  }
  text_ += ' ';
  text_ += value;
  text_ += '\n';
}

void ExpositionText::add(std::string_view labels, std::int64_t value) {
  const fmt::format_int digits(value);
  sample(labels, {digits.data(), digits.size()});
}

void ExpositionText::add(std::string_view labels, double value) {
  sample(labels, fmt::format("{}", value));
}

void ExpositionText::addMilliseconds(std::string_view labels, std::int64_t value) {
  constexpr std::uint64_t kASecond = 1000;
  const std::uint64_t size =
      value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  fmt::basic_memory_buffer<char, 24> text;
  fmt::format_to(std::back_inserter(text), "{}{}.{:03}", value < 0 ? "-" : "", size / kASecond,
                 size % kASecond);
  sample(labels, {text.data(), text.size()});
}

std::string ExpositionText::end() {
  if (exposition_ == Exposition::openMetrics) text_ += "# EOF\n";
  return std::move(text_);
}

}  // namespace render
