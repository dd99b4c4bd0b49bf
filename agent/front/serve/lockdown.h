// SPDX-License-Identifier: Apache-2.0
// Rights that a server doesn't need, given up for good.
#ifndef ZEB_AGENT_FRONT_SERVE_LOCKDOWN_H
#define ZEB_AGENT_FRONT_SERVE_LOCKDOWN_H

#include <string>

namespace serve {

// Gives up all capabilities of this thread and of those that it will start; root keeps two, to read
// the segments and the /proc entries of others: CAP_IPC_OWNER and CAP_DAC_READ_SEARCH. What was
// open stays open. Throws Trouble.
void dropCapabilities();

// From now on the system refuses, with EPERM and in all threads: to attach shared memory in order
// to write, to change or make System V objects, to use their semaphores and queues, to trace or
// write into other processes, to start a program or a process, to mount and to change namespaces. A
// call of another ABI ends the process. Throws Trouble.
void forbidCalls();

// Why forbidCalls() does nothing in this build; empty when it does what it says.
std::string whyNotLocked();

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_LOCKDOWN_H
