// SPDX-License-Identifier: Apache-2.0
// The calendar clock of this process, which a drill may set back. The machine's own is never
// touched.
#ifndef ZEB_HOST_RUN_CLOCK_H
#define ZEB_HOST_RUN_CLOCK_H

#include <chrono>

namespace host {

// From now on the process sees an earlier time, by so much more than before; never one before
// 1970. gettimeofday() and time() as well, for this program and for every plug-in it loads: it puts
// its own in front of the system's. Other functions of the system go on as before.
void setClockBack(std::chrono::nanoseconds by);

// What that clock says now. For several threads at once.
std::chrono::system_clock::time_point wallClock();

}  // namespace host

#endif  // ZEB_HOST_RUN_CLOCK_H
