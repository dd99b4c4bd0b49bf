// SPDX-License-Identifier: Apache-2.0
// The one way to standard error.
#ifndef ZEB_AGENT_FRONT_CLI_MESSAGES_H
#define ZEB_AGENT_FRONT_CLI_MESSAGES_H

#include <string>
#include <vector>

#include "agent/model/snapshot.h"

namespace cli {

// "zebmon: SENTENCE." on a line of its own, made printable; nothing for an empty sentence.
void complain(const std::string& sentence);

// Lines that are printable already. Nothing happens when nobody takes them.
void say(const std::string& lines);

// "broker NAME: PROBLEM", empty when there is none.
std::string namedProblemOf(const model::SeenBroker& broker);

// Complains of the first of so many things, and says how many more there are: `more` begins with
// the word behind the number and ends with what to do.
void complainOfEach(const std::vector<std::string>& sentences, const std::string& more);

// For sentences that are about a broker each.
extern const char kChooseABroker[];

// Says all that is wrong with the first of the brokers that have a problem: the problem, and a line
// for each damaged place. Of the others how many there are.
void reportProblems(const model::Snapshot& selected);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_MESSAGES_H
