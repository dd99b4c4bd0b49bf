// SPDX-License-Identifier: Apache-2.0
#include "base/settings.h"

#include <dirent.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "base/trace.h"
#include "format/names.h"
#include "format/settings.h"

namespace {

constexpr char kUnit[] = "zebctool";

constexpr int kPathBytes = 256;
constexpr int kCommandBytes = 1024;

constexpr char kTemporaryFile[] = "/tmp/zebregtemp";

using Path = char[kPathBytes];

struct CloseFile {
  void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

bool opens(const char* path) {
  return File(std::fopen(path, "r")) != nullptr;
}

// Appends all that the file still holds. False when memory ran out.
bool readAll(FILE* file, std::string& text) {
  char part[1024];
  try {
    while (const std::size_t got = std::fread(part, 1, sizeof part, file)) text.append(part, got);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// The installation directory in a line of the host's properties: from the first "/" up to the "="
// behind it. A line without one, or with one that is too long, names none: the path begins with
// "/lil" then.
void pathFromProperties(const char* line, Path& path) {
  const char* const begin = std::strchr(line, '/');
  const char* const end = begin ? std::strchr(begin, '=') : nullptr;
  const char* const name = layout::kConfigurationName;
  const int length = end ? static_cast<int>(end - begin) : 0;
  const int written = std::snprintf(path, sizeof path, "%.*s%s", length, begin ? begin : "", name);
  if (written >= kPathBytes) std::strcpy(path, name);
}

// Looks for one version in the host's properties, and takes the path that the line leads to.
bool probe(const ZEB_Trace& trace, int number, Path& path) {
  char issued[kCommandBytes];
  std::snprintf(issued, sizeof issued, "/bin/cat %s|/bin/grep =6.%d > %s",
                layout::kInstallProperties, number, kTemporaryFile);
  trace.text("Issuing command %d <%s>", number, issued);
  // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): fixed commands, before messages flow.
  const int returnCode = std::system(issued);
  trace.text("system() rc=%i errno=%i", returnCode, errno);
  char line[kCommandBytes] = {};
  if (returnCode == 0) {
    const File file(std::fopen(kTemporaryFile, "r"));
    if (!file)
      trace.text("Open temp file return false\n");
    else if (!std::fgets(line, sizeof line, file.get()))
      line[0] = '\0';
  }
  if (std::remove(kTemporaryFile) != 0) trace.text("Del temp file return false\n");
  pathFromProperties(line, path);
  if (!opens(path)) return false;
  trace.text("Found the cfg file under folder %s", path);
  return true;
}

// The path of the last attempt is kept, whether or not a file is there.
void search(const ZEB_Trace& trace, Path& path) {
  for (const char* const place : layout::kConfigurationFiles) {
    std::strcpy(path, place);
    if (opens(path)) return;
  }
  // These two versions of the host only, on purpose.
  for (int number = 0; number < 2; ++number)
    if (probe(trace, number, path)) return;
}

const char* resolve(const ZEB_Trace& trace, const char* given) {
  static Path path;
  trace.text("parameter=<%s>", given ? given : "");
  trace.text("pZEBEnvironmentRegistry=%#X", static_cast<const void*>(nullptr));
  if (!given)
    search(trace, path);
  else if (std::snprintf(path, sizeof path, "%s", given) >= kPathBytes)
    path[0] = '\0';
  trace.text("%s", path);
  return path;
}

}  // namespace

const char* ZEB_Environment_Registry(const char* path) {
  ZEB_Trace trace(kUnit, "ZEB_Environment_Registry");
  static const char* const resolved = resolve(trace, path);
  return trace.leave(resolved);
}

ZEB_String ZEB_GetRegistryValue(const char* path, const char* name) {
  ZEB_Trace trace(kUnit, "ZEB_GetRegistryValue");
  if (!path || !name) return {};
  DIR* const directory = opendir(path);
  trace.text("opendir %s rc %Li", path, reinterpret_cast<long long>(directory));
  if (directory) closedir(directory);

  char fileName[PATH_MAX];
  const int length =
      std::snprintf(fileName, sizeof fileName, directory ? "%s/%s" : "%s", path, name);
  if (length >= PATH_MAX) return {};
  const File file(std::fopen(fileName, "rb"));
  trace.text("fopen %s rc %Li", fileName, reinterpret_cast<long long>(file.get()));
  if (!file) return {};

  trace.text("Looking for %s in %s", name, path);
  std::string text;
  if (!readAll(file.get(), text)) return ZEB_String::lost();
  const layout::Setting found = layout::findSetting(text, directory ? "" : name);
  char word[layout::kLongestLine + 1] = "";
  found.word.copy(word, sizeof word - 1);
  if (found.matched()) trace.text("value=<%s>", word);
  const char* const value = word + (found.word.size() - found.value().size());
  trace.text("Value = %s", value);
  return ZEB_String(value);
}

ZEB_String ZEB_FindRegistryValue(const char* path, const char* /*section*/, const char* name,
                                 int report) {
  ZEB_Trace trace(kUnit, "ZEB_FindRegistryValue");
  if (!path || !name) return {};
  ZEB_String value = ZEB_GetRegistryValue(path, name);
  if (report != 0 && value.OK() && value.size() == 0) trace.failed("fopen", "0");
  return value;
}

ZEB_String ZEB_ConfigurationValue(const char* key) {
  return ZEB_FindRegistryValue(ZEB_Environment_Registry(nullptr), "", key, 0);
}
