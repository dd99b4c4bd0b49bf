// SPDX-License-Identifier: Apache-2.0
#include "setup/notes.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "agent/reader/bounded_file.h"
#include "agent/reader/noted.h"
#include "format/installed.h"
#include "setup/stop.h"

namespace setup {
namespace {

const std::string kFile = layout::kNotedDirectories;
const std::string kNotesFolder = folderOf(kFile);

}  // namespace

Notes::Notes() {
  const reader::FileText file = reader::readFile(kFile, reader::kMostOfNotes);
  if (file.error != 0 && file.error != ENOENT) throw failure(file.error, kFile + " can't be read");
  if (file.cut)
    throw Stop{kDamaged, kFile + " is too large. Remove what is not a directory's line"};
  exists_ = file.error == 0;
  text_ = file.text;
  directories_ = reader::notedIn(text_);
}

bool Notes::has(const std::string& directory) const {
  return std::ranges::find(directories_, directory) != directories_.end();
}

void Notes::requireWritable() const {
  setup::requireWritable(nearest(kNotesFolder), "directory of the notes");
}

void Notes::add(const std::string& directory, Changes& changes) const {
  if (has(directory)) return;
  changes.makeDirectory(kNotesFolder);
  const std::string end = text_.empty() || text_.ends_with('\n') ? "" : "\n";
  const std::string text = text_ + end + directory + "\n";
  exists_ ? changes.rewrite(kFile, text_, text) : changes.writeNew(kFile, text);
}

void Notes::remove(const std::string& directory, Changes& changes) const {
  if (!has(directory)) return;
  std::string left;
  std::string_view rest = text_;
  while (!rest.empty()) {
    const std::string_view line = reader::takeLine(rest);
    if (line != directory) left += std::string(line) + "\n";
  }
  changes.rewrite(kFile, text_, left);
}

// The copy comes first: a file without one is never removed, a copy without one does no harm.
void writeAndNote(const std::string& path, const std::string& text, Changes& changes) {
  const std::string copy = layout::kWrittenFiles + path;
  changes.makeDirectory(folderOf(copy));
  if (access(copy.c_str(), F_OK) == 0) {
    changes.rewrite(copy, reader::readFile(copy, reader::kMostOfNotes).text, text);
  } else {
    changes.writeNew(copy, text);
  }
  changes.writeNew(path, text);
}

}  // namespace setup
