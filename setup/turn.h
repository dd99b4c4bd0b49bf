// SPDX-License-Identifier: Apache-2.0
// One process at a time.
#ifndef ZEB_SETUP_TURN_H
#define ZEB_SETUP_TURN_H

namespace setup {

// The lock of the installation, held as long as it exists. The constructor waits for a process that
// holds it. A process that may not make the lock's file goes on without: it may change nothing else
// either.
class Turn {
 public:
  Turn();
  ~Turn();
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  int file_ = -1;
};

}  // namespace setup

#endif  // ZEB_SETUP_TURN_H
