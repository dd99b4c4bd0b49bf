// SPDX-License-Identifier: Apache-2.0
#include "agent/model/chain.h"

#include <algorithm>
#include <unordered_set>

namespace model {
namespace {

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  ChainText parse() {
    takeLabel();
    while (result_.problem.empty() && at_ < text_.size()) takeSign();
    if (result_.problem.empty() && !open_.empty()) {
      fail(at_, std::to_string(open_.size()) +
                    (open_.size() == 1 ? " \")\" is missing" : " \")\" are missing"));
    }
    if (!result_.problem.empty()) result_.chain.clear();
    return std::move(result_);
  }

 private:
  void takeLabel();
  void takeSign();
  void close();
  void add(std::size_t begin, std::string label);

  void fail(std::size_t at, const std::string& what) {
    const auto characters = std::count_if(text_.begin(), text_.begin() + static_cast<long>(at),
                                          [](char c) { return (c & 0xC0) != 0x80; });
    result_.problem = "column " + std::to_string(characters + 1) + ": " + what;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::vector<std::size_t> open_;  // the nodes whose "(" is not closed yet
  std::unordered_set<std::string> labels_;
  ChainText result_;
};

// What ends it, if anything, is left for takeSign().
void Parser::takeLabel() {
  constexpr std::string_view signs = "(),";
  while (at_ < text_.size() && text_[at_] == ' ') ++at_;
  const std::size_t begin = at_;
  std::string label;
  std::size_t kept = 0;  // without the blanks at the end
  for (; at_ < text_.size() && signs.find(text_[at_]) == signs.npos; ++at_) {
    const bool escaped = text_[at_] == '\\' && at_ + 1 < text_.size();
    if (escaped) ++at_;
    label += text_[at_];
    if (escaped || text_[at_] != ' ') kept = label.size();
  }
  label.resize(kept);
  add(begin, std::move(label));
}

void Parser::add(std::size_t begin, std::string label) {
  if (label.empty()) return fail(begin, "a node's label is missing");
  if (!labels_.insert(label).second) return fail(begin, "\"" + label + "\" is there twice");
  if (result_.chain.size() == kMostChainNodes) {
    return fail(begin, "more than " + std::to_string(kMostChainNodes) + " nodes");
  }
  result_.chain.push_back({std::move(label), {}});
  if (!open_.empty()) result_.chain.back().outer = open_.back();
}

void Parser::close() {
  if (open_.empty()) return fail(at_, "\")\" without a \"(\"");
  open_.pop_back();
  for (++at_; at_ < text_.size() && text_[at_] == ' ';) ++at_;
  if (at_ < text_.size() && text_[at_] != ',' && text_[at_] != ')') {
    fail(at_, "a \",\" or \")\" is missing");
  }
}

void Parser::takeSign() {
  switch (text_[at_]) {
    case '(':
      if (open_.size() == kMostChainLevels) {
        return fail(at_, "more than " + std::to_string(kMostChainLevels) + " levels");
      }
      open_.push_back(result_.chain.size() - 1);
      break;
    case ')':
      return close();
    default:
      break;
  }
  ++at_;
  takeLabel();
}

// With what parseChain takes for a sign, or leaves out, kept as a part of it.
std::string escaped(const std::string& label) {
  std::string text;
  for (std::size_t i = 0; i < label.size(); ++i) {
    const bool edge = i == 0 || i + 1 == label.size();
    if (std::string_view("(),\\").find(label[i]) != std::string_view::npos ||
        (edge && label[i] == ' ')) {
      text += '\\';
    }
    text += label[i];
  }
  return text;
}

}  // namespace

std::string chainTextOf(std::span<const std::string> labels) {
  std::string text;
  for (const std::string& label : labels) text += (text.empty() ? "" : "(") + escaped(label);
  return text + std::string(labels.empty() ? 0 : labels.size() - 1, ')');
}

ChainText parseChain(std::string_view text) {
  return Parser(text).parse();
}

}  // namespace model
