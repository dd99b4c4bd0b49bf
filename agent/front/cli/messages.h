// SPDX-License-Identifier: Apache-2.0
// The one way to standard error.
#ifndef ZEB_AGENT_FRONT_CLI_MESSAGES_H
#define ZEB_AGENT_FRONT_CLI_MESSAGES_H

#include <string>

#include "agent/model/snapshot.h"

namespace cli {

// "zebmon: SENTENCE." on a line of its own, made printable; nothing for an empty sentence.
void complain(const std::string& sentence);

// Lines that are printable already. Nothing happens when nobody takes them.
void say(const std::string& lines);

// "broker NAME: PROBLEM", empty when there is none.
std::string namedProblemOf(const model::SeenBroker& broker);

// Says all that is wrong with a broker: the problem, and a line for each damaged place.
void reportProblem(const model::SeenBroker& broker);

}  // namespace cli

#endif  // ZEB_AGENT_FRONT_CLI_MESSAGES_H
