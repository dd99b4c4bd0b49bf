// SPDX-License-Identifier: Apache-2.0
#include "agent/model/level_changes.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace model {
namespace {

// A level needs so many minutes to be known, and so many to be a new one.
constexpr std::size_t kFirst = 120;
constexpr std::size_t kLeast = 8;

constexpr double kDeviations = 1.4826;  // standard deviations in a median of distances, if normal
constexpr double kFarOut = 3;           // so many standard deviations a minute may count

// The values are put into another order.
double medianOf(std::vector<double>& values) {
  if (values.empty()) return kNoValue;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double median(std::span<const double> values) {
  std::vector<double> copy(values.begin(), values.end());
  return medianOf(copy);
}

// The standard deviation of values around their median. Distances beyond some medians of them count
// as those, so that a few wild values change little. The median of distances alone would need three
// times as many values to be as sure.
double spread(std::span<const double> values) {
  constexpr double kCut = 0.995;  // what is left of the variance, if normal
  std::vector<double> distances(values.begin(), values.end());
  const double middle = median(values);
  for (double& value : distances) value = std::abs(value - middle);
  const double most = kFarOut * kDeviations * median(distances);
  double squares = 0;
  for (const double distance : distances) squares += std::pow(std::min(distance, most), 2);
  return std::sqrt(squares / static_cast<double>(distances.size()) / kCut);
}

// The values without the level of the four hours that each is in.
std::vector<double> residualsOf(std::span<const double> values) {
  constexpr std::size_t kBlock = 240;
  std::vector<double> residuals(values.begin(), values.end());
  for (std::size_t from = 0; from < values.size(); from += kBlock) {
    const auto block = std::span(residuals).subspan(from, std::min(kBlock, values.size() - from));
    const double middle = median(block);
    for (double& value : block) value -= middle;
  }
  return residuals;
}

// How much a minute tells of the next one, 0 to 0.9, by robust estimates of variances.
double correlationOf(std::span<const double> values) {
  constexpr double kMost = 0.9;
  const std::vector<double> residuals = residualsOf(values);
  std::vector<double> sums;
  std::vector<double> differences;
  for (std::size_t i = 1; i < residuals.size(); ++i) {
    sums.push_back(residuals[i] + residuals[i - 1]);
    differences.push_back(residuals[i] - residuals[i - 1]);
  }
  const double alike = std::pow(spread(sums), 2);
  const double apart = std::pow(spread(differences), 2);
  return alike <= apart ? 0 : std::min(kMost, (alike - apart) / (alike + apart));
}

// What is known of the noise in a series.
class Noise {
 public:
  Noise(std::span<const double> values, double least);

  // The standard deviation of one minute, there.
  double at(std::size_t minute) const {
    return blocks_[std::min(minute / kBlock, blocks_.size() - 1)];
  }

  // By so much the variance of a long mean is larger than if no minute told of the next.
  double memory() const { return (1 + correlation_) / (1 - correlation_); }

 private:
  static constexpr std::size_t kBlock = 120;

  double correlation_;
  std::vector<double> blocks_;
};

// From differences of neighbours, in which a step is one of many.
Noise::Noise(std::span<const double> values, double least) : correlation_(correlationOf(values)) {
  std::vector<double> own;
  for (std::size_t from = 0; from + kBlock <= values.size(); from += kBlock) {
    const bool isLast = from + 2 * kBlock > values.size();
    const std::size_t until = isLast ? values.size() : from + kBlock;
    std::vector<double> differences;
    for (std::size_t i = from + 1; i < until; ++i) {
      differences.push_back(values[i] - values[i - 1]);
    }
    own.push_back(std::max(least, spread(differences) / std::sqrt(2 * (1 - correlation_))));
  }
  for (std::size_t i = 0; i < own.size(); ++i) {
    const std::size_t from = i == 0 ? 0 : i - 1;
    const std::size_t until = std::min(own.size(), i + 2);
    double sum = 0;
    for (std::size_t k = from; k < until; ++k) sum += own[k];
    blocks_.push_back(std::max(own[i], sum / static_cast<double>(until - from)));
  }
}

// Values that are far out of what is before and behind them, moved to where they may be.
std::vector<double> withoutExtremes(std::span<const double> values, const Noise& noise) {
  constexpr std::size_t kReach = 9;
  std::vector<double> moved;
  moved.reserve(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::size_t before = i < kReach ? 0 : i + 1 - kReach;
    const std::size_t behind = std::min(i, values.size() - kReach);
    const double one = median(values.subspan(before, kReach));
    const double other = median(values.subspan(behind, kReach));
    const double far = kFarOut * noise.at(i);
    moved.push_back(std::clamp(values[i], std::min(one, other) - far, std::max(one, other) + far));
  }
  return moved;
}

// Sums of a series, from which the cost of one level in any part of it follows.
class Costs {
 public:
  Costs(std::span<const double> values, const Noise& noise) : sums_(values.size() + 1) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      const double weight = 1 / (noise.at(i) * noise.at(i) * noise.memory());
      sums_[i + 1] = {sums_[i].weight + weight, sums_[i].value + weight * values[i],
                      sums_[i].square + weight * values[i] * values[i]};
    }
  }

  // How badly one level fits the minutes from `from` to before `until`.
  double of(std::size_t from, std::size_t until) const {
    const double value = sums_[until].value - sums_[from].value;
    return sums_[until].square - sums_[from].square -
           value * value / (sums_[until].weight - sums_[from].weight);
  }

  double levelOf(std::size_t from, std::size_t until) const {
    return (sums_[until].value - sums_[from].value) / (sums_[until].weight - sums_[from].weight);
  }

 private:
  struct Sums {
    double weight = 0;
    double value = 0;
    double square = 0;
  };
  std::vector<Sums> sums_;
};

// The partition into levels that fits best, where each costs its price: the classical dynamic
// programme over all last levels. Far back, only every fifteenth minute is tried as a beginning.
std::vector<std::size_t> bestBeginnings(const Costs& costs, std::size_t size,
                                        const LevelTest& test) {
  constexpr std::size_t kNear = 90;
  constexpr std::size_t kStep = 15;
  constexpr std::size_t kShort = 50;
  std::vector<double> best(size + 1);
  std::vector<std::size_t> last(size + 1);
  for (std::size_t end = 1; end <= size; ++end) {
    best[end] = costs.of(0, end);
    const auto consider = [&](std::size_t begin) {
      const double cost = best[begin] + costs.of(begin, end) + test.price +
                          (end - begin < kShort ? test.surcharge : 0);
      if (cost >= best[end]) return;
      best[end] = cost;
      last[end] = begin;
    };
    std::size_t begin = kFirst;
    for (; begin + kNear < end; begin += kStep) consider(begin);
    for (; begin + kLeast <= end; ++begin) consider(begin);
  }
  std::vector<std::size_t> begins;
  for (std::size_t at = last[size]; at > 0; at = last[at]) begins.insert(begins.begin(), at);
  return begins;
}

// Where between its neighbours a level begins best.
std::size_t refined(const Costs& costs, std::size_t before, std::size_t begin, std::size_t end) {
  constexpr std::size_t kAround = 15;
  std::size_t found = begin;
  double best = costs.of(before, begin) + costs.of(begin, end);
  for (std::size_t at = std::max(before + kLeast, begin - kAround);
       at + kLeast <= end && at <= begin + kAround; ++at) {
    const double cost = costs.of(before, at) + costs.of(at, end);
    if (cost < best) {
      best = cost;
      found = at;
    }
  }
  return found;
}

// The beginnings whose level is far enough from the one before.
std::vector<std::size_t> steps(const Costs& costs, std::size_t size, const LevelTest& test) {
  std::vector<std::size_t> ends = bestBeginnings(costs, size, test);
  ends.push_back(size);
  std::vector<std::size_t> found;
  std::size_t before = 0;
  for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
    const std::size_t begin = refined(costs, before, ends[i], ends[i + 1]);
    const double step = costs.levelOf(begin, ends[i + 1]) - costs.levelOf(before, begin);
    if (std::abs(step) >= test.least) found.push_back(begin);
    before = begin;
  }
  return found;
}

// The values of each time of day.
std::array<std::vector<double>, 24> byHour(std::span<const double> hours) {
  std::array<std::vector<double>, 24> days;
  for (std::size_t i = 0; i < hours.size(); ++i) {
    if (!std::isnan(hours[i])) days[i % days.size()].push_back(hours[i]);
  }
  return days;
}

constexpr std::size_t kDays = 3;

}  // namespace

std::vector<std::size_t> levelChanges(std::span<const double> minutes, const LevelTest& test) {
  std::vector<std::size_t> places;
  std::vector<double> values;
  for (std::size_t i = 0; i < minutes.size(); ++i) {
    if (std::isnan(minutes[i])) continue;
    places.push_back(i);
    values.push_back(minutes[i]);
  }
  if (values.size() < kFirst) return {};
  const Noise noise(values, test.noise);
  const Costs costs(withoutExtremes(values, noise), noise);
  std::vector<std::size_t> found = steps(costs, values.size(), test);
  for (std::size_t& at : found) at = places[at];
  return found;
}

std::vector<double> withoutRhythm(std::span<const double> minutes, std::size_t first,
                                  std::span<const double> hours) {
  constexpr std::size_t kMinutes = 1440;
  std::array<double, 24> usual;
  const auto days = byHour(hours);
  for (std::size_t i = 0; i < usual.size(); ++i) {
    usual[i] = days[i].size() < kDays ? kNoValue : median(days[i]);
  }
  std::vector<double> left;
  left.reserve(minutes.size());
  for (std::size_t i = 0; i < minutes.size(); ++i) {
    // What is usual was measured in the middles of hours.
    const std::size_t late = (first + i + kMinutes - 30) % kMinutes;
    const double way = static_cast<double>(late % 60) / 60;
    const double here = usual[late / 60];
    const double next = usual[(late / 60 + 1) % usual.size()];
    left.push_back(minutes[i] - (here + way * (next - here)));
  }
  return left;
}

bool hasRhythm(std::span<const double> hours) {
  constexpr double kTimes = 2;
  std::vector<double> levels;
  double within = 0;
  std::size_t degrees = 0;
  double days = 0;
  for (const std::vector<double>& hour : byHour(hours)) {
    if (hour.size() < kDays) continue;
    double mean = 0;
    for (const double value : hour) mean += value / static_cast<double>(hour.size());
    for (const double value : hour) within += (value - mean) * (value - mean);
    degrees += hour.size() - 1;
    days += static_cast<double>(hour.size());
    levels.push_back(mean);
  }
  if (levels.size() < 2) return false;
  const auto count = static_cast<double>(levels.size());
  double mean = 0;
  for (const double level : levels) mean += level / count;
  double between = 0;
  for (const double level : levels) between += (level - mean) * (level - mean);
  between *= days / count / (count - 1);
  return between > kTimes * within / static_cast<double>(degrees);
}

}  // namespace model
