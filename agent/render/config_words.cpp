// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <cerrno>

#include "agent/model/capacity.h"
#include "agent/render/config_screens.h"
#include "agent/render/values.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

using model::Trap;
using TrapKind = Trap::Kind;
using text::printable;

constexpr std::size_t kLongestKey = 40;

struct KindWords {
  TrapKind kind;
  const char* name;
  const char* sentence;  // behind "line N: "; {0} is the key, {1} the line that decides, {2} the
                         // largest size
};

constexpr KindWords kWords[] = {
    {TrapKind::blankAroundEquals, "blankAroundEquals",
     "a blank behind \"=\" makes the value of {0} empty, so its default counts"},
    {TrapKind::doubleEquals, "doubleEquals", "the second \"=\" becomes part of the value of {0}"},
    {TrapKind::longerKey, "longerKey",
     "this line also answers {0}, since it begins alike. A line for {0} goes above it"},
    {TrapKind::blanksInFront, "blanksInFront",
     "blanks in front of the first line's key hide {0} from the library"},
    {TrapKind::keyCase, "keyCase", "small and capital letters differ: this is not the key {0}"},
    {TrapKind::valueCase, "valueCase", "{0} is on for \"On\" alone, in exactly these letters"},
    {TrapKind::unknownValue, "unknownValue", "that is no value of {0}, so its default counts"},
    {TrapKind::notANumber, "notANumber",
     "that is no whole number: only the digits in front count for {0}"},
    {TrapKind::otherNumber, "otherNumber", "the library takes another number than this for {0}"},
    {TrapKind::tooLarge, "tooLarge",
     "above {2} bytes of {0} the segment is too small for its areas"},
    {TrapKind::restIgnored, "restIgnored",
     "the value of {0} ends at the first blank, and the rest is not read"},
    {TrapKind::noValue, "noValue", "{0} has no value here, so the line is passed over"},
    {TrapKind::neverReached, "neverReached",
     "line {1} decides for {0}, so this one is never read. Delete one of the two"},
};

const KindWords& wordsOf(TrapKind kind) {
  for (const KindWords& words : kWords) {
    if (words.kind == kind) return words;
  }
  return kWords[0];
}

}  // namespace

const char* trapName(TrapKind kind) {
  return wordsOf(kind).name;
}

std::string trapText(const Trap& trap) {
  return fmt::format("line {}: ", trap.line) +
         fmt::format(fmt::runtime(wordsOf(trap.kind).sentence),
                     text::shortened(trap.key, kLongestKey), trap.decidedBy, model::kLargestArea);
}

std::string restartText(const model::Restart& restart) {
  if (restart.why == model::Restart::Why::otherSize) {
    return fmt::format(
        "broker {}: its areas have {} bytes, and {} are configured. Stop all its execution groups, "
        "then start them",
        nameOf(*restart.broker), restart.area, restart.configured);
  }
  return fmt::format(
      "broker {}: group {} (process {}) started at {}, before the file was changed. Restart it, or "
      "it keeps the tracing, activation and directory that it has",
      nameOf(*restart.broker), text::shortened(restart.group, kLongestKey), restart.process,
      isoTime(restart.started));
}

std::string placeState(const reader::Configuration& configuration, std::size_t place) {
  const reader::ConfigurationPlace& its = configuration.places.at(place);
  if (its.error != 0) return its.error == ENOENT ? "not there" : errorText(its.error);
  std::size_t first = 0;
  while (configuration.places.at(first).error != 0) ++first;
  return first == place ? "in force" : "there, but not used";
}

}  // namespace render
