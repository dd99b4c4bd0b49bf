// SPDX-License-Identifier: Apache-2.0
// What the configuration in force means, and what of it doesn't mean what it seems to.
#ifndef ZEB_AGENT_MODEL_SETTINGS_H
#define ZEB_AGENT_MODEL_SETTINGS_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/model/snapshot.h"

namespace model {

// One key, as a process that starts now would read it. Texts are as the file has them.
struct Setting {
  std::string key;        // that of one broker with its label behind it
  std::size_t line = 0;   // that decides, from 1; 0: none does
  std::string raw;        // that line, unchanged
  std::string value;      // what the library takes of it; may be empty
  std::string effective;  // what that comes to: "off", "InputOutputOnly", "/tmp/", "32768"
  bool isDefault = true;  // the same as without the key
};

// A line that doesn't do what its writer may have meant.
struct Trap {
  enum class Kind {
    blankAroundEquals,  // "K = value": the value counts as empty
    doubleEquals,       // "K==value": the second one belongs to the value
    longerKey,          // the line of another key answers this one
    blanksInFront,      // they count on a first line, so that it matches nothing
    keyCase,            // the key in other letters matches nothing
    valueCase,          // tracing is on for "On" alone
    unknownValue,       // a text that means nothing
    notANumber,         // only the digits in front count
    otherNumber,        // a number that counts as another one, as all below 4096 do
    tooLarge,           // the segment's size wraps: it is smaller than its areas
    restIgnored,        // a value is one word
    noValue,            // a key alone is passed over
    neverReached,       // an earlier line decides
  };

  Kind kind;
  std::string key;
  std::size_t line = 0;       // where it is
  std::string raw;            // the line, unchanged
  std::size_t decidedBy = 0;  // the line that counts instead; of neverReached only
  std::string write;          // what to write instead, or above it for longerKey
};

struct Settings {
  static constexpr std::size_t kMostTraps = 100;

  std::vector<Setting> settings;
  std::vector<Trap> traps;  // by line; the first kMostTraps
};

// All keys, and that of each broker in `labels`.
Settings settingsOf(const reader::Configuration& configuration,
                    const std::vector<std::string>& labels);

// The area size, in bytes, that a segment made now would get.
std::uint32_t configuredArea(const reader::Configuration& configuration);

// What doesn't follow the configuration yet.
struct Restart {
  enum class Why {
    fileIsYounger,  // it was changed after the group's process had started
    otherSize,      // the segment has other areas than are configured
  };

  Why why;
  std::shared_ptr<const SeenBroker> broker;
  std::string group;  // of fileIsYounger, as the next two
  std::int32_t process = 0;
  std::int64_t started = 0;  // seconds since 1970
  std::uint32_t area = 0;    // bytes; of otherSize, as the next
  std::uint32_t configured = 0;
};

// Of the brokers in `snapshot`; none when the machine wasn't looked at.
std::vector<Restart> restartsOf(const Snapshot& snapshot);

}  // namespace model

#endif  // ZEB_AGENT_MODEL_SETTINGS_H
