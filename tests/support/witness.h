// SPDX-License-Identifier: Apache-2.0
// What trace entries bear witness of, while the tests run with tracing on: which operations run,
// whether entries and exits pair on each thread, and which lock is asked for while which is held.
// Each thing is told once, as a line, to the file that the environment variable ZEB_WITNESS names;
// tests/witness/check judges the lines of all processes together. See scripts/witness.
#ifndef ZEB_TESTS_SUPPORT_WITNESS_H
#define ZEB_TESTS_SUPPORT_WITNESS_H

#include <string>

namespace support {

bool witnessing();

// A trace entry of this thread.
void witness(const std::string& unit, const std::string& function, const std::string& text);

// An exception of the host passes through the library on this thread: what it leaves has no exit.
void witnessException();

// Switches tracing on in this configuration file, unless it says something about it already.
void haveTraced(const std::string& configuration);

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_WITNESS_H
