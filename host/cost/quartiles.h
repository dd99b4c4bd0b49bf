// SPDX-License-Identifier: Apache-2.0
// What many short measurements say together.
#ifndef ZEB_HOST_COST_QUARTILES_H
#define ZEB_HOST_COST_QUARTILES_H

#include <vector>

namespace host {

// A quarter of the values is below `low`, half below `median`, a quarter above `high`.
struct Quartiles {
  double low = 0;
  double median = 0;
  double high = 0;

  // The values differ more among themselves than they do from 0.
  bool noisy() const { return low <= 0 || high - low > median; }
};

// Between two values the place decides. Zeros for no value at all.
Quartiles quartilesOf(std::vector<double> values);

}  // namespace host

#endif  // ZEB_HOST_COST_QUARTILES_H
