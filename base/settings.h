// SPDX-License-Identifier: Apache-2.0
// The two kinds of outside settings: the configuration file "zebpnode.cfg", a key and a value a
// line, and the host's registry, a directory per broker with one file per value. One lookup reads
// both; the scan rules, with all their surprises, are laid down in docs/operations.md.
#ifndef ZEB_BASE_SETTINGS_H
#define ZEB_BASE_SETTINGS_H

#include "base/string.h"

// The path of the configuration file, found once per process: `path` itself when the first call
// gives one, else the first of the two fixed places that opens, else the place that the host's
// installation properties name. Later calls ignore their argument. The path may name no file.
const char* ZEB_Environment_Registry(const char* path);

// The value of `name`: in a directory the first word of the file of that name, in a file the word
// behind the key in the first line that begins with it (format/settings.h). Empty when there is
// none or the file can't be read; not OK when memory ran out. The file is opened at every call.
ZEB_String ZEB_GetRegistryValue(const char* path, const char* name);

// The same, and with `report` non-zero a message 2 for an empty value. `section` is not used.
ZEB_String ZEB_FindRegistryValue(const char* path, const char* section, const char* name,
                                 int report);

// The value of a key of the configuration file.
ZEB_String ZEB_ConfigurationValue(const char* key);

#endif  // ZEB_BASE_SETTINGS_H
