// SPDX-License-Identifier: Apache-2.0
// What a node asks of the one who knows where its statistics record lives.
#ifndef ZEB_RESOURCES_STATISTICS_STORE_H
#define ZEB_RESOURCES_STATISTICS_STORE_H

#include "records/statistics_record.h"

// Broker and node would include each other otherwise.
class ZEB_Statistics_Store {
 public:
  // Resets the stored record under its own lock, and the object with it. Code 3 for null, 8 when
  // the store is not usable. The record stays the caller's.
  virtual ZEB_ReturnCode resetStatistics(ZEB_STIR* record) = 0;

 protected:
  ~ZEB_Statistics_Store() = default;
};

#endif  // ZEB_RESOURCES_STATISTICS_STORE_H
