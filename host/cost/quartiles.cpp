// SPDX-License-Identifier: Apache-2.0
#include "host/cost/quartiles.h"

#include <algorithm>
#include <cstddef>

namespace host {
namespace {

double at(const std::vector<double>& sorted, double part) {
  const double place = part * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<std::size_t>(place);
  const std::size_t above = std::min(below + 1, sorted.size() - 1);
  return sorted[below] + (place - static_cast<double>(below)) * (sorted[above] - sorted[below]);
}

}  // namespace

Quartiles quartilesOf(std::vector<double> values) {
  if (values.empty()) return {};
  std::ranges::sort(values);
  return {at(values, 0.25), at(values, 0.5), at(values, 0.75)};
}

}  // namespace host
