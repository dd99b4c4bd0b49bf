// SPDX-License-Identifier: Apache-2.0
#include "resources/stored_tree.h"

#include <algorithm>
#include <cstring>

#include "base/private_bytes.h"
#include "base/shared_bytes.h"
#include "records/record_factory.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr ZEB_RecordType kLevels[] = {ZEB_BRIR_RECORD, ZEB_EGIR_RECORD, ZEB_MFIR_RECORD,
                                      ZEB_NOIR_RECORD, ZEB_STIR_RECORD};

// Of the stored string at that place.
std::size_t endOfString(Bytes bytes, std::size_t at) {
  std::uint32_t units;
  std::memcpy(&units, bytes.data() + at, sizeof units);
  return at + layout::kEmptyString + 2 * std::size_t{units};
}

// What nobody shares with it in a tree: parent, uuid and label, which stand one behind the other.
// The parent alone for statistics, and for what is in no tree.
std::string nameOf(const ZEB_Stored_Image& image) {
  const Bytes bytes = image.bytes();
  const std::uint32_t type = layout::typeOf(bytes.data());
  std::size_t end = layout::header::bytes;
  if (type >= ZEB_BRIR_RECORD && type <= ZEB_NOIR_RECORD)
    end = endOfString(bytes, endOfString(bytes, end));
  constexpr std::size_t kBegin = layout::header::parent.offset;
  return {reinterpret_cast<const char*>(bytes.data()) + kBegin, end - kBegin};
}

void append(std::string& name, const ZEB_String& text) {
  const std::size_t at = name.size();
  name.resize(at + text.binarySize());
  text.put(name.data() + at);
}

std::string nameBelow(const ZEB_Stored_Tree::Entry& parent) {
  const ZEB_Record_ID id = parent.image.header().id;
  return {reinterpret_cast<const char*>(&id), sizeof id};
}

// Whether a record that is made of these bytes is stored as the same bytes. Statistics need not:
// a reset clears them.
bool lasting(Bytes bytes, void* address) {
  const std::unique_ptr<ZEB_Record> record = ZEB_MakeBlankRecord(layout::typeOf(bytes.data()));
  if (!record) return false;
  record->getFrom(bytes.data(), address);
  if (record->isNewer(_TimeStamp{}) == 0) return false;  // nobody would find it
  if (record->type() == ZEB_STIR_RECORD) return true;
  ZEB_Private_Bytes again(bytes.size());
  if (!again.data() || record->size() != bytes.size()) return false;
  record->putTo(again.data(), address);
  return std::memcmp(again.data(), bytes.data(), bytes.size()) == 0;
}

}  // namespace

ZEB_Stored_Tree* ZEB_Stored_Tree::first = nullptr;
std::mutex ZEB_Stored_Tree::registering;

std::shared_ptr<ZEB_Stored_Tree> ZEB_Stored_Tree::of(const void* firstRecord) {
  const std::lock_guard guard(registering);
  for (ZEB_Stored_Tree* known = first; known; known = known->next_)
    if (known->firstRecord_ == firstRecord)
      if (auto held = known->weak_from_this().lock()) return held;
  try {
    auto made = std::make_shared<ZEB_Stored_Tree>(firstRecord);
    made->next_ = std::exchange(first, made.get());
    return made;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

ZEB_Stored_Tree::ZEB_Stored_Tree(const void* firstRecord) : firstRecord_(firstRecord) {}

ZEB_Stored_Tree::~ZEB_Stored_Tree() {
  const std::lock_guard guard(registering);
  ZEB_Stored_Tree** link = &first;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
}

bool ZEB_Stored_Tree::refresh(std::span<std::uint8_t> stored) {
  bytes_.resize(stored.size());
  if (!bytes_.empty()) ZEB_CopyFromShared(bytes_.data(), stored.data(), bytes_.size());
  std::size_t at = 0;
  std::size_t known = 0;
  for (; known < entries_.size() && renew(entries_[known], at, stored.data()); ++known)
    at += entries_[known].size;
  if (known < entries_.size()) {
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(known), entries_.end());
    reshaped_ = true;
  }
  for (; at < bytes_.size(); at += entries_.back().size) {
    ZEB_Stored_Image image = imageAt(at, stored.data());
    if (!image) return false;
    const auto size = static_cast<std::uint32_t>(image.bytes().size());
    entries_.push_back({std::move(image), size});
  }
  before_.swap(bytes_);
  if (reshaped_ || orphans_) {
    forgetTree();
    known = 0;
  }
  growTree(known);
  return !ambiguous_ && std::ranges::none_of(
                            twins_, [this](std::size_t twin) { return entries_[twin].nodes == 0; });
}

// False when another record stands there now.
bool ZEB_Stored_Tree::renew(Entry& entry, std::size_t at, std::uint8_t* stored) {
  if (bytes_.size() - at < entry.size) return false;
  if (std::memcmp(bytes_.data() + at, before_.data() + at, entry.size) == 0) return true;
  ZEB_Stored_Image image = imageAt(at, stored);
  if (!image || image.bytes().size() != entry.size) return false;
  if (image.header().id != entry.image.header().id || nameOf(image) != nameOf(entry.image))
    reshaped_ = true;
  entry.image = std::move(image);
  return true;
}

ZEB_Stored_Image ZEB_Stored_Tree::imageAt(std::size_t at, std::uint8_t* stored) const {
  const std::size_t size = layout::storedSize(Bytes(bytes_).subspan(at));
  const Bytes bytes(bytes_.data() + at, size);
  return size > 0 && lasting(bytes, stored + at) ? ZEB_Stored_Image::of(bytes, stored + at)
                                                 : ZEB_Stored_Image();
}

// Level by level: a child may stand before its parent.
void ZEB_Stored_Tree::growTree(std::size_t from) {
  for (const ZEB_RecordType level : kLevels)
    for (std::size_t at = from; at < entries_.size(); ++at)
      if (layout::typeOf(entries_[at].image.bytes().data()) == level)
        entries_[at].inTree = join(at);
}

// Into the tree, as a tree is built: below its parent, unless an equally named one is there.
bool ZEB_Stored_Tree::join(std::size_t at) {
  const ZEB_Record_Header header = entries_[at].image.header();
  const bool isNode = header.id.type == ZEB_NOIR_RECORD;
  const bool isStatistics = header.id.type == ZEB_STIR_RECORD;
  const auto parent = byId_.find(header.parent);
  if (header.id.type == ZEB_BRIR_RECORD) {
    if (root_) return false;
    root_ = at;
  } else {
    if (header.parent.type != header.id.type - 1) return false;
    if (parent == byId_.end()) {
      orphans_ = true;
      return false;
    }
    const auto [known, isNew] = byName_.try_emplace(nameOf(entries_[at].image), at);
    if (!isNew) {
      if (!isStatistics) twins_.push_back(known->second);
      return false;
    }
  }
  if (isNode) {
    ++entries_[parent->second].nodes;
    ++entries_[byId_.at(entries_[parent->second].image.header().parent)].nodes;
    ++withoutStatistics_;
  }
  if (isStatistics)
    --withoutStatistics_;
  else if (!byId_.try_emplace(header.id, at).second)
    ambiguous_ = true;
  return true;
}

const ZEB_Stored_Tree::Entry* ZEB_Stored_Tree::child(const Entry* parent,
                                                     const ZEB_Resource_ID& id) const {
  if (!parent) return nullptr;
  std::string name = nameBelow(*parent);
  append(name, id.getUuid());
  append(name, id.getLabel());
  return find(name);
}

const ZEB_Stored_Tree::Entry* ZEB_Stored_Tree::statistics(const Entry* node) const {
  return node ? find(nameBelow(*node)) : nullptr;
}

const ZEB_Stored_Tree::Entry* ZEB_Stored_Tree::find(const std::string& name) const {
  const auto found = byName_.find(name);
  return found == byName_.end() ? nullptr : &entries_[found->second];
}

void ZEB_Stored_Tree::forgetTree() {
  for (Entry& entry : entries_) {
    entry.inTree = false;
    entry.nodes = 0;
  }
  root_.reset();
  byId_.clear();
  byName_.clear();
  twins_.clear();
  withoutStatistics_ = 0;
  reshaped_ = orphans_ = ambiguous_ = false;
}

void ZEB_Stored_Tree::forget() {
  entries_.clear();
  forgetTree();
}
