// SPDX-License-Identifier: Apache-2.0
// ZEB_ORVA_Resource_Set: the children of a resource.
#ifndef ZEB_RESOURCES_RESOURCE_SET_H
#define ZEB_RESOURCES_RESOURCE_SET_H

#include <memory>
#include <unordered_map>
#include <vector>

#include "resources/resource.h"

// The unit name under which all sets trace.
inline constexpr char kResourceSetUnit[] = "zebcmsre";

// Owns its members and keeps them in the order in which they came; membership is by identity. The
// containers see to it that no two members are alike.
class ZEB_ORVA_Resource_Set {
 public:
  ZEB_ORVA_Resource_Set();
  ~ZEB_ORVA_Resource_Set();

  // False when memory ran out; the member is destroyed then.
  bool insert(std::unique_ptr<ZEB_ORVA_Resource> member);
  // Hands the member over to the caller, who may well drop it; null when it is none.
  std::unique_ptr<ZEB_ORVA_Resource> remove(const ZEB_ORVA_Resource* member);

  std::size_t entries() const { return members_.size(); }
  ZEB_ORVA_Resource* at(std::size_t i) const { return members_[i].get(); }

  void print();
  // Puts the members into the order in which they are stored; those that are not come last.
  void sortByAddress();
  void cleanup();  // destroys every member

 protected:
  // See dropIf.
  template <class Predicate>
  void dropMembersIf(Predicate predicate) {
    byId_ = {};
    std::erase_if(members_, [&](const auto& member) { return predicate(member.get()); });
    members_.shrink_to_fit();
  }

  // The first member alike to the identifier; null for null or none. A member's identifier must not
  // change while it is in the set.
  ZEB_ORVA_Resource* find(const ZEB_Resource_ID* id) const;

 private:
  bool index() const;

  std::vector<std::unique_ptr<ZEB_ORVA_Resource>> members_;
  // The members' places by a hash of their identifiers, as far as somebody looked for one since
  // they came.
  mutable std::unordered_multimap<std::size_t, std::size_t> byId_;
  [[maybe_unused]] std::uint32_t status_ = 0;  // nothing reads or changes it, on purpose
};

// Yields the members one by one, then null. The set must not change meanwhile.
class ZEB_ORVA_Resource_Set_Iterator {
 public:
  explicit ZEB_ORVA_Resource_Set_Iterator(const ZEB_ORVA_Resource_Set& set) : set_(set) {}
  ZEB_ORVA_Resource* getNext() { return next_ < set_.entries() ? set_.at(next_++) : nullptr; }

 private:
  const ZEB_ORVA_Resource_Set& set_;
  std::size_t next_ = 0;
  [[maybe_unused]] std::uint32_t status_ = 0;  // likewise
};

// A set of one class, for range-based loops.
template <class Member>
class ZEB_Typed_Resource_Set : public ZEB_ORVA_Resource_Set {
 public:
  class Iterator {
   public:
    Iterator(const ZEB_Typed_Resource_Set& set, std::size_t at) : set_(set), at_(at) {}
    Member* operator*() const { return static_cast<Member*>(set_.at(at_)); }
    Iterator& operator++() {
      ++at_;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return at_ != other.at_; }

   private:
    const ZEB_Typed_Resource_Set& set_;
    std::size_t at_;
  };
  // Destroys the members for which it holds.
  template <class Predicate>
  void dropIf(Predicate predicate) {
    dropMembersIf(
        [&](ZEB_ORVA_Resource* member) { return predicate(static_cast<Member*>(member)); });
  }

  Iterator begin() const { return {*this, 0}; }
  Iterator end() const { return {*this, entries()}; }

 protected:
  Member* findMember(const ZEB_Resource_ID* id) const { return static_cast<Member*>(find(id)); }
};

#endif  // ZEB_RESOURCES_RESOURCE_SET_H
