// SPDX-License-Identifier: Apache-2.0
// Inaccessible memory in front of and behind this process's attachments of shared memory, where it
// is free there: an access outside ends the test.
#ifndef ZEB_TESTS_SUPPORT_FENCE_H
#define ZEB_TESTS_SUPPORT_FENCE_H

#include <vector>

namespace support {

class Fence {
 public:
  Fence();
  ~Fence();
  Fence(const Fence&) = delete;
  Fence& operator=(const Fence&) = delete;

 private:
  std::vector<void*> pieces_;
};

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_FENCE_H
