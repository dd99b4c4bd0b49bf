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

// What a member of a tree shares with no other: its identity without the ID.
std::string nameOf(const ZEB_Stored_Image& image) {
  const Bytes name = ZEB_Stored_Tree::identityOf(image).subspan(layout::header::id.width);
  return {reinterpret_cast<const char*>(name.data()), name.size()};
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

std::span<const std::uint8_t> ZEB_Stored_Tree::identityOf(const ZEB_Stored_Image& image) {
  const Bytes bytes = image.bytes();
  const std::uint32_t type = layout::typeOf(bytes.data());
  std::size_t end = layout::header::bytes;
  if (type >= ZEB_BRIR_RECORD && type <= ZEB_NOIR_RECORD)
    end = endOfString(bytes, endOfString(bytes, end));
  constexpr std::size_t kBegin = layout::header::id.offset;
  return bytes.subspan(kBegin, end - kBegin);
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
    const Bytes bytes = image.bytes();
    entries_.push_back({.image = std::move(image),
                        .type = layout::typeOf(bytes.data()),
                        .size = static_cast<std::uint32_t>(bytes.size())});
  }
  before_.swap(bytes_);
  if (!reshaped_) growTree(known);
  if (reshaped_) {
    forgetTree();
    growTree(0);
  }
  return !ambiguous_ && std::ranges::none_of(
                            twins_, [this](std::size_t twin) { return entries_[twin].nodes == 0; });
}

// False when another record is there now.
bool ZEB_Stored_Tree::renew(Entry& entry, std::size_t at, std::uint8_t* stored) {
  if (bytes_.size() - at < entry.size) return false;
  if (std::memcmp(bytes_.data() + at, before_.data() + at, entry.size) == 0) return true;
  ZEB_Stored_Image image = imageAt(at, stored);
  if (!image || image.bytes().size() != entry.size) return false;
  if (!std::ranges::equal(identityOf(image), identityOf(entry.image))) reshaped_ = true;
  entry.image = std::move(image);
  return true;
}

ZEB_Stored_Image ZEB_Stored_Tree::imageAt(std::size_t at, std::uint8_t* stored) const {
  const std::size_t size = layout::storedSize(Bytes(bytes_).subspan(at));
  const Bytes bytes(bytes_.data() + at, size);
  return size > 0 && lasting(bytes, stored + at) ? ZEB_Stored_Image::of(bytes, stored + at)
                                                 : ZEB_Stored_Image();
}

// Level by level: a child may come before its parent.
void ZEB_Stored_Tree::growTree(std::size_t from) {
  for (const ZEB_RecordType level : kLevels)
    for (std::size_t at = from; at < entries_.size(); ++at)
      if (entries_[at].type == level) entries_[at].inTree = join(at);
}

// Into the tree, as a tree is built: below its parent, unless one of that name is there.
bool ZEB_Stored_Tree::join(std::size_t at) {
  const ZEB_Record_Header header = entries_[at].image.header();
  if (header.id.type == ZEB_BRIR_RECORD) {
    if (root_) return false;
    root_ = at;
  } else {
    if (header.parent.type != header.id.type - 1) return false;
    const auto parent = byId_.find(header.parent);
    if (parent == byId_.end()) {
      missing_.insert(header.parent);
      return false;
    }
    if (!joinBelow(parent->second, at)) return false;
  }
  if (header.id.type == ZEB_STIR_RECORD) return true;
  if (!byId_.try_emplace(header.id, at).second) ambiguous_ = true;
  if (missing_.contains(header.id)) reshaped_ = true;
  return true;
}

bool ZEB_Stored_Tree::joinBelow(std::size_t parent, std::size_t at) {
  Entry& entry = entries_[at];
  const auto [known, isNew] = byName_.try_emplace(nameOf(entry.image), at);
  if (!isNew) {
    if (entry.type != ZEB_STIR_RECORD) twins_.push_back(known->second);
    return false;
  }
  entry.parent = static_cast<std::uint32_t>(parent);
  if (entry.type == ZEB_STIR_RECORD) --withoutStatistics_;
  if (entry.type == ZEB_NOIR_RECORD) {
    ++withoutStatistics_;
    ++entries_[parent].nodes;
    ++entries_[entries_[parent].parent].nodes;
  }
  return true;
}

ZEB_Stored_Tree::Path ZEB_Stored_Tree::find(const ZEB_Node_Path& path) const {
  const Entry* const group = child(broker(), *path.executionGroup);
  const Entry* const flow = child(group, *path.messageFlow);
  const Entry* const node = child(flow, *path.node);
  return {broker(), group, flow, node, statistics(node)};
}

const ZEB_Stored_Tree::Entry* ZEB_Stored_Tree::memberAt(const void* address) const {
  const auto found = std::ranges::lower_bound(
      entries_, address, {},
      [](const Entry& entry) -> const void* { return entry.image.address(); });
  const bool stored = found != entries_.end() && found->image.address() == address;
  return stored && found->inTree ? &*found : nullptr;
}

const ZEB_Stored_Tree::Entry* ZEB_Stored_Tree::child(const Entry* parent,
                                                     const ZEB_Resource_ID& id) const {
  if (!parent) return nullptr;
  std::string name = nameBelow(*parent);
  append(name, id.getUuid());
  append(name, id.getLabel());
  return named(name);
}

const ZEB_Stored_Tree::Entry* ZEB_Stored_Tree::statistics(const Entry* node) const {
  return node ? named(nameBelow(*node)) : nullptr;
}

const ZEB_Stored_Tree::Entry* ZEB_Stored_Tree::named(const std::string& name) const {
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
  missing_.clear();
  withoutStatistics_ = 0;
  reshaped_ = ambiguous_ = false;
}

void ZEB_Stored_Tree::forget() {
  entries_.clear();
  forgetTree();
}
