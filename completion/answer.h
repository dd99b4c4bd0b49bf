// SPDX-License-Identifier: Apache-2.0
// What may come next on a command line, for the completion of shells. Commands, options and their
// fixed values come from the parser, so that nothing is listed twice.
#ifndef ZEB_COMPLETION_ANSWER_H
#define ZEB_COMPLETION_ANSWER_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace completion {

// The hidden command behind which a shell gives its words.
constexpr char kCommand[] = "__complete";

struct Candidate {
  std::string word;
  std::string description = {};
};

// In place of a candidate: the shell offers names of files, of directories, or of commands.
Candidate files();
Candidate directories();
Candidate commands();

// A value that is wanted.
struct Place {
  std::string name;                // "--flow", or that of an argument: "FLOW"
  std::string current;             // what is typed of it
  std::vector<std::string> words;  // those before it
  std::size_t arguments = 0;       // how many of these are no options

  // What an option has been given before; empty: nothing.
  std::string valueOf(const std::string& option) const;
};

// The values of a place that the parser doesn't know. May be empty: there are none.
using Values = std::function<std::vector<Candidate>(const Place&)>;

// `words` are those behind the program's name; the last one is being typed and may be empty. A
// line a candidate: the word, and behind a tab what it is. Shells choose those that fit what is
// typed. A word that isn't printable is left out.
std::string answer(const CLI::App& app, std::vector<std::string> words, const Values& values);

}  // namespace completion

#endif  // ZEB_COMPLETION_ANSWER_H
