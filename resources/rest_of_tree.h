// SPDX-License-Identifier: Apache-2.0
// The members of a tree that are not needed as objects, kept as they are stored.
#ifndef ZEB_RESOURCES_REST_OF_TREE_H
#define ZEB_RESOURCES_REST_OF_TREE_H

#include <cstdint>
#include <vector>

#include "records/stored_image.h"
#include "resources/stored_tree.h"

// A monitoring node needs the way to its own place as objects, and no other member of its tree. The
// others are the rest. It holds an image of each: what the tree would write, which may be older
// than what is stored.
//
// A value. Follows the rules by which a tree of objects is rebuilt, and gives up where images can't
// follow them: two members would share an ID or a place in the area, or somebody else changed a
// member's ID, parent, uuid or label. The caller then makes objects of everything.
class ZEB_Rest_Of_Tree {
 public:
  // The records of the way's objects; null for an object that is not there. Not owned.
  struct Way {
    const ZEB_Record* group = nullptr;
    const ZEB_Record* flow = nullptr;
    const ZEB_Record* node = nullptr;
    const ZEB_Record* statistics = nullptr;
  };

  // Takes over what is stored, as a rebuild does:
  // - a known member keeps its image; only one that is deleted here and live there takes the stored
  //   one;
  // - statistics are the stored ones;
  // - new members are added. With keepEmpty 0 deleted nodes are left out, and groups and flows
  //   without nodes are left out or dropped.
  // A node without statistics would get new ones, in the order of the tree, which the rest can't
  // give it. It may have none while the area has no room for them: `room` says whether it has.
  // False, with no image changed, where the rest can't follow. `path` is the stored way. Throws
  // std::bad_alloc, likewise with no image changed.
  bool merge(const ZEB_Stored_Tree& stored, const ZEB_Stored_Tree::Path& path, const Way& way,
             int keepEmpty, bool room);

  // Resets all statistics, here only. False when memory ran out: some are reset then.
  bool clearStatistics();

  // What differs from the area as it was at the last merge. A record may be in it twice: the last
  // one counts.
  const std::vector<ZEB_Stored_Image>& unwritten() const { return unwritten_; }
  void allWritten() { unwritten_.clear(); }
  bool lacksStatistics() const { return lacksStatistics_; }  // of a node

  // All members. Siblings are in the order in which a tree of objects would have them, which is
  // that of their addresses.
  const std::vector<ZEB_Stored_Image>& images() const { return images_; }

  // How many siblings come before that object of the way. The object must be there.
  std::size_t groupsBefore(const Way& way) const { return before(group_, *way.group); }
  std::size_t flowsBefore(const Way& way) const { return before(flow_, *way.flow); }
  std::size_t nodesBefore(const Way& way) const { return before(node_, *way.node); }

 private:
  // Where an object of the way is among its siblings: behind those with a lower address. This
  // is the object's own address if it was found in the area, and else the end of the area as it was
  // when the object was made.
  struct Place {
    ZEB_Record_ID object;
    std::uintptr_t address = 0;
  };

  void note(Place& place, const ZEB_Record* object, const ZEB_Stored_Tree::Entry* stored) const;
  std::uintptr_t addressOf(const Place& place, const ZEB_Record& object) const;
  std::size_t before(const Place& place, const ZEB_Record& object) const;

  std::vector<ZEB_Stored_Image> images_;  // addresses ascend
  std::vector<ZEB_Stored_Image> unwritten_;
  bool lacksStatistics_ = false;
  std::uintptr_t end_ = 0;  // of the area, when it was merged last
  Place group_;
  Place flow_;
  Place node_;
};

#endif  // ZEB_RESOURCES_REST_OF_TREE_H
