// SPDX-License-Identifier: Apache-2.0
#include "tests/setup/machine.h"

#include <sys/mount.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "format/installed.h"
#include "tests/agent/zebmon.h"

namespace {

namespace fs = std::filesystem;

void install(const std::string& file, const std::string& path) {
  fs::create_directories(fs::path(path).parent_path());
  fs::copy_file(file, path, fs::copy_options::overwrite_existing);
}

}  // namespace

void mountEmpty(const std::string& folder, int entries) {
  fs::create_directories(folder);
  const std::string options =
      "mode=0755" + (entries == kAny ? "" : ",nr_inodes=" + std::to_string(entries + 1));
  if (mount("tmpfs", folder.c_str(), "tmpfs", 0, options.c_str()) != 0) {
    throw std::runtime_error("can't mount " + folder);
  }
}

void unmount(const std::string& folder) {
  if (umount(folder.c_str()) != 0) throw std::runtime_error("can't unmount " + folder);
}

void write(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path) << text;
}

void installHere() {
  for (const char* const folder : {"/run", "/etc", ZEB_PREFIX}) mountEmpty(folder);
  write("/etc/passwd", "root:x:0:0::/:/bin/sh\n");
  write("/etc/group", "root:x:0:\nbrokers:x:0:\nothers:x:12345:\n");
  write("/etc/nsswitch.conf", "passwd: files\ngroup: files\n");
  fs::create_directories("/run/systemd/system");
  fs::create_directories("/var/lib");
  fs::create_directories(kLil);
  install(ZEB_PLUG_IN, layout::kInstalledLibrary);
  install(ZEB_BUILT_PROBE, layout::kProbe);
}

std::string everything() {
  return answerOf(
      "find /opt /var /run /etc -xdev -printf '%p %y %m %l\\n' -type f -exec cat {} ';' | sort");
}
