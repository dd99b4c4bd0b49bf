// SPDX-License-Identifier: Apache-2.0
// What a process saw last in a statistics area: each record's stored form, and the tree that they
// make.
#ifndef ZEB_STORE_CATALOGUE_H
#define ZEB_STORE_CATALOGUE_H

#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/resource_id.h"
#include "records/stored_image.h"

// Trees that are built one after the other find nearly the same records each time. The catalogue
// compares what stands in the area with what stood there, and looks closely only at what differs.
class ZEB_Stored_Tree : public std::enable_shared_from_this<ZEB_Stored_Tree> {
 public:
  struct Entry {
    ZEB_Stored_Image image;
    std::uint32_t size;       // bytes of the image
    bool inTree = false;      // a tree that is built anew has it
    std::uint32_t nodes = 0;  // in the tree below this group or flow
  };

  // The catalogue of the area whose records begin there, one a process as long as somebody holds
  // it; null when memory ran out.
  static std::shared_ptr<ZEB_Stored_Tree> of(const void* firstRecord);

  explicit ZEB_Stored_Tree(const void* firstRecord);  // for `of`, which registers it
  ~ZEB_Stored_Tree();
  ZEB_Stored_Tree(const ZEB_Stored_Tree&) = delete;
  ZEB_Stored_Tree& operator=(const ZEB_Stored_Tree&) = delete;

  // Brings the catalogue up to date with the area's bytes and lets it be used, while no other
  // thread changes it. False when these are not records from end to end that would be stored again
  // as they stand, or when memory ran out, in `use` too.
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

  // While it is used: all records, in the order of the area, and members of the tree, null when
  // there is no such one or no parent.
  const std::vector<Entry>& entries() const { return entries_; }
  const Entry* broker() const { return root_ ? &entries_[*root_] : nullptr; }
  const Entry* child(const Entry* parent, const ZEB_Resource_ID& id) const;
  const Entry* statistics(const Entry* node) const;
  std::size_t nodesWithoutStatistics() const { return withoutStatistics_; }

 private:
  bool refresh(std::span<std::uint8_t> stored);
  bool renew(Entry& entry, std::size_t at, std::uint8_t* stored);
  ZEB_Stored_Image imageAt(std::size_t at, std::uint8_t* stored) const;
  void growTree(std::size_t from);
  bool join(std::size_t at);
  const Entry* find(const std::string& name) const;
  void forgetTree();
  void forget();

  static ZEB_Stored_Tree* first;
  static std::mutex registering;
  ZEB_Stored_Tree* next_ = nullptr;
  const void* const firstRecord_;

  std::mutex reading_;
  std::vector<std::uint8_t> bytes_;   // as they stand
  std::vector<std::uint8_t> before_;  // as they stood when the entries were made
  std::vector<Entry> entries_;

  std::optional<std::size_t> root_;
  std::unordered_map<ZEB_Record_ID, std::size_t, ZEB_Record_ID_Hash> byId_;  // statistics aside
  std::unordered_map<std::string, std::size_t> byName_;  // parent, uuid and label as stored
  // Members beside which there is another of that name. Which of two nodes a tree has depends on
  // which are deleted; of two groups or flows it has the first, unless that is dropped as empty.
  std::vector<std::size_t> twins_;
  std::size_t withoutStatistics_ = 0;  // nodes
  bool reshaped_ = false;   // some record has another ID, parent or name than in the tree
  bool orphans_ = false;    // some record would be in the tree if its parent were
  bool ambiguous_ = false;  // two members have one ID
};

#endif  // ZEB_STORE_CATALOGUE_H
