// SPDX-License-Identifier: Apache-2.0
// The identifiers that System V objects get on a machine where nobody ever made one.
#ifndef ZEB_HOST_SANDBOX_FIRST_IDS_H
#define ZEB_HOST_SANDBOX_FIRST_IDS_H

namespace host {

// The first message queue and the first semaphore set of a machine, or of a container, have the
// identifier 0, which a node takes for none. Makes one of each and removes them at once, so that
// the nodes get others.
void useUpFirstIds();

}  // namespace host

#endif  // ZEB_HOST_SANDBOX_FIRST_IDS_H
