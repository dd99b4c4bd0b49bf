// SPDX-License-Identifier: Apache-2.0
// What a command takes from its command line. This room, command_line.cpp and completion/ alone
// know CLI11, whose header takes longer to compile than most files.
#ifndef ZEB_AGENT_FRONT_CLI_PARSER_H
#define ZEB_AGENT_FRONT_CLI_PARSER_H

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace cli {

// For a value that can't be meant: ends the parsing with "OPTION: WHY.".
[[noreturn]] void refuse(const std::string& option, const std::string& why);

// One option or argument, to be described further. A copy is the same option.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option& required();
  Option& needs(const Option& other);
  Option& needs(const char* other);  // by name
  Option& excludes(const Option& other);
  Option& excludes(const char* other);  // by name

  // A number from `low` to `high`: int or double.
  template <typename Number>
  Option& within(Number low, Number high);

  // `problem` gives a sentence for a value that is none; empty: it is one.
  Option& check(std::function<std::string(const std::string&)> problem);

  // Of a list: its words are divided by commas.
  Option& dividedByCommas();

  // What --help shows in place of the value, and as its default: what the target holds now, or that
  // text.
  Option& shown(const char* value);

  // The same for one of many names, or for several divided by commas: shells complete them.
  Option& shown(const char* value, const std::vector<std::string>& names);

  Option& showsDefault();
  Option& showsDefault(const char* text);

 private:
  CLI::Option* option_;
};

// All options of one command. Targets must live until the command line is parsed. A name without
// dashes is an argument's.
class Options {
 public:
  using Take = std::function<void(const std::string&)>;

  explicit Options(CLI::App& app) : app_(app) {}

  // The value goes into `target`: a text, a list of texts, a number, or one of these as an
  // optional.
  template <typename Target>
  Option add(const char* name, Target& target, const char* help);

  // `take` gets the value. May refuse it.
  Option take(const char* name, Take take, const char* help);

  // The same of an option that may be given again, one value each.
  Option takeEach(const char* name, Take take, const char* help);

  // The same of an option with two values.
  Option takeTwo(const char* name, std::function<void(const std::string&, const std::string&)> take,
                 const char* help);

  // The same of an argument that may be several words, at least one.
  Option takeWords(const char* name, Take take, const char* help);

  // One of `names`; others are refused with the names of all.
  Option takeName(const char* name, const std::vector<std::string>& names, Take take,
                  const char* help);

  // An option of other commands that means nothing here, and why. --help doesn't show it.
  void refuses(const char* name, const std::string& why);

  Option flag(const char* name, bool& target, const char* help);
  Option flag(const char* name, std::function<void()> take, const char* help);

  // What --help shows below the options, in place of the exit codes of all commands.
  void footer(const char* text);

 private:
  CLI::App& app_;
};

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_PARSER_H
