// SPDX-License-Identifier: Apache-2.0
// A private view of the machine's files, in which the fixed paths that a plug-in reads hold what
// the flow file describes. Nothing on the machine changes, and System V objects and the temporary
// directory stay the machine's.
#ifndef ZEB_HOST_SANDBOX_PRIVATE_VIEW_H
#define ZEB_HOST_SANDBOX_PRIVATE_VIEW_H

#include <stdexcept>
#include <string>

#include "flowfile/file.h"

namespace host {

// The system refuses a private view; what() says which step, and why, in the system's words.
struct ViewRefused : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The lines of the configuration file that the broker's settings make.
std::string configurationText(const flowfile::Broker& broker);

// Moves this process into its own mount namespace, and into a user namespace with the same ids
// where it may not mount otherwise. In a chroot that needs root, and /proc mounted there.
//
// Everything below /opt and /var stays where it is, except the configuration files, the
// installation properties and the registries. The process must have one thread; its children
// inherit the view. Throws ViewRefused.
void enterPrivateView(const flowfile::Broker& broker);

// Moves this process to System V objects of its own, where none is yet. They go with the last
// process that was started from here. After enterPrivateView. Throws ViewRefused.
void enterPrivateObjects();

}  // namespace host

#endif  // ZEB_HOST_SANDBOX_PRIVATE_VIEW_H
