// SPDX-License-Identifier: Apache-2.0
// What brokers, execution groups and message flows do alike with their children.
#ifndef ZEB_RESOURCES_CONTAINER_H
#define ZEB_RESOURCES_CONTAINER_H

#include <memory>
#include <new>

#include "base/trace.h"
#include "resources/resource_set.h"

// These are templates over the classes of child and record, so that each level keeps its own types.
// They take no lock: the tree belongs to one thread.

// Makes a child with a copy of the record, puts it below the parent and at the end of the
// set. The set owns it. Null for a null record, with message 1 when memory ran out, and silently
// when the child is not OK. Looks for no child that is alike: callers do.
template <class Child, class Record>
Child* ZEB_InsertChild(const ZEB_Trace& trace, const ZEB_ORVA_Resource& parent,
                       ZEB_Typed_Resource_Set<Child>& set, const Record* record) {
  if (!record) return nullptr;
  std::unique_ptr<Child> child(new (std::nothrow) Child(record));
  if (!child) {
    trace.allocationError();
    return nullptr;
  }
  if (!child->OK()) return nullptr;
  child->setParent(&parent);
  Child* const inserted = child.get();
  if (set.insert(std::move(child))) return inserted;
  trace.allocationError();
  return nullptr;
}

// Rebuilds children that are containers themselves: for each record of the type whose parent is
// `parent`, `find` or else `insert` the child and `rebuild` what is below it. A child that
// `isEmpty` then is dropped unless keepEmpty is set. Code 1 when a child could not be made; the
// others are rebuilt all the same. A child that is there already stays as it is: nothing is copied
// from its record. The records are only read and stay the caller's.
//
// find: pointer to an identifier to child or null. insert: pointer to Record to child or null.
// rebuild and isEmpty: of a child that is not null.
template <class Record, class Set, class Find, class Insert, class Rebuild, class IsEmpty>
ZEB_ReturnCode ZEB_RebuildChildren(const ZEB_Record_Set& records, ZEB_RecordType type,
                                   const ZEB_ORVA_Resource& parent, Set& children, int keepEmpty,
                                   Find find, Insert insert, Rebuild rebuild, IsEmpty isEmpty) {
  ZEB_ReturnCode code;
  for (const ZEB_Record* record : records.childrenOf(parent.getInformationRecord())) {
    if (record->type() != type) continue;
    const auto* const stored = static_cast<const Record*>(record);
    const ZEB_Resource_ID id = stored->getResourceId();
    auto* child = find(&id);
    if (!child) child = insert(stored);
    if (!child) {
      code = ZEB_NOT_READ;
      continue;
    }
    rebuild(child);
    if (keepEmpty == 0 && isEmpty(child)) children.remove(child);
  }
  return code;
}

#endif  // ZEB_RESOURCES_CONTAINER_H
