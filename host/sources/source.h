// SPDX-License-Identifier: Apache-2.0
// Where the messages of a flow come from.
//
// Each kind of source has one file here: what it reads from the flow file, and how it is opened. A
// new kind is one more file, one more alternative of SourceSettings and one more row in source.cpp.
#ifndef ZEB_HOST_SOURCES_SOURCE_H
#define ZEB_HOST_SOURCES_SOURCE_H

#include <any>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "flowfile/file.h"
#include "flowfile/reader.h"
#include "host/sources/files.h"
#include "host/sources/generated.h"
#include "host/sources/lines.h"
#include "host/sources/message_source.h"

namespace host {

// What a flow file says of a source.
using SourceSettings = std::variant<Lines, Files, Generated>;

// Reads the source of an input; a flowfile::SourceReader. What comes back holds SourceSettings, or
// nothing when there is a finding.
std::any readSource(flowfile::Section& input, flowfile::Context& context);

// The source of an input that was read with readSource. Throws std::bad_any_cast for any other.
const SourceSettings& settingsOf(const flowfile::Input& input);

// The source as one that begins again whenever it ends. Standard input and pipes end all the same.
SourceSettings withoutEnd(SourceSettings settings);

// Opens the source. `seed` is where its chance starts; `stop` must outlive it. Throws
// FileError when a file or folder can't be read, here or in next().
std::unique_ptr<MessageSource> openSource(const SourceSettings& settings, std::uint64_t seed,
                                          const StopSignal& stop);

// The files that the source reads: "-" for standard input, none for generated messages. What can't
// be looked at is left out.
std::vector<std::filesystem::path> inputsOf(const SourceSettings& settings);

}  // namespace host

#endif  // ZEB_HOST_SOURCES_SOURCE_H
