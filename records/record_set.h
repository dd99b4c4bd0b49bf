// Collections of records that somebody gathered. They hold pointers, in insertion order, and own
// nothing: whoever made the records destroys them, with clearAndDestroy for instance.
#ifndef ZEB_RECORDS_RECORD_SET_H
#define ZEB_RECORDS_RECORD_SET_H

#include <vector>

#include "records/record.h"

class Record_Collection {
 public:
  // False when memory ran out. Insert a record once only.
  bool insert(ZEB_Record* record);
  std::size_t entries() const { return records_.size(); }
  bool isEmpty() const { return records_.empty(); }
  void clear() { records_.clear(); }
  void clearAndDestroy();

  auto begin() const { return records_.begin(); }
  auto end() const { return records_.end(); }

 protected:
  // Logs "Record %d of %d" and the record's own lines, for each.
  void printAll(const Trace& trace) const;

 private:
  std::vector<ZEB_Record*> records_;
};

// What an area holds, or is to hold.
class ZEB_Record_Set : public Record_Collection {
 public:
  void print() const;
};

// Events, in the order in which they were found.
class ZEB_Ordered_Record_Set : public Record_Collection {
 public:
  void print() const;
};

// Yields the records of a collection one by one, then null. The collection must not change.
class Record_Iterator {
 public:
  explicit Record_Iterator(const Record_Collection& records)
      : next_(records.begin()), end_(records.end()) {}
  ZEB_Record* getNext() { return next_ == end_ ? nullptr : *next_++; }

 private:
  std::vector<ZEB_Record*>::const_iterator next_;
  std::vector<ZEB_Record*>::const_iterator end_;
};
using ZEB_Record_Set_Iterator = Record_Iterator;
using ZEB_Ordered_Record_Set_Iterator = Record_Iterator;

#endif  // ZEB_RECORDS_RECORD_SET_H
