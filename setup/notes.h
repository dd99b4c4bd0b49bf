// SPDX-License-Identifier: Apache-2.0
// What is remembered of an installation, so that it can be looked at and taken away again.
#ifndef ZEB_SETUP_NOTES_H
#define ZEB_SETUP_NOTES_H

#include <string>
#include <vector>

#include "setup/changes.h"

namespace setup {

// A line that names no directory is none of ours; it stays where it is.
class Notes {
 public:
  // As they are now. Stops when there are some that can't be read.
  Notes();

  const std::vector<std::string>& directories() const { return directories_; }
  bool has(const std::string& directory) const;

  // Stops unless they can be changed.
  void requireWritable() const;

  void add(const std::string& directory, Changes& changes) const;
  void remove(const std::string& directory, Changes& changes) const;

 private:
  std::string text_;
  bool exists_;
  std::vector<std::string> directories_;
};

// Writes a file of the machine that is not there yet, and keeps a copy of it.
void writeAndNote(const std::string& path, const std::string& text, Changes& changes);

}  // namespace setup

#endif  // ZEB_SETUP_NOTES_H
