// SPDX-License-Identifier: Apache-2.0
#include "base/settings.h"

#include <dirent.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebctool";

constexpr int kPathBytes = 256;
constexpr int kLineBytes = 512;
constexpr int kCommandBytes = 1024;

constexpr char kTemporaryFile[] = "/tmp/zebregtemp";
constexpr char kAllBrokersKey[] = "ZEBActivateNode";
constexpr char kOneBrokerKey[] = "ZEBActivateNodeFor";

using Path = char[kPathBytes];
using Line = char[kLineBytes];

struct CloseFile {
  void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

bool isBlank(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}

const char* skipBlanks(const char* text) {
  while (isBlank(*text)) ++text;
  return text;
}

bool opens(const char* path) {
  return File(std::fopen(path, "r")) != nullptr;
}

// The next line, as the scan "%[^\n]\n" takes it: the newline of the scan eats the blanks that
// begin the next line too, so only a first line keeps its own. What is longer than the buffer is
// dropped. An empty first line, which that scan can't get past, is read as an empty line, and the
// one behind it keeps its blanks as well.
bool readLine(FILE* file, Line& line) {
  line[0] = '\0';
  const int fields = std::fscanf(file, "%511[^\n]", line);
  if (fields == EOF) return false;
  if (fields == 0) return std::fgetc(file) != EOF;
  if (std::fscanf(file, "%*[^\n]") == EOF) return true;
  // NOLINTNEXTLINE(cert-err33-c): a blank matches always.
  static_cast<void>(std::fscanf(file, "\n"));
  return true;
}

// Matches the line as a scan with the pattern "NAME %s" would, "%" in the name taken as itself: a
// blank of the pattern matches any run of blanks, none as well. False when no word is left.
bool scanWord(const char* line, const char* name, Line& word) {
  for (; *name; ++name) {
    if (isBlank(*name))
      line = skipBlanks(line);
    else if (*line++ != *name)
      return false;
  }
  line = skipBlanks(line);
  std::size_t length = 0;
  while (line[length] && !isBlank(line[length]) && length < sizeof word - 1) ++length;
  std::memcpy(word, line, length);
  word[length] = '\0';
  return length > 0;
}

// A key for one broker is not the key for all, though a blank in the pattern matches no blank:
// only this prefix is protected.
bool matches(const char* line, const char* name, Line& word) {
  if (!scanWord(line, name, word)) return false;
  Line ignored;
  return std::strcmp(name, kAllBrokersKey) != 0 || !scanWord(line, kOneBrokerKey, ignored);
}

// The installation directory in a line of the host's properties: from the first "/" up to the "="
// behind it. A line without one, or with one that is too long, names none: the path begins with
// "/lil" then.
void pathFromProperties(const char* line, Path& path) {
  const char* const begin = std::strchr(line, '/');
  const char* const end = begin ? std::strchr(begin, '=') : nullptr;
  const char* const name = "/lil/zebpnode.cfg";
  const int length = end ? static_cast<int>(end - begin) : 0;
  const int written = std::snprintf(path, sizeof path, "%.*s%s", length, begin ? begin : "", name);
  if (written >= kPathBytes) std::strcpy(path, name);
}

// Runs one command of the probe and takes the path that its first line of output leads to.
bool probe(const ZEB_Trace& trace, int number, const char* command, Path& path) {
  char issued[kCommandBytes];
  std::snprintf(issued, sizeof issued, "%s > %s", command, kTemporaryFile);
  trace.text("Issuing command %d <%s>", number, issued);
  // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): two fixed commands, before messages flow.
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

// The path of the last attempt stands, whether or not a file is there.
void search(const ZEB_Trace& trace, Path& path) {
  std::strcpy(path, "/opt/holt/lil/zebpnode.cfg");
  if (opens(path)) return;
  std::strcpy(path, "/opt/orva/lil/zebpnode.cfg");
  if (opens(path)) return;
  // These two versions of the host only, on purpose.
  static constexpr const char* kCommands[] = {
      "/bin/cat /var/orva/install.properties|/bin/grep =6.0",
      "/bin/cat /var/orva/install.properties|/bin/grep =6.1"};
  for (int number = 0; number < 2; ++number)
    if (probe(trace, number, kCommands[number], path)) return;
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
  Line line;
  Line word = "";
  bool found = false;
  while (!found && readLine(file.get(), line)) found = matches(line, directory ? "" : name, word);
  const char* value = found ? word : "";
  if (found) trace.text("value=<%s>", value);
  if (*value == '=') ++value;
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
