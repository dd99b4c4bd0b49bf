// SPDX-License-Identifier: Apache-2.0
// Any bytes as the words that a shell gives for completion, a line each. What is offered stays one
// line each, and printable.
#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "completion/answer.h"
#include "tests/fuzz/private_world.h"
#include "text/printable.h"

namespace {

using Words = std::vector<std::string>;

// A command with options and arguments of each kind.
const CLI::App& app() {
  static const auto made = [] {
    auto program = std::make_unique<CLI::App>("", "program");
    CLI::App& look = *program->add_subcommand("look", "Looks");
    static std::string text;
    static Words words;
    CLI::Option* const file = look.add_option("--from", text, "File")->type_name("FILE");
    look.add_option("--dir", text, "Folder\nof it")->type_name("DIR")->excludes(file);
    look.add_option("-f,--format", text, "Form")->type_name("table|json|csv");
    look.add_option("--each", words, "Some")->take_all();
    look.add_option("--between", words, "Two")->expected(2);
    static bool quiet = false;
    look.add_flag("--quiet", quiet, "Nothing");
    look.add_option("NAME", text, "Name")->type_name("");
    look.add_option("REST", words, "Others")->type_name("");
    program->add_subcommand("leave", "Leaves");
    return program;
  }();
  return *made;
}

Words linesOf(const std::string& text) {
  Words lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The words themselves are what there is: names may be anything.
std::vector<completion::Candidate> valuesAt(const completion::Place& place) {
  std::vector<completion::Candidate> found = {completion::commands()};
  for (const std::string& word : place.words) found.push_back({word, place.valueOf(word)});
  found.push_back({place.current, place.name});
  return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  const std::string text(data, data + length);
  Words words = linesOf(text);
  if (text.ends_with('\n') || words.empty()) words.emplace_back();
  for (std::string line : linesOf(completion::answer(app(), words, valuesAt))) {
    const auto tab = line.find('\t');
    if (tab != line.npos) line[tab] = ' ';
    fuzz::require(text::printable(line) == line);
  }
  return 0;
}
