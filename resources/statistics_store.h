// SPDX-License-Identifier: Apache-2.0
// What a node asks of whoever knows where its statistics record lives.
#ifndef ZEB_RESOURCES_STATISTICS_STORE_H
#define ZEB_RESOURCES_STATISTICS_STORE_H

#include "records/statistics_record.h"

class ZEB_Statistics_Store {
 public:
  // Resets the stored record under its own lock.
  virtual ZEB_ReturnCode resetStatistics(ZEB_STIR* record) = 0;

 protected:
  ~ZEB_Statistics_Store() = default;
};

#endif  // ZEB_RESOURCES_STATISTICS_STORE_H
