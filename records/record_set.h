// SPDX-License-Identifier: Apache-2.0
// Collections of records that somebody gathered. They hold pointers, in insertion order, and own
// nothing: the maker of the records destroys them, with clearAndDestroy for instance.
#ifndef ZEB_RECORDS_RECORD_SET_H
#define ZEB_RECORDS_RECORD_SET_H

#include <cstddef>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "records/record.h"

// Not to be used by itself. One thread uses a collection at a time. The records must live as long
// as they are in it, and none of them is null.
class ZEB_Record_Collection {
 public:
  // Adds at the end. False when memory ran out: nothing is added then, and the record is still the
  // caller's alone.
  virtual bool insert(ZEB_Record* record);
  // Forgets the records, which live on.
  virtual void clear() { records_.clear(); }
  // Deletes the records and forgets them. For sets in which each record is once.
  void clearAndDestroy();

  std::size_t entries() const { return records_.size(); }
  bool isEmpty() const { return records_.empty(); }

  // In the order of insertion; valid until the collection changes.
  auto begin() const { return records_.begin(); }
  auto end() const { return records_.end(); }

 protected:
  ZEB_Record_Collection() = default;
  ~ZEB_Record_Collection() = default;  // destroys no record

  // Logs "Record %d of %d" and the record's own lines, for each.
  void printAll(const ZEB_Trace& trace) const;

 private:
  std::vector<ZEB_Record*> records_;
};

// What an area holds, or is to hold: each record once, by identity. Two records with equal IDs are
// two members.
class ZEB_Record_Set : public ZEB_Record_Collection {
 public:
  ZEB_Record_Set();
  ~ZEB_Record_Set();
  ZEB_Record_Set(const ZEB_Record_Set&) = delete;
  ZEB_Record_Set& operator=(const ZEB_Record_Set&) = delete;

  // A record that is there already stays the only one, and at its place. False when memory ran out.
  bool insert(ZEB_Record* record) override;
  void clear() override;

  // The records whose parent ID is the ID of that record, in the order of insertion; none for null,
  // none in a tangled set. Used in a range-for; it holds pointers to the set and the parent.
  class Children {
   public:
    class Iterator {
     public:
      Iterator(const Children& children, std::size_t at) : children_(children), at_(at) {}
      ZEB_Record* operator*() const { return children_.records_.begin()[static_cast<long>(at_)]; }
      Iterator& operator++() {
        at_ = children_.after(at_);
        return *this;
      }
      bool operator!=(const Iterator& other) const { return at_ != other.at_; }

     private:
      const Children& children_;
      std::size_t at_;
    };
    Children(const ZEB_Record_Set& records, const ZEB_Record* parent);
    Iterator begin() const { return {*this, first_}; }
    Iterator end() const { return {*this, records_.entries()}; }

   private:
    std::size_t after(std::size_t at) const;
    std::size_t walk(std::size_t at) const;  // without an index

    const ZEB_Record_Set& records_;
    const ZEB_Record* parent_;
    std::size_t first_;
  };
  // The set and its records' parents must not change while the children are walked. The first call
  // after an insertion builds an index, in time and memory of the whole set; without memory every
  // walk looks through all records instead.
  Children childrenOf(const ZEB_Record* parent) const { return {*this, parent}; }

  // Damaged records can hang on one another in so many ways that walking them all never ends. True
  // after far more steps from child to child than records of a tree need; nobody has children then.
  bool isTangled() const;

  // Logs each record, whether or not tracing is on.
  void print() const;

 private:
  void index() const;

  bool has(const ZEB_Record* record);

  std::unordered_set<const ZEB_Record*> members_;  // empty until one might come again
  // Built when children are asked for and records came since: the first child of each parent, and
  // the next sibling of each record. Shorter than the set when memory ran out.
  mutable std::unordered_map<ZEB_Record_ID, std::size_t, ZEB_Record_ID_Hash> firstChild_;
  mutable std::vector<std::size_t> nextSibling_;
  mutable std::size_t steps_ = 0;  // from child to child, of all walks together
};

// Events, in the order in which they were found. A record counts as often as it was inserted; one
// that was inserted twice must not be destroyed through the set.
class ZEB_Ordered_Record_Set : public ZEB_Record_Collection {
 public:
  ZEB_Ordered_Record_Set();
  ~ZEB_Ordered_Record_Set();
  ZEB_Ordered_Record_Set(const ZEB_Ordered_Record_Set&) = delete;
  ZEB_Ordered_Record_Set& operator=(const ZEB_Ordered_Record_Set&) = delete;

  // Logs each record, whether or not tracing is on.
  void print() const;
};

// Yield the records of a set one by one, then null. The set must not change meanwhile.
class ZEB_Record_Set_Iterator {
 public:
  explicit ZEB_Record_Set_Iterator(const ZEB_Record_Set& records);
  ~ZEB_Record_Set_Iterator();
  // The next record, which stays the property of its maker; null at the end, and again at each
  // further call.
  ZEB_Record* getNext();

 private:
  std::span<ZEB_Record* const> left_;
};

// The same for the ordered set.
class ZEB_Ordered_Record_Set_Iterator {
 public:
  explicit ZEB_Ordered_Record_Set_Iterator(const ZEB_Ordered_Record_Set& records);
  ~ZEB_Ordered_Record_Set_Iterator();
  ZEB_Record* getNext();

 private:
  std::span<ZEB_Record* const> left_;
};

#endif  // ZEB_RECORDS_RECORD_SET_H
