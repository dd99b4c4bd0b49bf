// SPDX-License-Identifier: Apache-2.0
#include "agent/reader/keyless.h"

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string_view>

#include "agent/reader/bounded_file.h"
#include "format/names.h"
#include "format/sizes.h"

namespace reader {
namespace {

constexpr std::size_t kMostOfList = 1 << 24;
constexpr std::size_t kWords = 10;
constexpr std::uint64_t kPermissions = 660;  // as the lists write them, which is octal

using Numbers = std::array<std::uint64_t, kWords>;

// The first ten numbers of a line; keys may be below 0 there. Nothing when one is none.
std::optional<Numbers> numbersOf(std::string_view line) {
  Numbers numbers{};
  for (std::uint64_t& number : numbers) {
    std::string_view word = takeWord(line);
    const bool below = word.starts_with('-');
    const auto read = unsignedOf(word.substr(below ? 1 : 0));
    if (!read) return std::nullopt;
    number = below ? 0 - *read : *read;
  }
  return numbers;
}

// False when it can't be read to its end.
bool eachLine(const std::string& path, const std::function<void(const Numbers&)>& take) {
  const FileText file = readFile(path, kMostOfList);
  if (file.error != 0 || file.cut || file.text.empty()) return false;
  std::string_view rest = file.text;
  takeLine(rest);  // the heading
  while (!rest.empty()) {
    const std::string_view line = takeLine(rest);
    const auto numbers = numbersOf(line);
    if (!numbers) return false;
    take(*numbers);
  }
  return true;
}

bool isAreas(std::uint64_t size) {
  return size >= layout::segmentSize(layout::kSmallestArea) &&
         (size - layout::block::bytes) % layout::kAreas == 0;
}

}  // namespace

// The columns are: key, id, permissions; then of a segment size, creator, last process,
// attachments, owner; of a set semaphores, owner; of a queue bytes, messages, last sender, last
// receiver, owner.
KeylessList readKeyless(std::uint64_t device, const std::set<std::uint32_t>& known,
                        const std::string& proc) {
  const std::uint32_t bits = static_cast<std::uint32_t>(layout::kKeyProject) << 24 |
                             static_cast<std::uint32_t>(device & 0xFF) << 16;
  const auto isOurs = [&](const Numbers& of) {
    const auto key = static_cast<std::uint32_t>(of[0]);
    return (key & 0xFFFF0000) == bits && of[2] == kPermissions && !known.contains(key);
  };
  const auto process = [](std::uint64_t id) { return static_cast<std::int32_t>(id); };
  KeylessList list;
  std::map<std::uint32_t, Keyless> sets;
  const auto add = [&list](const Keyless& object) {
    list.cut = list.cut || list.objects.size() == KeylessList::kMost;
    if (!list.cut) list.objects.push_back(object);
  };
  const auto segment = [&](const Numbers& of) {
    if (!isOurs(of) || !isAreas(of[3])) return;
    add({.kind = Keyless::Kind::segment,
         .key = static_cast<std::uint32_t>(of[0]),
         .owner = static_cast<std::uint32_t>(of[7]),
         .id = static_cast<int>(of[1]),
         .size = of[3],
         .users = of[6],
         .firstProcess = process(of[4]),
         .lastProcess = process(of[5])});
  };
  const auto set = [&](const Numbers& of) {
    if (!isOurs(of) || of[3] != 1) return;
    sets[static_cast<std::uint32_t>(of[0])] = {.kind = Keyless::Kind::lock,
                                               .key = static_cast<std::uint32_t>(of[0]),
                                               .owner = static_cast<std::uint32_t>(of[4]),
                                               .id = static_cast<int>(of[1])};
  };
  const auto queue = [&](const Numbers& of) {
    const auto found = sets.find(static_cast<std::uint32_t>(of[0]));
    if (!isOurs(of) || found == sets.end()) return;
    found->second.queue = static_cast<int>(of[1]);
    found->second.users = of[4];
    found->second.firstProcess = process(of[5]);
    found->second.lastProcess = process(of[6]);
    add(found->second);
  };
  list.readable = eachLine(proc + "/sysvipc/shm", segment) &&
                  eachLine(proc + "/sysvipc/sem", set) && eachLine(proc + "/sysvipc/msg", queue);
  if (!list.readable) list.objects.clear();
  return list;
}

}  // namespace reader
