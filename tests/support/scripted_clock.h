// SPDX-License-Identifier: Apache-2.0
// The calendar clock as the library sees it: the test program's own gettimeofday and time come
// before the system's. The clock is the machine's until a test sets it; then it stands still.
#ifndef ZEB_TESTS_SUPPORT_SCRIPTED_CLOCK_H
#define ZEB_TESTS_SUPPORT_SCRIPTED_CLOCK_H

namespace support {

// Seconds since 1970 and milliseconds.
void setClock(long long seconds, int milliseconds = 0);
void advanceClock(long long milliseconds);

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_SCRIPTED_CLOCK_H
