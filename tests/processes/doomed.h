// SPDX-License-Identifier: Apache-2.0
// Processes that end themselves by SIGKILL amid what the library does, at a call that the seam
// (tests/support/seam.h) sees.
#ifndef ZEB_TESTS_PROCESSES_DOOMED_H
#define ZEB_TESTS_PROCESSES_DOOMED_H

namespace support {

// At the nth of the calls of this process to the system that the library makes as well: those of
// key files, queues, semaphores, segments and the clock. Before the call does its work, or after.
void dieAtCall(long nth, bool after);

// As soon as it has taken the next lock.
void dieHoldingTheNextLock();

// When so much time has passed, wherever it is then.
void dieAfter(long microseconds);

}  // namespace support

#endif  // ZEB_TESTS_PROCESSES_DOOMED_H
