// SPDX-License-Identifier: Apache-2.0
// The directory of the key files, who may clean it, who sees another one, and what lost its file.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "agent/model/findings/kinds.h"
#include "format/names.h"

namespace model::findings {
namespace {

using reader::Cleaner;
using reader::Keyless;
using reader::OtherView;

constexpr char kSudo[] = "run sudo zebmon doctor";

// The users of the brokers here.
std::set<std::uint32_t> ownersOf(const Snapshot& snapshot) {
  std::set<std::uint32_t> owners;
  for (const auto& broker : snapshot.brokers) {
    if (const auto owner = ownerOf(*broker)) owners.insert(*owner);
  }
  return owners;
}

// Empty when it is one in which files can be made.
std::string whyWrong(const reader::Directory& directory, const Snapshot& snapshot) {
  if (directory.error != 0) return "it is not there, or can't be looked at";
  if (!directory.directory) return "it is no directory";
  if (directory.readOnly) return "its file system is read-only";
  for (const std::uint32_t owner : ownersOf(snapshot)) {
    if (!directory.lets(owner)) {
      return fmt::format("user {}, who owns brokers in it, may not make files there (mode {:04o})",
                         owner, directory.mode);
    }
  }
  return {};
}

void addWrong(const reader::Directory& directory, const Looks& looks, Findings& findings) {
  const std::string why = whyWrong(directory, looks.now);
  if (why.empty()) return;
  Finding finding = of("directory.wrong", directory.path, "directory " + directory.path);
  finding.severity = Severity::critical;
  finding.evidence = why;
  finding.effect = "processes that start can't make key files, and measure nothing";
  finding.remedy = "make it a directory that the brokers' user may write to";
  finding.command = directory.error != 0
                        ? fmt::format("install -d -m 1777 {}", quoted(directory.path))
                        : "ls -ld " + quoted(directory.path);
  findings.found.push_back(std::move(finding));
}

void addFull(const reader::Directory& directory, Findings& findings) {
  constexpr std::uint64_t kFewFiles = 1000;
  constexpr std::uint64_t kFewBytes = 1 << 20;
  const bool files = directory.freeFiles && *directory.freeFiles < kFewFiles;
  const bool bytes = directory.freeBytes && *directory.freeBytes < kFewBytes;
  if (!files && !bytes) return;
  Finding finding = of("directory.full", directory.path, "file system of " + directory.path);
  if (directory.freeFiles == 0 || directory.freeBytes == 0) finding.severity = Severity::critical;
  finding.evidence =
      files ? fmt::format("{} are left", counted(*directory.freeFiles, "file", "files"))
            : fmt::format("{} bytes are left", *directory.freeBytes);
  finding.effect = "key files can't be made when it is full, and what starts then measures nothing";
  finding.remedy = "remove what is not needed there";
  finding.command = fmt::format("df {0} {1}", files ? "-i" : "-h", quoted(directory.path));
  findings.found.push_back(std::move(finding));
}

void addDirectory(const Looks& looks, Findings& findings) {
  const auto& directory = looks.machine.directory;
  if (!directory) {
    findings.leaveUnchecked("directory.wrong",
                            "the temporary directory: the look doesn't tell of it");
    return;
  }
  addWrong(*directory, looks, findings);
  if (directory->error == 0) addFull(*directory, findings);
}

void setRemedy(const Cleaner& cleaner, const std::string& directory, Finding& finding) {
  switch (cleaner.kind) {
    case Cleaner::Kind::tmpfiles:
      finding.remedy = "tell it to leave key files alone";
      finding.command = keepKeyFiles(directory);
      return;
    case Cleaner::Kind::tmpreaper:
      finding.remedy = "write this line into " + cleaner.path;
      finding.command = fmt::format("TMPREAPER_PROTECT_EXTRA='{0}*{1} {0}*{2}'", directory,
                                    layout::kSegmentSuffix, layout::kLockSuffix);
      return;
    case Cleaner::Kind::cron:
      break;
  }
  finding.remedy = "leave key files out there; with find for instance by";
  finding.command =
      fmt::format("! -name '*{}' ! -name '*{}'", layout::kSegmentSuffix, layout::kLockSuffix);
}

void addCleaners(const Looks& looks, Findings& findings) {
  const auto& seen = looks.machine.cleaners;
  if (!seen) {
    findings.leaveUnchecked("directory.cleaned",
                            "cleaners of temporary files: the look doesn't tell of them");
    return;
  }
  const std::string& directory = looks.now.directory;
  for (const Cleaner& cleaner : seen->cleaners) {
    Finding finding = of("directory.cleaned", cleaner.path, "key files in " + directory);
    finding.evidence = cleaner.line == 0 ? "tmpreaper removes old files there by default"
                                         : fmt::format("{}, line {}, removes old files there: {}",
                                                       cleaner.path, cleaner.line, cleaner.text);
    finding.effect =
        "key files never change, so they go one day: newer processes then make a second segment";
    setRemedy(cleaner, directory, finding);
    findings.found.push_back(std::move(finding));
  }
  for (const std::string& path : seen->unreadable) {
    findings.leaveUnchecked("directory.cleaned", "cleaners in " + path + ": " + kSudo);
  }
}

std::string nameOf(const OtherView& view) {
  return view.unit.empty() ? fmt::format("process {} ({})", view.process, view.command)
                           : fmt::format("service {}, process {}", view.unit, view.process);
}

// A shell's command that gives the service the settings and restarts it.
std::string dropIn(const std::string& unit, const std::string& settings) {
  const std::string folder = quoted("/etc/systemd/system/" + unit + ".d");
  return fmt::format(
      "mkdir -p {0} && printf '[Service]\\n{1}' > {0}/zeb.conf && systemctl daemon-reload && "
      "systemctl restart {2}",
      folder, settings, quoted(unit));
}

void addView(const OtherView& view, const std::string& directory, Findings& findings) {
  const bool files = view.otherDirectory.value_or(false);
  const bool ipc = view.otherIpc.value_or(false);
  if (!files && !ipc) return;
  Finding finding = of(files ? "view.private-directory" : "view.private-ipc",
                       std::to_string(view.process), nameOf(view));
  finding.evidence =
      fmt::format("it has the library, and {}{}{} of its own", files ? "a " + directory : "",
                  files && ipc ? " and " : "", ipc ? "IPC objects" : "");
  finding.effect = "its brokers are not seen here, and it shares no memory with processes here";
  if (view.unit.empty()) {
    finding.remedy =
        "look from where it is; give it the same directory and IPC namespace if it "
        "belongs to a broker here";
    finding.command = fmt::format("nsenter -t {} -m -i zebmon doctor", view.process);
  } else {
    finding.remedy = "to let all see the same, give the service this drop-in";
    finding.command = dropIn(
        view.unit, std::string(files ? "PrivateTmp=no\\n" : "") + (ipc ? "PrivateIPC=no\\n" : ""));
  }
  findings.found.push_back(std::move(finding));
}

void addViews(const Looks& looks, Findings& findings) {
  const auto& views = looks.machine.views;
  if (!views || views->error != 0) {
    findings.leaveUnchecked("view",
                            "services with a directory of their own: the list of processes "
                            "can't be read");
    return;
  }
  std::size_t unknown = 0;
  for (const OtherView& view : views->others) {
    addView(view, looks.now.directory, findings);
    unknown += !view.otherDirectory;
  }
  if (views->hidden + unknown > 0) {
    findings.leaveUnchecked(
        "view", counted(views->hidden + unknown, "process", "processes") +
                    ": whether they see other files or IPC objects is hidden from this user; " +
                    kSudo);
  }
}

void addLogins(const Looks& looks, Findings& findings) {
  const auto& logins = looks.machine.logins;
  if (!logins) {
    findings.leaveUnchecked("login", "RemoveIPC of logind: the look doesn't tell of it");
    return;
  }
  for (const std::string& path : logins->unreadable) {
    findings.leaveUnchecked("login", "RemoveIPC in " + path + ": " + kSudo);
  }
  for (const std::uint32_t owner : ownersOf(looks.now)) {
    if (!logins->removesIpcOf(owner)) continue;
    Finding finding =
        of("login.removes-ipc", std::to_string(owner), fmt::format("brokers of user {}", owner));
    finding.owner = owner;
    finding.evidence =
        fmt::format("logind has RemoveIPC=yes ({}), and {} is no system user (above {})",
                    logins->path.empty() ? "by default"
                                         : fmt::format("{}, line {}", logins->path, logins->line),
                    owner, logins->lastSystemUser);
    finding.effect =
        "when that user's last session ends, locks and memory are removed under running processes";
    finding.remedy = "write this drop-in, or run the brokers as a system user";
    finding.command =
        "mkdir -p /etc/systemd/logind.conf.d && printf '[Login]\\nRemoveIPC=no\\n' > "
        "/etc/systemd/logind.conf.d/zeb.conf && systemctl restart systemd-logind";
    findings.found.push_back(std::move(finding));
  }
}

bool isDead(std::int32_t process, const Looks& looks) {
  return process == 0 || looks.fateOf(process).fate == Fate::dead;
}

// Nobody seems to use it. Where there is no broker at all, one that is used counts too: its key
// file may have been removed.
bool isWorthTelling(const Keyless& object, const Looks& looks) {
  if (object.kind == Keyless::Kind::segment) {
    return object.users == 0 || looks.now.brokers.empty();
  }
  return isDead(object.firstProcess, looks) && isDead(object.lastProcess, looks);
}

void addKeyless(const Looks& looks, Findings& findings) {
  const auto& list = looks.machine.keyless;
  if (!list || !list->readable) {
    findings.leaveUnchecked("leftover.unknown",
                            "objects whose key files are gone: the kernel's lists, or the "
                            "key files, can't be read");
    return;
  }
  if (list->cut)
    findings.leaveUnchecked("leftover.unknown", "objects without key files: there are too many");
  for (const Keyless& object : list->objects) {
    if (!isWorthTelling(object, looks)) continue;
    const bool segment = object.kind == Keyless::Kind::segment;
    const std::string name =
        segment ? fmt::format("shared memory {}", object.id)
                : fmt::format("semaphore {} with queue {}", object.id, object.queue);
    Finding finding = of("leftover.unknown", std::to_string(object.key), name);
    finding.owner = object.owner;
    finding.evidence = fmt::format(
        "its key is that of a file beside {}, and no key file there has it; {}, user {}",
        looks.now.directory,
        segment ? fmt::format("used by {}", counted(object.users, "process", "processes"))
                : "who used it is dead",
        object.owner);
    finding.effect = segment && object.users > 0
                         ? "if its key file was removed, its figures are not seen"
                         : "none; it takes one of the kernel's objects";
    finding.remedy =
        "it can't be known to be a broker's: find out whose it is, and remove it only "
        "if it is nobody's";
    finding.command =
        segment ? fmt::format("ipcs -m -i {}", object.id) : fmt::format("ipcs -s -i {}", object.id);
    findings.found.push_back(std::move(finding));
  }
}

}  // namespace

std::string keepKeyFiles(const std::string& directory) {
  return fmt::format("printf 'x %s\\n' {0}'*{1}' {0}'*{2}' > /etc/tmpfiles.d/zeb.conf",
                     quoted(directory), layout::kSegmentSuffix, layout::kLockSuffix);
}

void addSurroundings(const Looks& looks, Findings& findings) {
  addDirectory(looks, findings);
  addCleaners(looks, findings);
  addViews(looks, findings);
  addLogins(looks, findings);
  addKeyless(looks, findings);
}

}  // namespace model::findings
