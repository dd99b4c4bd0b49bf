// SPDX-License-Identifier: Apache-2.0
// Whether a host that starts now would measure, and whether the agent may look.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "agent/model/findings/kinds.h"
#include "agent/model/plug_in.h"
#include "format/installed.h"

namespace model::findings {
namespace {

using reader::Installation;
using reader::PlugInEntry;
using reader::Probe;

std::string errorText(int error) {
  return std::generic_category().message(error);
}

void addGone(const PlugInEntry& entry, Findings& findings) {
  if (entry.error != ENOENT && entry.error != ENOTDIR) {
    findings.leaveUnchecked("install.link", fmt::format("the plug-in in {}: {}; run sudo zebmon "
                                                        "doctor",
                                                        entry.directory, errorText(entry.error)));
    return;
  }
  Finding finding = of("install.directory", entry.directory, "directory " + entry.directory);
  finding.evidence = "the plug-in was enabled there, and the directory is gone";
  finding.effect = "no host loads the plug-in from it";
  finding.remedy = "enable it where the host is now, and forget this directory";
  finding.command = "zebpnode disable --dir " + quoted(entry.directory);
  findings.found.push_back(std::move(finding));
}

void addLink(const PlugInEntry& entry, Findings& findings) {
  const bool missing = entry.kind == PlugInEntry::Kind::missing;
  Finding finding = of("install.link", entry.path(), "plug-in " + entry.path());
  const std::string enable = "zebpnode enable --dir " + quoted(entry.directory);
  if (missing) finding.severity = Severity::critical;
  finding.evidence = missing ? "it was enabled, and is not there"
                     : entry.kind == PlugInEntry::Kind::link
                         ? "it leads to " + entry.target
                         : "it is a file of its own, and no link to the installed library";
  finding.effect = missing ? "a host that starts measures nothing"
                           : "hosts load that one; upgrades of the package don't reach them";
  finding.remedy = missing ? "enable it again" : "to load the installed library, replace it";
  finding.command = missing ? enable : fmt::format("rm {} && {}", quoted(entry.path()), enable);
  findings.found.push_back(std::move(finding));
}

void addEntries(const Installation& seen, Findings& findings) {
  for (const PlugInEntry& entry : seen.entries) {
    if (entry.error != 0) {
      addGone(entry, findings);
    } else if (!entry.leadsTo(seen.library.path)) {
      addLink(entry, findings);
    }
  }
}

std::string whyUnfit(const reader::LibraryFile& library) {
  if (library.error != 0) return "it can't be read: " + errorText(library.error);
  if (library.bits == 0) return "it is no ELF file";
  return fmt::format("it is of {} bits, for machine {}", library.bits, library.machine);
}

std::string whyNotLoaded(const Probe& probe) {
  if (probe.outcome == Probe::Outcome::killed) {
    return fmt::format("signal {} ends a process that loads it", probe.code);
  }
  if (probe.outcome == Probe::Outcome::late) return "a process that loads it does not go on";
  const std::string error = probe.value("error");
  return error.empty() ? fmt::format("the process that tried ended with {}", probe.code) : error;
}

void addUnusable(const char* id, const std::string& library, std::string evidence,
                 Findings& findings) {
  Finding finding = of(id, library, "library " + library);
  finding.severity = Severity::critical;
  finding.evidence = std::move(evidence);
  finding.effect = "a host that starts measures nothing, or ends";
  finding.remedy = "install the package again, for this system";
  finding.command = "apt-get install --reinstall zebpnode";
  findings.found.push_back(std::move(finding));
}

void addLibrary(const Installation& seen, Findings& findings) {
  const Probe& probe = seen.probe;
  const std::string& path = seen.library.path;
  if (!seen.library.fits()) {
    addUnusable("install.library", path, whyUnfit(seen.library), findings);
  } else if (probe.outcome != Probe::Outcome::notTried) {
    if (!probe.loaded()) addUnusable("install.load", path, whyNotLoaded(probe), findings);
  } else if (probe.error != 0) {
    findings.leaveUnchecked("install.load",
                            fmt::format("whether a host can load the plug-in: {}: {}",
                                        layout::installedProbe(), errorText(probe.error)));
  }
}

void addSettingsBeside(const Installation& seen, const reader::Configuration& configuration,
                       Findings& findings) {
  for (const std::string& path : seen.unreadSettings) {
    Finding finding = of("install.settings", path, "settings " + path);
    finding.evidence = configuration.exists ? configuration.path + " is the one in force"
                                            : "the library does not look for settings there";
    finding.effect = "none: it is never read";
    finding.remedy = "put its lines where the library reads them, and remove it; this shows where";
    finding.command = "zebmon config";
    findings.found.push_back(std::move(finding));
  }
}

// The drop-in is for all services of the agent.
std::string dropIn(const std::string& group) {
  return fmt::format(
      "for i in zebmon zebmon-; do d=/etc/systemd/system/$i.service.d; mkdir -p $d && "
      "printf '[Service]\\nSupplementaryGroups=%s\\n' {} > $d/group.conf; done; "
      "systemctl daemon-reload; systemctl try-restart 'zebmon*.service'",
      quoted(group));
}

void addMemberships(const Installation& seen, const std::string& directory, Findings& findings) {
  for (const reader::Membership& one : seen.memberships) {
    if (one.member) continue;
    const bool service = one.user == reader::kServiceUser;
    Finding finding = of("install.group", one.group, "user " + one.user);
    finding.evidence = fmt::format(
        "brokers in {} are of the group {}, and it is in none of that name", directory, one.group);
    finding.effect = "it can't look at them";
    finding.remedy = service ? "give the services the group by this drop-in"
                             : "make it a member, and log in again";
    finding.command = service
                          ? dropIn(one.group)
                          : fmt::format("usermod -aG {} {}", quoted(one.group), quoted(one.user));
    findings.found.push_back(std::move(finding));
  }
}

void addOlderHosts(const Looks& looks, const Installation& seen, Findings& findings) {
  const std::string version = plugInVersion(looks.machine);
  for (const reader::OlderHost& host : seen.olderHosts) {
    Finding finding = of("install.restart", std::to_string(host.process),
                         fmt::format("process {} ({})", host.process, host.command));
    finding.evidence = "it has loaded the library, whose file was replaced since";
    finding.effect = "it goes on with the one of before";
    finding.remedy = "restart the execution group" + (version.empty() ? "" : " to use " + version);
    findings.found.push_back(std::move(finding));
  }
  if (seen.hidden > 0) {
    findings.leaveUnchecked(
        "install.restart",
        counted(seen.hidden, "process", "processes") +
            ": whether they have an older library is hidden from this user; run sudo zebmon "
            "doctor");
  }
}

}  // namespace

void addInstallation(const Looks& looks, Findings& findings) {
  if (!looks.machine.installation) {
    ++findings.unchecked["install"];
    return;
  }
  const Installation& seen = *looks.machine.installation;
  if (seen.error != 0) {
    findings.leaveUnchecked(
        "install", fmt::format("where the plug-in was enabled: {}: {}", layout::kNotedDirectories,
                               errorText(seen.error)));
  }
  addMemberships(seen, looks.now.directory, findings);
  if (seen.entries.empty()) return;
  addEntries(seen, findings);
  addLibrary(seen, findings);
  addSettingsBeside(seen, looks.machine.configuration, findings);
  addOlderHosts(looks, seen, findings);
}

}  // namespace model::findings
