// SPDX-License-Identifier: Apache-2.0
// Limits of the kernel that are nearly reached.
#include <fmt/format.h>

#include <algorithm>

#include "agent/model/findings/kinds.h"

namespace model::findings {
namespace {

using Count = reader::Limits::Count;

struct Limit {
  const char* what;
  const char* setting;
  Count used;
  Count most;
  std::string value = {};  // to set, where the setting has more numbers than this one
  const char* of = setting;
};

// Nine tenths of it are in use.
bool isNear(std::uint64_t used, std::uint64_t most) {
  return used >= most || most - used <= most / 10;
}

// A setting never gets larger than this by advice; a hostile number would overflow.
std::uint64_t twice(std::uint64_t most) {
  return std::min<std::uint64_t>(most, 1U << 30) * 2;
}

void look(const Limit& limit, Findings& findings) {
  if (!limit.used || !limit.most) {
    findings.leaveUnchecked(
        "limits", fmt::format("{}: the kernel doesn't tell {}", limit.what, limit.setting));
    return;
  }
  if (!isNear(*limit.used, *limit.most)) return;
  Finding finding;
  finding.id = "limits.near";
  finding.of = limit.of;
  if (*limit.used >= *limit.most) finding.severity = Severity::critical;
  finding.object = fmt::format("{} of this machine", limit.what);
  finding.evidence = fmt::format("{} of {} are in use", *limit.used, *limit.most);
  finding.effect = "what starts next gets none, and measures nothing";
  finding.remedy = fmt::format("raise {}, also in /etc/sysctl.d", limit.setting);
  finding.command =
      fmt::format("sysctl -w {}='{}'", limit.setting,
                  limit.value.empty() ? std::to_string(twice(*limit.most)) : limit.value);
  findings.found.push_back(std::move(finding));
}

void lookAtQueue(const reader::Lock& lock, const Looks& looks, Findings& findings) {
  const reader::Queue& queue = lock.queue;
  const std::uint64_t used = std::max(queue.bytes, queue.references);
  if (queue.presence != reader::Presence::there || !isNear(used, queue.mostBytes)) return;
  const Guarded guarded = looks.guards.of(lock.name);
  Finding finding;
  finding.id = "lock.references";
  finding.of = lock.file.path;
  finding.object = "queue of the lock of " + nameOf(guarded);
  finding.evidence = fmt::format("{} of {} bytes are in use", used, queue.mostBytes);
  finding.effect = "users that don't fit are not counted, and the lock may be removed under them";
  finding.remedy = "raise kernel.msgmnb, then restart the broker";
  finding.command = fmt::format("sysctl -w kernel.msgmnb={}", twice(queue.mostBytes));
  finding.concern(guarded);
  finding.owner = lock.file.owner;
  findings.found.push_back(std::move(finding));
}

// All numbers of kernel.sem, with room where there is little.
std::string semaphoreNumbers(const reader::Limits& limits) {
  const auto roomy = [](Count used, std::uint64_t most) {
    return used && isNear(*used, most) ? twice(most) : most;
  };
  return fmt::format("{} {} {} {}", limits.semaphoresPerSet.value_or(32000),
                     roomy(limits.usedSemaphores, limits.semaphores.value_or(1024000000)),
                     limits.operationsPerCall.value_or(500),
                     roomy(limits.usedSemaphoreSets, limits.semaphoreSets.value_or(32000)));
}

}  // namespace

void addLimits(const Looks& looks, Findings& findings) {
  const reader::Limits& limits = looks.machine.limits;
  const std::string semaphores = semaphoreNumbers(limits);
  for (const Limit& limit : {
           Limit{"segments", "kernel.shmmni", limits.usedSegments, limits.segments},
           Limit{"pages of segments", "kernel.shmall", limits.usedPages, limits.memoryPages},
           Limit{"queues", "kernel.msgmni", limits.usedQueues, limits.queues},
           Limit{"semaphore sets", "kernel.sem", limits.usedSemaphoreSets, limits.semaphoreSets,
                 semaphores},
           Limit{"semaphores", "kernel.sem", limits.usedSemaphores, limits.semaphores, semaphores,
                 "kernel.sem 2"},
       }) {
    look(limit, findings);
  }
  for (const reader::Lock& lock : looks.machine.locks.locks) lookAtQueue(lock, looks, findings);
}

}  // namespace model::findings
