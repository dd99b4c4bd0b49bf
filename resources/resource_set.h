// SPDX-License-Identifier: Apache-2.0
// ZEB_ORVA_Resource_Set: the children of a resource.
#ifndef ZEB_RESOURCES_RESOURCE_SET_H
#define ZEB_RESOURCES_RESOURCE_SET_H

#include <memory>
#include <vector>

#include "resources/resource.h"

// The unit name under which all sets trace.
inline constexpr char kResourceSetUnit[] = "zebcmsre";

// Owns its members; membership is by identity. A new member comes last, and the others keep their
// order unless `moveFirst` changes it. The containers see to it that no two members are alike. One
// thread uses a set at a time.
class ZEB_ORVA_Resource_Set {
 public:
  ZEB_ORVA_Resource_Set();
  ~ZEB_ORVA_Resource_Set();
  ZEB_ORVA_Resource_Set(const ZEB_ORVA_Resource_Set&) = delete;
  ZEB_ORVA_Resource_Set& operator=(const ZEB_ORVA_Resource_Set&) = delete;

  // Not null. Inserting a member again changes nothing. False when memory ran out: it is destroyed
  // then. A resource may be in one set at a time.
  bool insert(std::unique_ptr<ZEB_ORVA_Resource> member);
  // Hands the member over to the caller, who may drop it. Null when it is no member.
  std::unique_ptr<ZEB_ORVA_Resource> remove(const ZEB_ORVA_Resource* member);

  std::size_t entries() const { return members_.size(); }
  // i is below entries(). The member stays the set's.
  ZEB_ORVA_Resource* at(std::size_t i) const { return members_[i].get(); }

  // Moves the first member so many places towards the end, at most to the end. Nothing in an empty
  // set.
  void moveFirst(std::size_t places);

  // Logs each member, whether or not tracing is on.
  void print();
  // Destroys every member, and all that is below them. What is stored of them stays.
  void cleanup();

 protected:
  // The first member alike to the identifier, by a walk through all. Null for null or none.
  ZEB_ORVA_Resource* find(const ZEB_Resource_ID* id) const;

 private:
  std::vector<std::unique_ptr<ZEB_ORVA_Resource>> members_;
  [[maybe_unused]] std::uint32_t status_ = 0;  // nothing reads or changes it, on purpose
};

// Yields the members one by one, then null. The set must not change meanwhile.
class ZEB_ORVA_Resource_Set_Iterator {
 public:
  explicit ZEB_ORVA_Resource_Set_Iterator(const ZEB_ORVA_Resource_Set& set);
  ~ZEB_ORVA_Resource_Set_Iterator();
  // It refers to the set, which must outlive it.
  ZEB_ORVA_Resource_Set_Iterator(const ZEB_ORVA_Resource_Set_Iterator&) = delete;
  ZEB_ORVA_Resource_Set_Iterator& operator=(const ZEB_ORVA_Resource_Set_Iterator&) = delete;

  // The next member, which stays the set's; null at the end, and again at each further call.
  ZEB_ORVA_Resource* getNext();

 private:
  const ZEB_ORVA_Resource_Set& set_;
  std::size_t next_ = 0;
  [[maybe_unused]] std::uint32_t status_ = 0;  // likewise
};

// A set whose members are all of one class, for range-based loops. The set must not change while a
// loop runs. Nothing checks the class: only the containers insert.
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

  Iterator begin() const { return {*this, 0}; }
  Iterator end() const { return {*this, entries()}; }

 protected:
  Member* findMember(const ZEB_Resource_ID* id) const { return static_cast<Member*>(find(id)); }
};

#endif  // ZEB_RESOURCES_RESOURCE_SET_H
