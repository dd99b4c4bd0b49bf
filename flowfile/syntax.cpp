// SPDX-License-Identifier: Apache-2.0
#include "flowfile/syntax.h"

#include <algorithm>
#include <iterator>

namespace flowfile {
namespace {

struct Rule {
  const char* parser;  // part of what the parser says
  const char* text;
};

// The first that fits counts.
constexpr Rule kRules[] = {
    {"invalid utf-8", "bytes that are no text in UTF-8; expected a text file"},
    {"cannot redefine", "a name that was given before; expected each key and each table once"},
    {"table header: expected ']'", "the name of a table without its end; expected ']'"},
    {"expected '='", "a key without '='; expected KEY = VALUE"},
    {"expected value", "no value behind '='; expected KEY = VALUE"},
    {"key-value pair: encountered end-of-file", "no value behind '='; expected KEY = VALUE"},
    {"determine value type", "no value of a flow file; expected a text in quotes or a number"},
    {"expected digit", "a number with something else in it; expected quotes around a text"},
    {"leading zeroes", "a number that begins with 0; expected it without"},
    {"array: encountered end", "an array without its end; expected ']'"},
    {"inline table: expected", "a table in one line without its end; expected '}' in that line"},
    {"string: encountered end", "a text without its end; expected a closing quote"},
    {"control characters", "a text without its end in that line; expected a closing quote"},
    {"expected a comment", "something behind a value; expected each key in a line of its own"},
};

}  // namespace

std::string syntaxText(std::string_view parser) {
  const auto* const rule = std::ranges::find_if(kRules, [parser](const Rule& any) {
    return parser.find(any.parser) != std::string_view::npos;
  });
  return rule != std::end(kRules) ? rule->text : "syntax error: " + std::string(parser);
}

}  // namespace flowfile
