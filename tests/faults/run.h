// SPDX-License-Identifier: Apache-2.0
// One run of the life cycle: what shall fail in it, and what was seen. It lies in memory that the
// processes of the run share with the test, since the test judges when they are gone.
#ifndef ZEB_TESTS_FAULTS_RUN_H
#define ZEB_TESTS_FAULTS_RUN_H

#include <array>
#include <cstddef>

#include "tests/support/seam.h"

namespace faults {

using support::seam::Function;
using enum support::seam::Function;

// The nth call of the function, counted over both processes from 1, fails with this errno.
struct Fault {
  Function function = kFunctions;
  long nth = 0;
  int error = 0;
};

// What the library logged: a message, or a line in the form of a trace entry (number 0).
struct Logged {
  int number;
  std::array<char, 32> callee;  // empty unless number is 2
  std::array<char, 64> function;
  std::array<char, 128> text;  // the error of message 2; else the text
};

struct Run {
  Fault fault;

  // Written by the functions that are between the library and the system.
  long calls = 0;         // of the function that shall fail
  bool met = false;       // the fault was
  char variant[24] = "";  // which use of the function it met
  int heldLock = 0;       // a semaphore that the fault left at 0 with nobody inside
  int freed = 0;          // how often somebody would have waited for it without end
  long milliseconds = 0;  // of the clock, which moves by one with each look

  // Written by the host.
  int logged = 0;
  Logged log[32];
  bool elsewhere = false;   // a segment was made that is not the broker's
  int contextsRefused = 0;  // contexts that the library could not make
  long long counted = -1;   // messages in the statistics shortly before the end
  long long events = -1;    // events that are stored by then
  int complaints = 0;
  char complaint[8][256];
};

// The run that is under way; null in the test itself between two runs.
extern Run* run;

// Notes something that must not be.
[[gnu::format(printf, 1, 2)]] void complain(const char* format, ...);

}  // namespace faults

#endif  // ZEB_TESTS_FAULTS_RUN_H
