// SPDX-License-Identifier: Apache-2.0
#include "resources/rest_of_tree.h"

#include <algorithm>
#include <new>

namespace {

using Entry = ZEB_Stored_Tree::Entry;

std::uintptr_t number(const void* address) {
  return reinterpret_cast<std::uintptr_t>(address);
}

bool isDeleted(const ZEB_Stored_Image& image) {
  return image.header().deleted != 0;
}

bool isAt(const ZEB_Stored_Image& own, const Entry& stored) {
  return own == stored.image || own.address() == stored.image.address();
}

// Whether both are images of one member, of different times.
bool isSameMember(const ZEB_Stored_Image& own, const ZEB_Stored_Image& stored) {
  return own.bytes().size() == stored.bytes().size() &&
         std::ranges::equal(ZEB_Stored_Tree::identityOf(own), ZEB_Stored_Tree::identityOf(stored));
}

// Whether a known member takes over what is stored.
bool takes(const ZEB_Stored_Image& own, const Entry& stored) {
  if (own == stored.image) return false;
  if (stored.type == ZEB_STIR_RECORD) return true;
  return stored.type == ZEB_NOIR_RECORD && isDeleted(own) && !isDeleted(stored.image);
}

// The object is what is stored on its way; neither is there without the other, unless it is still
// to be made.
bool agree(const ZEB_Record* object, const Entry* stored) {
  if (!object) return true;
  if (!object->getAddress() || !stored) return !object->getAddress() && !stored;
  const ZEB_Record_Header header = stored->image.header();
  return stored->image.address() == object->getAddress() && header.id == *object->getRecordId() &&
         header.parent == *object->getParentId();
}

// One merge: which members there are, and which of them the rest leaves out.
class Newest {
 public:
  Newest(const ZEB_Stored_Tree& stored, const ZEB_Stored_Tree::Path& path, int keepEmpty)
      : stored_(stored), path_(path), keepEmpty_(keepEmpty) {}

  template <class Use>
  void forEach(Use use) const {
    for (const Entry& entry : stored_.entries())
      if (entry.inTree && !path_.has(entry)) use(entry);
  }

  // False when images can't follow: of the known members one is not there as it was, or a new one
  // would be among them.
  bool follows(const std::vector<ZEB_Stored_Image>& known) {
    auto next = known.begin();
    std::vector<const Entry*> among;
    bool same = true;
    forEach([&](const Entry& entry) {
      if (next != known.end() && isAt(*next, entry)) {
        same = isKnown(*next++, entry.image) && same;
      } else {
        if (next != known.end()) among.push_back(&entry);
        addNew(entry);
      }
    });
    return same && next == known.end() &&
           std::ranges::none_of(among, [this](const Entry* entry) { return stays(*entry); }) &&
           // What is left out may make room for another of its name.
           (!leavesOut() || !stored_.hasTwins());
  }
  bool leavesOut() const { return !leftOut_.empty(); }
  std::size_t added() const { return added_; }
  std::size_t changed() const { return changed_; }  // known ones

  bool stays(const Entry& entry) const {
    if (keepEmpty_ != 0) return true;
    if (entry.type == ZEB_STIR_RECORD) return !isLeftOut(stored_.entries()[entry.parent]);
    if (entry.type == ZEB_NOIR_RECORD) return !isLeftOut(entry);
    return static_cast<std::ptrdiff_t>(entry.nodes) > leftOutBelow(entry);
  }

 private:
  bool isKnown(const ZEB_Stored_Image& own, const ZEB_Stored_Image& stored) {
    if (own == stored) return true;
    ++changed_;
    return isSameMember(own, stored);
  }
  void addNew(const Entry& entry) {
    ++added_;
    if (keepEmpty_ == 0 && entry.type == ZEB_NOIR_RECORD && isDeleted(entry.image))
      leftOut_.push_back(&entry);
  }
  bool isLeftOut(const Entry& node) const {
    return std::ranges::find(leftOut_, &node) != leftOut_.end();
  }
  std::ptrdiff_t leftOutBelow(const Entry& container) const {
    return std::ranges::count_if(leftOut_, [&](const Entry* node) {
      const Entry& flow = stored_.entries()[node->parent];
      return &flow == &container || &stored_.entries()[flow.parent] == &container;
    });
  }

  const ZEB_Stored_Tree& stored_;
  const ZEB_Stored_Tree::Path& path_;
  const int keepEmpty_;
  std::size_t added_ = 0;
  std::size_t changed_ = 0;
  std::vector<const Entry*> leftOut_;  // new nodes
};

}  // namespace

bool ZEB_Rest_Of_Tree::merge(const ZEB_Stored_Tree& stored, const ZEB_Stored_Tree::Path& path,
                             const Way& way, int keepEmpty, bool room) {
  if (!agree(way.group, path.group) || !agree(way.flow, path.flow) || !agree(way.node, path.node))
    return false;
  // Statistics that the object keeps must not be another member's.
  if (way.statistics && !path.statistics && stored.memberAt(way.statistics->getAddress()))
    return false;
  Newest newest(stored, path, keepEmpty);
  if (!newest.follows(images_)) return false;
  const bool lacking = stored.othersLackStatistics(path);
  if (lacking && (room || newest.leavesOut())) return false;

  std::vector<ZEB_Stored_Image> merged;
  std::vector<ZEB_Stored_Image> unwritten;
  merged.reserve(images_.size() + newest.added());
  unwritten.reserve(newest.changed());
  auto known = images_.begin();
  newest.forEach([&](const Entry& entry) {
    const bool isKnown = known != images_.end() && isAt(*known, entry);
    ZEB_Stored_Image image = isKnown && !takes(*known, entry) ? std::move(*known) : entry.image;
    if (isKnown) ++known;
    if (!newest.stays(entry)) return;
    if (image != entry.image) unwritten.push_back(image);
    merged.push_back(std::move(image));
  });
  note(group_, way.group, path.group);
  note(flow_, way.flow, path.flow);
  note(node_, way.node, path.node);
  end_ = stored.entries().empty() ? 0 : number(stored.entries().back().image.address()) + 1;
  lacksStatistics_ = lacking;
  images_.swap(merged);
  unwritten_.swap(unwritten);
  return true;
}

bool ZEB_Rest_Of_Tree::clearStatistics() {
  try {
    for (ZEB_Stored_Image& image : images_) {
      const std::span<const std::uint8_t> present = image.bytes();
      if (layout::typeOf(present.data()) != ZEB_STIR_RECORD) continue;
      std::uint8_t cleared[layout::stir::bytes] = {};
      std::ranges::copy(present.first(layout::header::bytes), cleared);
      if (std::ranges::equal(present, cleared)) continue;
      ZEB_Stored_Image next = ZEB_Stored_Image::of(cleared, image.address());
      if (!next) return false;
      unwritten_.push_back(next);
      image = std::move(next);
    }
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void ZEB_Rest_Of_Tree::note(Place& place, const ZEB_Record* object, const Entry* stored) const {
  if (object)
    place = {*object->getRecordId(), addressOf(place, *object)};
  else if (stored)
    place = {stored->image.header().id, number(stored->image.address())};
}

std::uintptr_t ZEB_Rest_Of_Tree::addressOf(const Place& place, const ZEB_Record& object) const {
  return place.object == *object.getRecordId() ? place.address : end_;
}

std::size_t ZEB_Rest_Of_Tree::before(const Place& place, const ZEB_Record& object) const {
  const std::uintptr_t behind = addressOf(place, object);
  return static_cast<std::size_t>(
      std::ranges::count_if(images_, [&](const ZEB_Stored_Image& image) {
        const ZEB_Record_Header header = image.header();
        return header.id.type == object.type() && header.parent == *object.getParentId() &&
               number(image.address()) < behind;
      }));
}
