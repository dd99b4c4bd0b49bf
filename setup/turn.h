// SPDX-License-Identifier: Apache-2.0
// One process at a time.
#ifndef ZEB_SETUP_TURN_H
#define ZEB_SETUP_TURN_H

namespace setup {

// While it exists, no other process changes the installation: it waits for those that do. Whoever
// has no right to wait in this queue has none to change anything either, and goes on.
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
