// SPDX-License-Identifier: Apache-2.0
// What a process saw last in a statistics area: the bytes of each record, and the tree they make.
#ifndef ZEB_RESOURCES_STORED_TREE_H
#define ZEB_RESOURCES_STORED_TREE_H

#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "base/resource_id.h"
#include "records/stored_image.h"

// The way to one node. The identifiers belong to the caller and outlive the path; none is null.
struct ZEB_Node_Path {
  const ZEB_Resource_ID* executionGroup;
  const ZEB_Resource_ID* messageFlow;
  const ZEB_Resource_ID* node;
};

// Trees that are built one after the other find nearly the same records each time. So the process
// keeps what it saw in an area, once for all trees. When it reads again, it compares bytes and
// looks closely only at records that changed.
//
// Knows the rules by which a tree is made of records; knows nothing of areas or locks. The caller
// hands in the stored bytes. Threads may read one stored tree at once: they wait for each other.
class ZEB_Stored_Tree : public std::enable_shared_from_this<ZEB_Stored_Tree> {
 public:
  struct Entry {
    ZEB_Stored_Image image;
    std::uint32_t type;        // of the record
    std::uint32_t size;        // bytes of the image
    bool inTree = false;       // a tree that is made of the area alone has it: it is a member
    std::uint32_t parent = 0;  // of a member other than the broker: which entry is its parent
    std::uint32_t nodes = 0;   // below a group or flow, deleted ones counted
  };
  // The members on the way to a node. From the first that is missing on, all are null. The entries
  // belong to the tree.
  struct Path {
    const Entry* broker;
    const Entry* group;
    const Entry* flow;
    const Entry* node;
    const Entry* statistics;
    bool has(const Entry& entry) const {
      return &entry == broker || &entry == group || &entry == flow || &entry == node ||
             &entry == statistics;
    }
  };

  // The tree of the area whose first record is there. One a process and area, as long as anybody
  // holds it; any thread may ask. Null when memory ran out. The address is never read here.
  static std::shared_ptr<ZEB_Stored_Tree> of(const void* firstRecord);

  explicit ZEB_Stored_Tree(const void* firstRecord);  // for `of` only, which registers it
  ~ZEB_Stored_Tree();
  ZEB_Stored_Tree(const ZEB_Stored_Tree&) = delete;
  ZEB_Stored_Tree& operator=(const ZEB_Stored_Tree&) = delete;

  // Takes in the bytes of the area, `stored`, which others may be writing. Then calls `use`, and
  // keeps other threads out until that returns. False, without a call, when
  // - the bytes are not whole records from end to end,
  // - a record would be stored again as other bytes, or
  // - the tree depends on more than the bytes: see `twins_` and `ambiguous_`.
  // False also when memory ran out here or in `use`.
  template <class Use>
  bool read(std::span<std::uint8_t> stored, Use use) {
    const std::lock_guard guard(reading_);
    try {
      if (refresh(stored)) {
        use();
        return true;
      }
    } catch (const std::bad_alloc&) {
    }
    forget();
    return false;
  }

  // For `use`, and not to be kept behind it: the next reading changes them. Entries are in the
  // order of the area, so their addresses ascend.
  const std::vector<Entry>& entries() const { return entries_; }
  // The way by uuid and label at each step, as a tree of objects finds it.
  Path find(const ZEB_Node_Path& path) const;
  const Entry* memberAt(const void* address) const;  // null: no member is stored there
  // Some node other than the path's has no statistics stored. A tree that is written would give it
  // new ones.
  bool othersLackStatistics(const Path& path) const {
    return withoutStatistics_ > (path.node && !path.statistics ? 1U : 0U);
  }
  bool hasTwins() const { return !twins_.empty(); }  // see `twins_`

  // The bytes that say which record it is: ID, parent, and a resource's uuid and label as stored.
  // Valid as long as the image. The image is not null.
  static std::span<const std::uint8_t> identityOf(const ZEB_Stored_Image& image);

 private:
  bool refresh(std::span<std::uint8_t> stored);
  bool renew(Entry& entry, std::size_t at, std::uint8_t* stored);
  ZEB_Stored_Image imageAt(std::size_t at, std::uint8_t* stored) const;
  void growTree(std::size_t from);
  bool join(std::size_t at);
  bool joinBelow(std::size_t parent, std::size_t at);
  const Entry* broker() const { return root_ ? &entries_[*root_] : nullptr; }
  const Entry* child(const Entry* parent, const ZEB_Resource_ID& id) const;
  const Entry* statistics(const Entry* node) const;
  const Entry* named(const std::string& name) const;
  void forgetTree();
  void forget();

  static ZEB_Stored_Tree* first;
  static std::mutex registering;
  ZEB_Stored_Tree* next_ = nullptr;
  const void* const firstRecord_;

  std::mutex reading_;
  std::vector<std::uint8_t> bytes_;   // being read
  std::vector<std::uint8_t> before_;  // of which the entries were made
  std::vector<Entry> entries_;

  std::optional<std::size_t> root_;
  std::unordered_map<ZEB_Record_ID, std::size_t, ZEB_Record_ID_Hash> byId_;  // no statistics
  std::unordered_map<std::string, std::size_t> byName_;  // parent, uuid and label as stored
  // Members that share parent, uuid and label with a later record. Which of two nodes a tree uses
  // depends on which are deleted. Of two groups or flows it uses the first, unless it drops that as
  // empty.
  std::vector<std::size_t> twins_;
  std::unordered_set<ZEB_Record_ID, ZEB_Record_ID_Hash> missing_;  // parents that nobody is
  std::size_t withoutStatistics_ = 0;                              // nodes
  bool reshaped_ = false;   // the tree is no longer that of the entries
  bool ambiguous_ = false;  // two members have one ID
};

#endif  // ZEB_RESOURCES_STORED_TREE_H
