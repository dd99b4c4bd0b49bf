// SPDX-License-Identifier: Apache-2.0
#include "agent/render/archive_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

#include "agent/render/values.h"
#include "text/printable.h"

namespace render {
namespace {

using archived::Failure;
using FailureKind = archived::Failure::Kind;
using text::printable;

// Fit for a file's name and a shell, whatever the label holds.
std::string tame(const std::string& label) {
  constexpr std::size_t kLongest = 60;
  std::string name = label.substr(0, kLongest);
  std::ranges::replace_if(
      name,
      [](char c) {
        const bool fits =
            (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        return !fits && c != '_' && c != '-' && c != '.';
      },
      '_');
  return name;
}

std::string subjectOf(const model::Snapshot& snapshot) {
  if (snapshot.brokers.size() != 1) return fmt::format("{}-brokers", snapshot.brokers.size());
  const model::SeenBroker& broker = *snapshot.brokers.front();
  return tame(broker.name());
}

}  // namespace

std::string named(const std::string& file) {
  return file == "-" ? "standard input" : printable(file);
}

std::string problemOfReading(const Failure& failure, const std::string& file) {
  switch (failure.kind) {
    case FailureKind::damaged:
      return fmt::format("{} is damaged: {}. Copy it again from where it was written", named(file),
                         printable(failure.what));
    case FailureKind::tooLarge:
      return fmt::format(
          "{} has {} bytes of shared memory of one broker, and --max-bytes is less. If you trust "
          "the file, give --max-bytes {} or more",
          named(file), failure.bytes, failure.bytes);
    case FailureKind::system:
      return fmt::format("can't read {}: {}. Name a file that zebmon snapshot wrote", named(file),
                         errorText(failure.error));
    default:
      break;
  }
  return fmt::format(
      "{} is no snapshot that this zebmon can read. Name a file that zebmon snapshot wrote",
      named(file));
}

std::string problemOfWriting(const Failure& failure, const std::string& file,
                             const std::string& option) {
  if (failure.kind == FailureKind::notRegular) {
    return fmt::format("{} is no regular file and was left as it is. Name another file with {}",
                       printable(file), option);
  }
  if (failure.error == EEXIST) {
    return fmt::format("{} is there already and was left as it is. Name another file with {}",
                       printable(file), option);
  }
  return fmt::format("can't write {}: {}. Name another file with {}", printable(file),
                     errorText(failure.error), option);
}

std::string originOf(const archived::Loaded& loaded, const std::string& file) {
  return fmt::format("{} was taken on {} at {}{}", named(file),
                     text::shortened(loaded.origin.host, 60),
                     dateAndTime(secondsOf(*loaded.snapshot), Zone::utc),
                     loaded.origin.redacted ? "; texts and message data were left out" : "");
}

std::string fileNameFor(const model::Snapshot& snapshot, int number) {
  std::string time = isoTime(secondsOf(snapshot));
  std::erase_if(time, [](char c) { return c == '-' || c == ':'; });
  const std::string more = number > 1 ? fmt::format("-{}", number) : "";
  return fmt::format("zebmon-{}-{}{}.tar", subjectOf(snapshot), time, more);
}

}  // namespace render
