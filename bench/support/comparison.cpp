// SPDX-License-Identifier: Apache-2.0
#include "bench/support/comparison.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace bench {

Effort effortNamed(const std::string& name) {
  using std::chrono::milliseconds;
  static const std::map<std::string, Effort> efforts = {
      {"full", {301, 5000, 15, milliseconds(100), milliseconds(10000), 7, {100, 200, 400, 800}}},
      {"quick", {61, 2000, 5, milliseconds(40), milliseconds(1000), 1, {100, 200, 400, 800}}},
      {"tiny", {3, 10, 1, milliseconds(5), milliseconds(20), 1, {2, 4}}},
  };
  return efforts.at(name);
}

double quantile(std::vector<double> values, double part) {
  const double rank = part * static_cast<double>(values.size() - 1);
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(std::lround(rank));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

double median(std::vector<double> values) {
  return quantile(std::move(values), 0.5);
}

std::vector<double> Rounds::ratios() const {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < first.size(); ++i) ratios.push_back(second[i] / first[i]);
  return ratios;
}

nlohmann::json ratioOf(const Rounds& rounds) {
  const std::vector<double> ratios = rounds.ratios();
  return {{"ratio", median(ratios)},
          {"lowerQuartile", quantile(ratios, 0.25)},
          {"upperQuartile", quantile(ratios, 0.75)}};
}

}  // namespace bench
