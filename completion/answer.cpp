// SPDX-License-Identifier: Apache-2.0
#include "completion/answer.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <utility>

#include "text/printable.h"

namespace completion {
namespace {

using Candidates = std::vector<Candidate>;

bool isOption(const std::string& word) {
  return word.size() > 1 && word.starts_with('-');
}

std::string nameIn(const std::string& word) {
  return word.substr(0, word.find('='));
}

const CLI::Option* optionOf(const CLI::App& app, const std::string& word) {
  return isOption(word) ? app.get_option_no_throw(nameIn(word)) : nullptr;
}

// An option may take many words; from the second one on they may as well be arguments.
int valuesOf(const CLI::Option& option) {
  constexpr int kMost = 2;
  const int most = option.get_items_expected_max();
  return most > kMost ? 1 : most;
}

// The words of a command before the one that is being typed.
class Typed {
 public:
  Typed(const CLI::App& command, const std::vector<std::string>& words) : command_(command) {
    for (const std::string& word : words) take(word);
  }

  const CLI::App& command() const { return command_; }

  // The option whose value comes next; null: none.
  const CLI::Option* pending() const { return wanted_ > 0 ? given_.back() : nullptr; }

  std::size_t arguments() const { return arguments_; }

  // Behind "--".
  bool onlyArguments() const { return onlyArguments_; }

  bool has(const CLI::Option* option) const {
    return std::ranges::find(given_, option) != given_.end();
  }

 private:
  void take(const std::string& word) {
    if (wanted_ > 0) {
      --wanted_;
    } else if (onlyArguments_ || !isOption(word)) {
      ++arguments_;
    } else if (word == "--") {
      onlyArguments_ = true;
    } else if (const CLI::Option* const option = optionOf(command_, word)) {
      given_.push_back(option);
      wanted_ = valuesOf(*option) - (word.find('=') != word.npos ? 1 : 0);
    }
  }

  const CLI::App& command_;
  std::vector<const CLI::Option*> given_;
  int wanted_ = 0;  // values of the last one
  std::size_t arguments_ = 0;
  bool onlyArguments_ = false;
};

const CLI::Option* argumentAt(const CLI::App& app, std::size_t place) {
  const auto arguments =
      app.get_options([](const CLI::Option* option) { return option->get_positional(); });
  if (arguments.empty()) return nullptr;
  const CLI::Option* const last = arguments.back();
  if (place < arguments.size()) return arguments[place];
  return last->get_items_expected_max() > 1 ? last : nullptr;
}

Candidates commandsOf(const CLI::App& app) {
  Candidates found;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    found.push_back({command->get_name(), command->get_description()});
  }
  return found;
}

bool isOffered(const CLI::Option& option, const Typed& typed) {
  const auto isGiven = [&typed](const CLI::Option* one) { return typed.has(one); };
  const bool again = option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  const bool hidden = option.get_group().empty();
  return !hidden && !option.get_lnames().empty() && (again || !isGiven(&option)) &&
         std::ranges::none_of(option.get_excludes(), isGiven);
}

Candidates optionsOf(const Typed& typed) {
  Candidates found;
  for (const CLI::Option* option : typed.command().get_options()) {
    if (!isOffered(*option, typed)) continue;
    found.push_back({"--" + option->get_lnames().front(), option->get_description()});
  }
  return found;
}

// Of "table|json". What is typed of a list, or the sign of an order, stays in front.
Candidates namesOf(const std::string& type, const std::string& current) {
  const auto comma = current.rfind(',');
  const std::string before = comma != current.npos      ? current.substr(0, comma + 1)
                             : current.starts_with('-') ? "-"
                                                        : "";
  Candidates found;
  std::istringstream in(type);
  for (std::string name; std::getline(in, name, '|');) found.push_back({before + name});
  return found;
}

Candidates valuesAt(const CLI::Option& option, Place place, const Values& values) {
  place.name = option.get_positional() ? option.get_name(true) : "--" + option.get_lnames().front();
  const std::string type = option.get_type_name();
  if (type == "FILE") return {files()};
  if (type == "DIR") return {directories()};
  if (type.find('|') != type.npos) return namesOf(type, place.current);
  return values ? values(place) : Candidates();
}

// Of "--option=VALUE", which is one word.
Candidates valuesBehindSign(const CLI::Option& option, Place place, const Values& values) {
  const std::string before = place.current.substr(0, place.current.find('=') + 1);
  place.current.erase(0, before.size());
  Candidates found = valuesAt(option, std::move(place), values);
  for (Candidate& one : found) {
    if (!one.word.empty()) one.word.insert(0, before);
  }
  return found;
}

Candidates candidatesAt(const Typed& typed, Place place, const Values& values) {
  place.arguments = typed.arguments();
  if (typed.pending() != nullptr) return valuesAt(*typed.pending(), std::move(place), values);
  if (place.current.starts_with('-') && !typed.onlyArguments()) {
    const bool hasSign = place.current.find('=') != place.current.npos;
    const CLI::Option* const option = optionOf(typed.command(), place.current);
    if (!hasSign) return optionsOf(typed);
    return option == nullptr ? Candidates() : valuesBehindSign(*option, std::move(place), values);
  }
  const CLI::Option* const argument = argumentAt(typed.command(), typed.arguments());
  return argument == nullptr ? Candidates() : valuesAt(*argument, std::move(place), values);
}

std::string linesOf(const Candidates& candidates) {
  std::string lines;
  for (const Candidate& one : candidates) {
    if (text::printable(one.word) != one.word) continue;
    std::string description = one.description;
    std::ranges::replace(description, '\n', ' ');
    lines += one.word + (description.empty() ? "" : "\t" + text::printable(description)) + "\n";
  }
  return lines;
}

}  // namespace

Candidate files() {
  return {"", "files"};
}

Candidate directories() {
  return {"", "directories"};
}

Candidate commands() {
  return {"", "commands"};
}

std::string Place::valueOf(const std::string& option) const {
  for (auto word = words.begin(); word != words.end(); ++word) {
    if (*word == option && word + 1 != words.end()) return word[1];
    if (word->starts_with(option + "=")) return word->substr(option.size() + 1);
  }
  return {};
}

std::string answer(const CLI::App& app, std::vector<std::string> words, const Values& values) {
  Place place;
  if (!words.empty()) {
    place.current = std::move(words.back());
    words.pop_back();
  }
  const auto first = std::ranges::find_if_not(words, isOption);
  if (first == words.end()) {
    const bool dash = place.current.starts_with('-');
    return linesOf(dash ? optionsOf(Typed(app, words)) : commandsOf(app));
  }
  const auto commands = app.get_subcommands(
      [&first](const CLI::App* command) { return command->get_name() == *first; });
  if (commands.empty()) return {};
  place.words = {first + 1, words.end()};
  const Typed typed(*commands.front(), place.words);
  return linesOf(candidatesAt(typed, std::move(place), values));
}

}  // namespace completion
