// SPDX-License-Identifier: Apache-2.0
// A snapshot file that somebody changed: it is refused, or every command shows what it holds, and
// written and read again it is the same.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "agent/archive/facts.h"
#include "agent/archive/snapshot_file.h"
#include "agent/model/calendar.h"
#include "agent/model/message_way.h"
#include "agent/model/nesting.h"
#include "agent/render/archive_words.h"
#include "agent/render/config_screens.h"
#include "agent/render/diff_screens.h"
#include "agent/render/findings_screen.h"
#include "agent/render/lock_screens.h"
#include "agent/render/message_screens.h"
#include "agent/render/rates.h"
#include "agent/render/reset_screens.h"
#include "agent/render/screens.h"
#include "agent/render/size_screens.h"
#include "agent/render/words.h"
#include "tests/fuzz/choices.h"
#include "tests/fuzz/shown.h"
#include "tests/support/broken.h"

namespace {

using archived::Json;
using archived::Loaded;
using fuzz::Choices;
using fuzz::requireJson;
using fuzz::requirePrintable;
using fuzz::requireShown;

constexpr std::int64_t kWall = 1795234171;
const archived::Origin kOrigin{.host = "web1", .version = "1"};

// Each kind of fact has at least one value.
model::Machine machine() {
  model::Machine machine;
  machine.clocks = {std::chrono::seconds(kWall), std::chrono::seconds(5000), kWall - 5000, 100};
  machine.configuration.places = {{"/opt/a", 0, "BASE=/opt"}, {"/opt/b", ENOENT, ""}};
  machine.configuration.path = "/opt/a";
  machine.configuration.exists = true;
  machine.configuration.text = "ZEBMemorySize = 64k\nZEBNodeTrace=on\n";
  machine.configuration.files = {{"ZEBMemorySize", "8192"}};
  machine.limits.segments = machine.limits.usedSegments = 4096;
  machine.keyFiles = {{.path = "/tmp/UUID1.zebcshme", .link = true, .regular = true}};
  for (const char* name : {"UUID1.zebcstar", "zeb_attach_1234", "other"}) {
    reader::Lock lock;
    lock.name = name;
    lock.file.path = std::string("/tmp/") + name + ".zebmutx";
    lock.semaphore.presence = lock.queue.presence = reader::Presence::there;
    lock.semaphore.lastProcess = 1234;
    lock.semaphore.lastOperation = kWall - 100;
    machine.locks.locks.push_back(lock);
  }
  reader::Process& process = machine.processes[1234];
  process.id = 1234;
  process.exists = process.stopped = true;
  process.ended = false;
  process.threads = 3;
  process.startTicks = 1000;
  process.command = "zebhost";
  process.segments = {{.key = 9, .id = 7}};
  return machine;
}

model::Snapshot taken() {
  const broken::Bytes bytes = broken::healthy();
  reader::Segment segment;
  segment.state = reader::State::ok;
  segment.keyFile = "/tmp/UUID1.zebcshme";
  segment.uuid = "UUID1";
  segment.key = 9;
  segment.id = 7;
  segment.size = bytes.size();
  segment.copy = reader::copySegment(bytes, bytes.size());
  auto broker = std::make_shared<model::SeenBroker>(model::decoded(std::move(segment), kWall));
  broker->events = reader::EventLog().read(broker->segment, broker->damage);
  model::makeNearest(*broker->events, kWall);
  model::Snapshot snapshot;
  snapshot.wall += std::chrono::seconds(kWall);
  snapshot.steady += std::chrono::seconds(5000);
  snapshot.directory = "/tmp/";
  snapshot.brokers = {broker};
  snapshot.machine = std::make_shared<const model::Machine>(machine());
  return snapshot;
}

const model::Snapshot& healthy() {
  static const model::Snapshot snapshot = taken();
  return snapshot;
}

std::string archiveOf(const model::Snapshot& snapshot, const archived::Origin& origin) {
  std::string bytes;
  fuzz::require(!archived::write(snapshot, origin, [&bytes](std::string_view part) {
    bytes += part;
    return 0;
  }));
  return bytes;
}

Loaded loaded(const std::string& archive) {
  const int file = memfd_create("archive", MFD_CLOEXEC);
  fuzz::require(write(file, archive.data(), archive.size()) ==
                static_cast<ssize_t>(archive.size()));
  Loaded result =
      archived::load("/proc/self/fd/" + std::to_string(file), model::Events::read, 1 << 20);
  close(file);
  return result;
}

// Of each header the checksum that it should have, so that what follows it is looked at.
void mendHeaders(std::string& archive) {
  constexpr std::size_t kBlock = 512;
  constexpr std::size_t kChecksum = 148;
  constexpr std::size_t kSize = 124;
  for (std::size_t at = 0; at + kBlock <= archive.size() && archive[at] != '\0';) {
    std::memset(&archive[at + kChecksum], ' ', 8);
    unsigned sum = 0;
    for (std::size_t i = 0; i < kBlock; ++i) sum += static_cast<unsigned char>(archive[at + i]);
    std::snprintf(&archive[at + kChecksum], 8, "%06o", sum);
    const std::size_t size = std::strtoul(archive.substr(at + kSize, 11).c_str(), nullptr, 8);
    if (size > archive.size()) return;
    at += kBlock + (size + kBlock - 1) / kBlock * kBlock;
  }
}

std::string withChangedBytes(Choices& choices) {
  std::string archive = archiveOf(healthy(), kOrigin);
  const bool mends = choices.number(0, 3) > 0;
  if (choices.number(0, 7) == 0)
    archive.resize(static_cast<std::size_t>(choices.number(0, 0xFFFF)) % archive.size());
  while (choices.any() && !archive.empty()) {
    const auto at = static_cast<std::size_t>(choices.number(0, 0xFFFF)) % archive.size();
    archive[at] = static_cast<char>(choices.number(0, 255));
  }
  if (mends) mendHeaders(archive);
  return archive;
}

void collect(Json& json, std::vector<Json*>& all) {
  for (Json& inside : json) {
    all.push_back(&inside);
    if (inside.is_structured()) collect(inside, all);
  }
}

Json anyValue(Choices& choices) {
  static const Json kValues[] = {0,
                                 1,
                                 -1,
                                 1e300,
                                 nullptr,
                                 true,
                                 Json::array(),
                                 Json::object(),
                                 {{"hex", "ff00"}},
                                 std::numeric_limits<std::int64_t>::min(),
                                 std::numeric_limits<std::int64_t>::max(),
                                 std::numeric_limits<std::uint64_t>::max(),
                                 std::numeric_limits<std::int32_t>::min(),
                                 std::numeric_limits<std::int32_t>::max(),
                                 std::numeric_limits<std::uint32_t>::max()};
  const std::int64_t kind = choices.number(0, 3);
  if (kind == 0) return choices.oneOf(kValues);
  if (kind == 1) return archived::jsonOfText(choices.text(40));
  return choices.number(-40000, 40000);
}

// Another value, one more of them, or one less.
void edit(Json& document, Choices& choices) {
  std::vector<Json*> all;
  collect(document, all);
  if (all.empty()) return;
  Json& json = *all[static_cast<std::size_t>(choices.number(0, 0xFFFF)) % all.size()];
  if (json.is_array() && choices.number(0, 1) == 0) {
    if (json.empty() || choices.number(0, 1) == 0)
      json.push_back(json.empty() ? anyValue(choices) : Json(json[0]));
    else
      json.erase(json.size() - 1);
  } else if (json.is_object() && !json.empty() && choices.number(0, 3) == 0) {
    json.erase(json.begin());
  } else {
    json = anyValue(choices);
  }
}

// A whole archive whose facts somebody changed.
std::string withChangedFacts(Choices& choices) {
  std::string original = archiveOf(healthy(), kOrigin);
  const int file = memfd_create("archive", MFD_CLOEXEC);
  fuzz::require(write(file, original.data(), original.size()) > 0 && lseek(file, 0, SEEK_SET) == 0);
  archived::TarMembers members = archived::readTar(
      file, [](const std::string&, std::uint64_t) { return archived::Failure(); });
  close(file);
  Json manifest = Json::parse(members.files.at("manifest.json"));
  Json facts = Json::parse(members.files.at("machine.json"));
  for (int i = 0; i < 30 && choices.any(); ++i)
    edit(choices.number(0, 2) == 0 ? manifest : facts, choices);
  for (auto& [name, bytes] : members.files) {
    if (!name.ends_with("statistics") || choices.number(0, 3) != 0) continue;
    while (choices.any()) {
      const auto at = static_cast<std::size_t>(choices.number(0, 0xFFFF)) % bytes.size();
      bytes[at] = static_cast<std::uint8_t>(choices.number(0, 255));
    }
  }
  const auto replace = [](const Json& json) {
    const std::string text = json.dump();
    return std::vector<std::uint8_t>(text.begin(), text.end());
  };
  members.files["machine.json"] = replace(facts);
  if (manifest["members"].is_object())
    manifest["members"]["machine.json"] = members.files["machine.json"].size();
  std::string archive;
  archived::TarWriter writer(
      [&archive](std::string_view part) {
        archive += part;
        return 0;
      },
      0);
  writer.add("manifest.json", replace(manifest));
  members.files.erase("manifest.json");
  for (const auto& [name, bytes] : members.files) writer.add(name, bytes);
  fuzz::require(!writer.finish());
  return archive;
}

std::string archiveFrom(const std::uint8_t* data, std::size_t length) {
  if (length == 0) return {};
  Choices choices(data + 1, length - 1);
  if (data[0] % 3 == 0) return {data + 1, data + length};
  return data[0] % 3 == 1 ? withChangedBytes(choices) : withChangedFacts(choices);
}

void showMemory(const model::Snapshot& snapshot) {
  requireJson(render::statisticsDocument(snapshot));
  requireJson(render::brokersDocument(snapshot));
  requireJson(render::fillDocument(snapshot));
  for (const render::Sheet& sheet :
       {render::brokersSheet(snapshot), render::statisticsSheet(snapshot),
        render::fillSheet(snapshot)})
    requireShown(sheet, snapshot);
  for (const std::string& remark : render::remarksOn(snapshot)) requirePrintable(remark);
  for (const auto& broker : snapshot.brokers) {
    requirePrintable(render::problemOf(*broker));
    for (const std::string& line : render::damageOf(*broker)) requirePrintable(line);
  }
  const auto plans = model::resetPlans(snapshot, snapshot);
  std::vector<model::ResetResult> results;
  for (const auto& plan : plans) results.push_back({.plan = plan, .nodes = {}, .resetTime = {}});
  requireJson(render::resetDocument(snapshot, results, ""));
  requireShown(render::resetSheet(results), snapshot);
  for (const model::MessageWay& way : model::waysOf(snapshot, "")) {
    requireJson(render::messageDocument(snapshot, way));
    requireShown(render::messageSheet(way, render::Zone::utc), snapshot);
  }
}

void showMachine(const model::Snapshot& snapshot) {
  if (!snapshot.machine) return;
  const auto locks = model::locksOf(snapshot, snapshot, true);
  requireJson(render::locksDocument(snapshot, locks));
  requireShown(render::locksSheet(locks), snapshot);
  const reader::Configuration& file = snapshot.machine->configuration;
  const render::ConfigView config{snapshot, model::settingsOf(file, labelsOf(snapshot)),
                                  model::restartsOf(snapshot)};
  requireJson(render::configDocument(config));
  requirePrintable(render::configScreen(config, {.width = 80}));
  model::needsSecondLook(snapshot);
  for (const model::Snapshot* const before :
       {static_cast<const model::Snapshot*>(nullptr), &snapshot, &healthy()}) {
    const model::Findings findings = model::findingsOf(before, snapshot);
    requireJson(render::findingsDocument(findings, snapshot));
    requirePrintable(render::findingsScreen(findings, snapshot, {.width = 80}, ""));
  }
}

void showDifference(const model::Snapshot& before, const model::Snapshot& after) {
  const std::shared_ptr<const model::Snapshot> looks[] = {
      std::make_shared<const model::Snapshot>(before),
      std::make_shared<const model::Snapshot>(after)};
  const model::Apart apart = model::apart(before, after, true);
  const render::DiffView diff{kOrigin,
                              kOrigin,
                              apart,
                              differencesOf(before, after, apart.kind, {}),
                              model::viewOf(looks, {}),
                              true};
  requireJson(render::diffDocument(diff, {}));
  requireJson(render::flowDocument(diff.view, {}));
  requirePrintable(render::diffScreen(diff, {}, {}, {}, {.width = 80}));
  requirePrintable(render::flowScreens(diff.view, {}, {.width = 80}, render::Signs::ascii));
  requirePrintable(render::apartText(diff));
  requireShown(render::ratesSheet(diff.view, {}, true), after);
  requireShown(render::changesSheet(diff.differences, render::Zone::utc), after);
}

std::string told(const Loaded& file) {
  std::string text = render::written(render::statisticsDocument(*file.snapshot)) +
                     render::written(render::brokersDocument(*file.snapshot));
  if (file.snapshot->machine) text += archived::jsonOfMachine(*file.snapshot->machine).dump();
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  const Loaded file = loaded(archiveFrom(data, length));
  fuzz::require((file.snapshot == nullptr) == static_cast<bool>(file.failure));
  requirePrintable(render::problemOfReading(file.failure, "a.tar"));
  if (!file.snapshot) return 0;
  requirePrintable(render::originOf(file, "a.tar"));
  requirePrintable(render::fileNameFor(*file.snapshot));
  showMemory(*file.snapshot);
  showMachine(*file.snapshot);
  showDifference(healthy(), *file.snapshot);
  showDifference(*file.snapshot, healthy());
  const Loaded again = loaded(archiveOf(*file.snapshot, file.origin));
  fuzz::require(again.snapshot != nullptr && told(again) == told(file));
  archived::Origin redacted = file.origin;
  redacted.redacted = true;
  fuzz::require(loaded(archiveOf(*file.snapshot, redacted)).snapshot != nullptr);
  return 0;
}
