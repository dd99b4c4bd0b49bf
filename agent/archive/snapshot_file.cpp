// SPDX-License-Identifier: Apache-2.0
#include "agent/archive/snapshot_file.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>

#include "agent/archive/facts.h"
#include "agent/archive/redact.h"
#include "agent/model/calendar.h"
#include "format/layout.h"

namespace archived {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Kind = Failure::Kind;
using Sizes = std::map<std::string, std::uint64_t>;

constexpr char kManifest[] = "manifest.json";
constexpr char kMachine[] = "machine.json";
constexpr char kSchema[] = "zebmon.snapshot";
constexpr int kVersion = 1;
constexpr std::uint64_t kMostFile = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t kMostMembers = 10000;
constexpr std::uint64_t kMostJson = 32 << 20;
constexpr std::size_t kMostValues = 2000000;  // in one JSON document

// Closes it, unless it is standard input.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ > STDERR_FILENO) close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int number() const { return number_; }

 private:
  int number_;
};

Failure systemFailure() {
  return {.kind = Kind::system, .error = errno};
}

std::string folderOf(std::size_t broker) {
  return "brokers/" + std::to_string(broker) + "/";
}

Bytes textBytes(const Json& document) {
  const std::string text = document.dump(1) + "\n";
  return {text.begin(), text.end()};
}

std::string isoTime(const model::Snapshot& snapshot) {
  return fmt::format("{:%FT%TZ}", fmt::gmtime(static_cast<std::time_t>(secondsOf(snapshot))));
}

template <class Clock>
std::int64_t nanoseconds(std::chrono::time_point<Clock> time) {
  return std::chrono::nanoseconds(time.time_since_epoch()).count();
}

Json manifestOf(const model::Snapshot& snapshot, const Origin& origin, const Sizes& sizes) {
  Json manifest = {{"schema", kSchema},
                   {"version", kVersion},
                   {"zebmonVersion", jsonOfText(origin.version)},
                   {"collectedAt", isoTime(snapshot)},
                   {"wallNs", nanoseconds(snapshot.wall)},
                   {"monotonicNs", nanoseconds(snapshot.steady)},
                   {"host", jsonOfText(origin.host)},
                   {"redacted", origin.redacted},
                   {"temporaryDirectory", jsonOfText(snapshot.directory)},
                   {"error", snapshot.error},
                   {"members", sizes}};
  Json& brokers = manifest["brokers"] = Json::array();
  for (const auto& broker : snapshot.brokers) brokers.push_back(jsonOfSegment(broker->segment));
  return manifest;
}

model::Snapshot withoutTexts(const model::Snapshot& snapshot) {
  model::Snapshot less = snapshot;
  for (auto& broker : less.brokers) {
    auto copy = std::make_shared<model::SeenBroker>();
    copy->segment = redacted(broker->segment);
    broker = std::move(copy);
  }
  return less;
}

// A selection of brokers takes its key files with it alone.
model::Machine machineToWrite(const model::Snapshot& snapshot) {
  model::Machine machine = *snapshot.machine;
  std::erase_if(machine.keyFiles, [&snapshot](const reader::KeyFile& file) {
    return std::ranges::none_of(snapshot.brokers, [&file](const auto& broker) {
      return broker->segment.keyFile == file.path;
    });
  });
  return machine;
}

Failure writeMembers(const model::Snapshot& snapshot, const Origin& origin, const Sink& sink) {
  Sizes sizes;
  std::optional<Bytes> machine;
  if (snapshot.machine) machine = textBytes(jsonOfMachine(machineToWrite(snapshot)));
  if (machine) sizes[kMachine] = machine->size();
  const auto eachArea = [&snapshot](const auto& visit) {
    for (std::size_t i = 0; i < snapshot.brokers.size(); ++i)
      for (const reader::Area& area : snapshot.brokers[i]->segment.copy.areas)
        visit(folderOf(i) + area.name, area.bytes);
  };
  eachArea([&](const std::string& name, const Bytes& bytes) { sizes[name] = bytes.size(); });
  TarWriter writer(sink, secondsOf(snapshot));
  writer.add(kManifest, textBytes(manifestOf(snapshot, origin, sizes)));
  if (machine) writer.add(kMachine, *machine);
  eachArea([&](const std::string& name, const Bytes& bytes) { writer.add(name, bytes); });
  return writer.finish();
}

// The areas of one broker may have `mostBytes` together.
class Bounds {
 public:
  explicit Bounds(std::uint64_t mostBytes) : mostBytes_(mostBytes) {}

  Failure operator()(const std::string& name, std::uint64_t bytes) {
    const bool first = members_++ == 0;
    if (first != (name == kManifest)) return {.kind = Kind::foreign};
    if (members_ > kMostMembers) return {.kind = Kind::damaged, .what = "it has too many members"};
    if (name == kManifest || name == kMachine) {
      if (bytes <= kMostJson) return {};
      return {.kind = Kind::damaged, .what = "its member " + name + " is too large"};
    }
    return ofBroker(name, bytes);
  }

 private:
  Failure ofBroker(const std::string& name, std::uint64_t bytes) {
    if (!name.starts_with("brokers/"))
      return {.kind = Kind::damaged, .what = "nothing in a snapshot is named " + name};
    std::uint64_t& taken = taken_[name.substr(0, name.rfind('/'))];
    if (bytes > mostBytes_ - taken)
      return {.kind = Kind::tooLarge, .what = "one broker in it", .bytes = taken + bytes};
    taken += bytes;
    return {};
  }

  std::uint64_t mostBytes_;
  std::size_t members_ = 0;
  Sizes taken_;
};

const Bytes& bytesOf(const TarMembers& members, const std::string& name) {
  const auto found = members.files.find(name);
  if (found == members.files.end()) throw Malformed{"its member " + name + " is missing"};
  return found->second;
}

Json documentIn(const TarMembers& members, const std::string& name) {
  std::size_t values = 0;
  const auto count = [&](int depth, Json::parse_event_t, Json&) {
    constexpr int kDeepest = 20;
    if (depth > kDeepest || ++values > kMostValues) throw Malformed{name + " has too many values"};
    return true;
  };
  Json document = Json::parse(bytesOf(members, name), count, false);
  if (!document.is_object()) throw Malformed{name + " is no JSON object"};
  return document;
}

void checkSizes(const TarMembers& members, const Json& manifest) {
  for (const auto& [name, size] : memberOf(manifest, "members").items()) {
    if (bytesOf(members, name).size() != unsignedOf(size, kMostFile))
      throw Malformed{"its member " + name + " has another size than its manifest says"};
  }
}

bool believable(const reader::Area& area) {
  constexpr std::array kNames = {reader::kStatistics, reader::kEventTemplates, reader::kEventData};
  return std::ranges::find(kNames, area.name) != kNames.end() &&
         layout::block::bytes <= area.next && area.next <= area.last && area.last <= area.size;
}

reader::Segment segmentIn(TarMembers& members, const Json& json, std::size_t number) {
  reader::Segment segment = segmentOf(json);
  Sizes seen;
  for (reader::Area& area : segment.copy.areas) {
    const std::string name = folderOf(number) + area.name;
    if (!believable(area) || ++seen[area.name] > 1)
      throw Malformed{"what its manifest says of " + name + " can't be true"};
    bytesOf(members, name);
    area.bytes = std::move(members.files[name]);
    // What was too much for one look is not in it.
    if (area.bytes.size() > area.last) throw Malformed{name + " has another size"};
  }
  return segment;
}

std::shared_ptr<const model::SeenBroker> brokerOf(reader::Segment segment, std::int64_t wall,
                                                  model::Events events) {
  auto broker = std::make_shared<model::SeenBroker>(model::decoded(std::move(segment), wall));
  if (events == model::Events::read && broker->segment.size > 0) {
    broker->events = reader::EventLog().read(broker->segment, broker->damage);
    model::makeNearest(*broker->events, wall);
  }
  return broker;
}

template <class Time>
void takeTime(const Json& manifest, const char* name, Time& time) {
  std::chrono::nanoseconds since{0};
  Reading reading(manifest);
  reading(name, since);
  time = Time(since);
}

Origin originOf(const Json& manifest) {
  Origin origin;
  Reading reading(manifest);
  reading("host", origin.host);
  reading("zebmonVersion", origin.version);
  reading("redacted", origin.redacted);
  return origin;
}

std::shared_ptr<const model::Snapshot> snapshotIn(TarMembers& members, const Json& manifest,
                                                  model::Events events) {
  auto snapshot = std::make_shared<model::Snapshot>();
  takeTime(manifest, "wallNs", snapshot->wall);
  takeTime(manifest, "monotonicNs", snapshot->steady);
  Reading reading(manifest);
  reading("temporaryDirectory", snapshot->directory);
  reading("error", snapshot->error);
  checkSizes(members, manifest);
  const Json& brokers = memberOf(manifest, "brokers");
  if (!brokers.is_array()) throw Malformed{"brokers is no list"};
  const std::int64_t wall = secondsOf(*snapshot);
  for (std::size_t i = 0; i < brokers.size(); ++i)
    snapshot->brokers.push_back(brokerOf(segmentIn(members, brokers[i], i), wall, events));
  if (members.files.contains(kMachine)) {
    snapshot->machine =
        std::make_shared<const model::Machine>(machineOf(documentIn(members, kMachine)));
  }
  return snapshot;
}

bool isOurs(const Json& manifest) {
  return manifest.value("schema", Json()) == kSchema &&
         manifest.value("version", Json()) == kVersion;
}

}  // namespace

Failure write(const model::Snapshot& snapshot, const Origin& origin, const Sink& sink) {
  return origin.redacted ? writeMembers(withoutTexts(snapshot), origin, sink)
                         : writeMembers(snapshot, origin, sink);
}

Failure save(const model::Snapshot& snapshot, const Origin& origin, const std::string& path,
             Existing existing) {
  struct stat there {};
  if (lstat(path.c_str(), &there) == 0) {
    if (existing == Existing::keep) return {.kind = Kind::system, .error = EEXIST};
    if (!S_ISREG(there.st_mode)) return {.kind = Kind::notRegular};
  }
  Failure failure;
  const auto fill = [&](const Sink& sink) {
    failure = write(snapshot, origin, sink);
    return !failure;
  };
  const int error = replaceFile(path, fill, existing);
  if (!failure && error != 0) failure = {.kind = Kind::system, .error = error};
  return failure;
}

Loaded load(const std::string& path, model::Events events, std::uint64_t mostBytes) {
  Loaded loaded;
  const Descriptor file(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.number() < 0) {
    loaded.failure = systemFailure();
    return loaded;
  }
  struct stat there {};
  if (fstat(file.number(), &there) == 0 && S_ISDIR(there.st_mode)) {
    loaded.failure = {.kind = Kind::system, .error = EISDIR};
    return loaded;
  }
  TarMembers members = readTar(file.number(), Bounds(mostBytes));
  loaded.failure = std::move(members.failure);
  if (loaded.failure) return loaded;
  try {
    const Json manifest = documentIn(members, kManifest);
    if (isOurs(manifest)) {
      loaded.origin = originOf(manifest);
      loaded.snapshot = snapshotIn(members, manifest, events);
    } else {
      loaded.failure = {.kind = Kind::foreign};
    }
  } catch (const Malformed& malformed) {
    loaded.failure = {.kind = Kind::damaged, .what = malformed.what};
  }
  return loaded;
}

}  // namespace archived
