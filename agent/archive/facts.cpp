// SPDX-License-Identifier: Apache-2.0
#include "agent/archive/facts.h"

#include "agent/reader/names.h"

namespace archived {
namespace {

constexpr const char* kCleaners[] = {"tmpfiles", "tmpreaper", "cron"};
constexpr const char* kKeyless[] = {"segment", "lock"};

}  // namespace

// Not in the namespace above, where calls from templates elsewhere would not find them.

template <class Io>
static void fields(Io& io, Of<Io, reader::Stamp>& stamp) {
  io("seconds", stamp.seconds);
  io("milliseconds", stamp.milliseconds);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Damage>& damage) {
  io("area", damage.area);
  io("offset", damage.offset);
  io("reason", damage.reason);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Area>& area) {
  io("name", area.name);
  io("size", area.size);
  io("next", area.next);
  io("last", area.last);
  io("lastUpdate", area.lastUpdate);
  io("overtaken", area.overtaken);
  io("torn", area.torn);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Segment>& segment) {
  io("keyFile", segment.keyFile);
  io("uuid", segment.uuid);
  io.choice("state", segment.state, reader::kStateNames);
  io("error", segment.error);
  io("call", segment.call);
  io("group", segment.group);
  io.later("owner", segment.owner);
  io.later("fileOwner", segment.fileOwner);
  io("key", segment.key);
  io("id", segment.id);
  io("size", segment.size);
  io("attached", segment.attached);
  io("initialised", segment.copy.initialised);
  io("headerSize", segment.copy.size);
  io("lastUpdate", segment.copy.lastUpdate);
  io("areas", segment.copy.areas);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Clocks>& clocks) {
  io("wallMs", clocks.wall);
  io("sinceBootMs", clocks.sinceBoot);
  io("bootTime", clocks.bootTime);
  io("ticksPerSecond", clocks.ticksPerSecond);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::ConfigurationPlace>& place) {
  io("path", place.path);
  io("error", place.error);
  io("because", place.because);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Configuration>& configuration) {
  io("places", configuration.places);
  io("path", configuration.path);
  io("exists", configuration.exists);
  io("error", configuration.error);
  io("cut", configuration.cut);
  io("modified", configuration.modified);
  io("text", configuration.text);
  io("directory", configuration.directory);
  io("files", configuration.files);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Limits>& limits) {
  io("segmentBytes", limits.segmentBytes);
  io("memoryPages", limits.memoryPages);
  io("segments", limits.segments);
  io("semaphoresPerSet", limits.semaphoresPerSet);
  io("semaphores", limits.semaphores);
  io("operationsPerCall", limits.operationsPerCall);
  io("semaphoreSets", limits.semaphoreSets);
  io("queueBytes", limits.queueBytes);
  io("queues", limits.queues);
  io("pageBytes", limits.pageBytes);
  io("usedPages", limits.usedPages);
  io("usedSegments", limits.usedSegments);
  io("usedSemaphores", limits.usedSemaphores);
  io("usedSemaphoreSets", limits.usedSemaphoreSets);
  io("usedQueues", limits.usedQueues);
}

template <class Io>
static void object(Io& io, Of<Io, reader::IpcObject>& object) {
  io.choice("presence", object.presence, reader::kPresenceNames);
  io("error", object.error);
  io("id", object.id);
  io("key", object.key);
  io("owner", object.owner);
  io("group", object.group);
  io("mode", object.mode);
  io("changed", object.changed);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Semaphore>& semaphore) {
  object(io, semaphore);
  io("semaphores", semaphore.semaphores);
  io("value", semaphore.value);
  io("lastProcess", semaphore.lastProcess);
  io("waiting", semaphore.waiting);
  io("lastOperation", semaphore.lastOperation);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Queue>& queue) {
  object(io, queue);
  io("references", queue.references);
  io("bytes", queue.bytes);
  io("mostBytes", queue.mostBytes);
  io("lastSender", queue.lastSender);
  io("lastReceiver", queue.lastReceiver);
  io("lastSent", queue.lastSent);
  io("lastReceived", queue.lastReceived);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::KeyFile>& file) {
  io("path", file.path);
  io("error", file.error);
  io("link", file.link);
  io("regular", file.regular);
  io("device", file.device);
  io("inode", file.inode);
  io("owner", file.owner);
  io("group", file.group);
  io("mode", file.mode);
  io("size", file.size);
  io("modified", file.modified);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Lock>& lock) {
  io("file", lock.file);
  io("name", lock.name);
  io("semaphore", lock.semaphore);
  io("queue", lock.queue);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::LockList>& list) {
  io("error", list.error);
  io("cut", list.cut);
  io("locks", list.locks);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::MappedSegment>& segment) {
  io("key", segment.key);
  io("id", segment.id);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Process>& process) {
  io("id", process.id);
  io("exists", process.exists);
  io("ended", process.ended);
  io("stopped", process.stopped);
  io("threads", process.threads);
  io("startTicks", process.startTicks);
  io("command", process.command);
  io("segments", process.segments);
  io.later("processorTicks", process.processorTicks);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Directory>& directory) {
  io("path", directory.path);
  io("error", directory.error);
  io("directory", directory.directory);
  io("device", directory.device);
  io("inode", directory.inode);
  io("owner", directory.owner);
  io("group", directory.group);
  io("mode", directory.mode);
  io("readOnly", directory.readOnly);
  io("freeBytes", directory.freeBytes);
  io("freeFiles", directory.freeFiles);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Cleaner>& cleaner) {
  io.choice("kind", cleaner.kind, kCleaners);
  io("path", cleaner.path);
  io("line", cleaner.line);
  io("text", cleaner.text);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Cleaners>& cleaners) {
  io("cleaners", cleaners.cleaners);
  io("unreadable", cleaners.unreadable);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::OtherView>& view) {
  io("process", view.process);
  io("command", view.command);
  io("unit", view.unit);
  io("otherDirectory", view.otherDirectory);
  io("otherIpc", view.otherIpc);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Views>& views) {
  io("error", views.error);
  io("others", views.others);
  io("hidden", views.hidden);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Logins>& logins) {
  io("managed", logins.managed);
  io("removesIpc", logins.removesIpc);
  io("path", logins.path);
  io("line", logins.line);
  io("unreadable", logins.unreadable);
  io("lastSystemUser", logins.lastSystemUser);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Keyless>& object) {
  io.choice("kind", object.kind, kKeyless);
  io("key", object.key);
  io("owner", object.owner);
  io("id", object.id);
  io("queue", object.queue);
  io("size", object.size);
  io("users", object.users);
  io("firstProcess", object.firstProcess);
  io("lastProcess", object.lastProcess);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::KeylessList>& list) {
  io("readable", list.readable);
  io("cut", list.cut);
  io("objects", list.objects);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::PlugInEntry>& entry) {
  io("directory", entry.directory);
  io("error", entry.error);
  io.choice("kind", entry.kind, reader::kPlugInEntryNames);
  io("target", entry.target);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::LibraryFile>& library) {
  io("path", library.path);
  io("error", library.error);
  io("bits", library.bits);
  io("machine", library.machine);
  io("device", library.device);
  io("inode", library.inode);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Probe>& probe) {
  io.choice("outcome", probe.outcome, reader::kProbeNames);
  io("error", probe.error);
  io("code", probe.code);
  io("line", probe.line);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::OlderHost>& host) {
  io("process", host.process);
  io("command", host.command);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Membership>& membership) {
  io("group", membership.group);
  io("user", membership.user);
  io("member", membership.member);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Installation>& installation) {
  io("error", installation.error);
  io("entries", installation.entries);
  io("unreadSettings", installation.unreadSettings);
  io("library", installation.library);
  io("probe", installation.probe);
  io("olderHosts", installation.olderHosts);
  io("hidden", installation.hidden);
  io("memberships", installation.memberships);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Waiter>& waiter) {
  io("process", waiter.process);
  io("semaphore", waiter.semaphore);
}

template <class Io>
static void fields(Io& io, Of<Io, reader::Waits>& waits) {
  io("waiters", waits.waiters);
  io("unsure", waits.unsure);
}

template <class Io>
static void fields(Io& io, Of<Io, model::Machine>& machine) {
  io("clocks", machine.clocks);
  io("configuration", machine.configuration);
  io("limits", machine.limits);
  io("locks", machine.locks);
  io("processes", machine.processes);
  io.later("keyFiles", machine.keyFiles);
  io.later("directory", machine.directory);
  io.later("cleaners", machine.cleaners);
  io.later("views", machine.views);
  io.later("logins", machine.logins);
  io.later("keyless", machine.keyless);
  io.later("installation", machine.installation);
  io.later("waits", machine.waits);
}

Json jsonOfSegment(const reader::Segment& segment) {
  Json json = jsonOf(segment);
  json["damage"] = jsonOf(segment.copy.damage.list());
  return json;
}

reader::Segment segmentOf(const Json& json) {
  reader::Segment segment;
  take(json, segment);
  std::vector<reader::Damage> damage;
  take(memberOf(json, "damage"), damage);
  for (reader::Damage& one : damage) {
    segment.copy.damage.add(std::move(one.area), one.offset, std::move(one.reason));
  }
  return segment;
}

Json jsonOfMachine(const model::Machine& machine) {
  if (machine.locks.locks.size() <= kMostLocks) return jsonOf(machine);
  model::Machine less = machine;
  less.locks.locks.resize(kMostLocks);
  less.locks.cut = true;
  return jsonOf(less);
}

model::Machine machineOf(const Json& json) {
  model::Machine machine;
  take(json, machine);
  return machine;
}

}  // namespace archived
