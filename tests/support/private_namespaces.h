// SPDX-License-Identifier: Apache-2.0
// A world of its own for each test process: user, mount and IPC namespaces.
//
// Inside, the caller is root, /tmp, /opt and /var are empty and private, and no System V object
// exists but one of each kind, which takes id 0: that is the id of the first object of a fresh IPC
// namespace, and not what a machine in use would hand out. Tests may use the fixed paths of the
// library there, run side by side, and leave nothing on the machine.
#ifndef ZEB_TESTS_SUPPORT_PRIVATE_NAMESPACES_H
#define ZEB_TESTS_SUPPORT_PRIVATE_NAMESPACES_H

namespace support {

// What a test process exits with when namespaces are refused; CTest shows such a test as skipped.
inline constexpr int kSkipped = 77;

// Re-executes this program, with the same arguments, inside new namespaces and exits with its exit
// code; returns in the process that is inside. Processes started from inside stay there and return
// at once. When the system refuses, prints why and exits with kSkipped.
//
// Called first thing in main. It starts over rather than moving the running process because a
// sanitizer may already have started a thread, and a process with threads can't change its user
// namespace. The source and the build tree stay reachable where they are.
void enterPrivateNamespaces(char** arguments);

// True in a process that enterPrivateNamespaces has let in.
bool insidePrivateNamespaces();

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_PRIVATE_NAMESPACES_H
