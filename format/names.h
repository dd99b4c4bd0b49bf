// SPDX-License-Identifier: Apache-2.0
// Names that other processes, other programs and people know. Library, agent and host take them
// from here, so that they meet. docs/operations.md describes the files, docs/format.md the IPC
// objects.
#ifndef ZEB_FORMAT_NAMES_H
#define ZEB_FORMAT_NAMES_H

#include <cstdint>
#include <string_view>

#include "format/layout.h"

namespace layout {

// --- key files: empty files in the temporary directory, from which keys of IPC objects are made
// ---

// The temporary directory when none is configured. A configured one gets a "/" appended if need be.
inline constexpr char kDefaultDirectory[] = "/tmp/";

// The key of an IPC object is ftok(path of its key file, kKeyProject).
inline constexpr int kKeyProject = 1;

// Mode of key files, less the umask, and of all IPC objects.
inline constexpr int kPermissions = 0660;

// A segment's key file: UUID of the broker, kSegmentSuffix. An area is named in the same way, but
// has no key file of its own.
inline constexpr char kSegmentSuffix[] = ".zebcshme";
inline constexpr char kStatisticsSuffix[] = ".zebcstar";
inline constexpr char kEventTemplatesSuffix[] = ".zebcetar";
inline constexpr char kEventDataSuffix[] = ".zebcedar";

// A lock's key file: name of what it guards, kLockSuffix. A record's name is its ID in 32
// hexadecimal digits, a process's attach table has the name kAttachLock with the process ID behind
// it.
inline constexpr char kLockSuffix[] = ".zebmutx";
inline constexpr char kAttachLock[] = "zeb_attach_";

// A suffix is "." and the eyecatcher of the block.
consteval bool names(std::string_view suffix, std::string_view eyecatcher) {
  return suffix.starts_with('.') && suffix.substr(1) == eyecatcher;
}
static_assert(names(kSegmentSuffix, block::segment));
static_assert(names(kStatisticsSuffix, block::statistics));
static_assert(names(kEventTemplatesSuffix, block::eventTemplates));
static_assert(names(kEventDataSuffix, block::eventData));

// --- settings ---

// The configuration file: the first of these that opens. Else kConfigurationName below the
// installation directory that a line of kInstallProperties names.
inline constexpr const char* kConfigurationFiles[] = {"/opt/holt/lil/zebpnode.cfg",
                                                      "/opt/orva/lil/zebpnode.cfg"};
inline constexpr char kConfigurationName[] = "/lil/zebpnode.cfg";
inline constexpr char kInstallProperties[] = "/var/orva/install.properties";

// Keys in it: whether operations are traced, what nodes collect, the same for one broker (its label
// goes behind the key), where key files are, and the bytes of one area. docs/operations.md has
// their values.
inline constexpr char kTraceKey[] = "ZEBNodeTrace";
inline constexpr char kActivateKey[] = "ZEBActivateNode";
inline constexpr char kActivateForKey[] = "ZEBActivateNodeFor";
inline constexpr char kDirectoryKey[] = "ZEBTempDirectory";
inline constexpr char kMemorySizeKey[] = "ZEBMemorySize";

// The file with a broker's UUID is kUuidFile in the folder named by the broker's label below one of
// these, or in the folder kCurrentVersion there, which only the last one has.
inline constexpr const char* kRegistries[] = {"/var/holt/registry/", "/var/orva/registry/"};
inline constexpr char kCurrentVersion[] = "/CurrentVersion";
inline constexpr char kUuidFile[] = "BrokerUUID";

// --- contents ---

// Calendar times, unsigned and of 32 bits, count seconds from 1901-01-01 00:00:00 UTC; this is
// 1970-01-01 00:00:00 UTC.
inline constexpr std::uint32_t kCalendarEpoch = 2177452800;

// The text of an event begins so if, and only if, it tells of an exception.
inline constexpr char kExceptionPrefix[] = "Exception found in ";

}  // namespace layout

#endif  // ZEB_FORMAT_NAMES_H
