// SPDX-License-Identifier: Apache-2.0
// The tree below a broker: all of it as objects, or one node's way as objects and the rest as
// bytes.
#ifndef ZEB_RESOURCES_BROKER_TREE_H
#define ZEB_RESOURCES_BROKER_TREE_H

#include <memory>
#include <optional>
#include <vector>

#include "resources/execution_group.h"
#include "resources/rest_of_tree.h"
#include "resources/stored_tree.h"
#include "store/statistics_area.h"

// Starts whole. `keepTo` makes it partial: it then reads and resets by images what is not on the
// way. It becomes whole again, for good, with the first question or change that images can't
// follow; it is then the tree that it would be if it had been whole all the time.
//
// Belongs to the thread that sets the node up. The broker holds the area's lock where it matters.
class ZEB_Broker_Tree {
 public:
  // Makes the tree partial. Only while it has no groups yet; later, nothing happens. The
  // identifiers of the path must outlive the tree.
  void keepTo(const ZEB_Node_Path& path);
  bool isWhole() const { return !path_; }

  // The groups that are objects: all of a whole tree, else the one on the way, if that.
  ZEB_Execution_Group_Set& part() { return groups_; }
  // Whether `part` would have the group with this identifier if the whole tree has it: always in a
  // whole tree, else for the group of the path.
  bool partHas(const ZEB_Resource_ID& group) const;

  // Makes the tree whole. `rebuild` is called at most once, with the records of all members but the
  // statistics of the way's node, to make objects of them in `part`. The records live no longer
  // than the call.
  template <class Rebuild>
  void makeWhole(Rebuild rebuild) {
    if (isWhole()) return;
    const Members members(*this);
    path_.reset();
    if (!rest_.images().empty()) {
      rebuild(&members.records());
      members.order();
    }
    clearRest();
  }

  // Takes what is stored into the rest, and adds records of what is stored on the way to `path`,
  // for the broker to rebuild `part`; these belong to the caller. False, with nothing done, when
  // the tree is whole or the rest can't follow: everything must be read then, into a whole tree.
  bool read(ZEB_Stats_Area& area, int keepEmpty, ZEB_Record_Set* path);

  // Resets the statistics of the rest, here only: writeRest stores them. False when memory ran out:
  // make it whole then.
  bool clearStatistics() { return rest_.clearStatistics(); }
  // Writes what of the rest differs from what was read, record by record in place. Call it while
  // the area's lock is held.
  void writeRest(ZEB_Stats_Area& area);

  // Drops all members, objects and rest. What is stored stays, and a partial tree stays partial.
  void clear();

 private:
  // All members while the tree is partial, on their way into objects.
  class Members {
   public:
    explicit Members(ZEB_Broker_Tree& tree);
    const ZEB_Record_Set& records() const { return records_; }
    // The way's objects are the first of their siblings: moves them where they belong.
    void order() const;

   private:
    ZEB_Broker_Tree& tree_;
    ZEB_Execution_Group* const group_;
    ZEB_Message_Flow* const flow_;
    ZEB_Node* const node_;
    const ZEB_Rest_Of_Tree::Way way_;
    std::vector<std::unique_ptr<ZEB_Record>> made_;
    ZEB_Record_Set records_;
  };

  // While the tree is partial: the objects on the way, null where there is none.
  ZEB_Execution_Group* group() const;
  ZEB_Message_Flow* flow() const;
  ZEB_Node* node() const;
  ZEB_Rest_Of_Tree::Way way() const;
  bool hasOnlyTheWay() const;
  bool take(ZEB_Stats_Area& area, int keepEmpty, ZEB_Record_Set* path);
  void clearRest();

  std::optional<ZEB_Node_Path> path_;
  std::shared_ptr<ZEB_Stored_Tree> storedTree_;
  ZEB_Rest_Of_Tree rest_;
  ZEB_Execution_Group_Set groups_;
};

#endif  // ZEB_RESOURCES_BROKER_TREE_H
