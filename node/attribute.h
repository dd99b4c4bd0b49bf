// SPDX-License-Identifier: Apache-2.0
// ZEB_Attribute: a name and a value that the host has set.
#ifndef ZEB_NODE_ATTRIBUTE_H
#define ZEB_NODE_ATTRIBUTE_H

#include "base/string.h"

// A value of one thread, with copies of both texts.
class ZEB_Attribute {
 public:
  // Null is an empty string. Not OK, and without name and value, when memory ran out.
  ZEB_Attribute(const zebchar* name, const zebchar* value);
  // A deep copy; not OK when memory ran out.
  ZEB_Attribute(const ZEB_Attribute& other);
  ~ZEB_Attribute();
  ZEB_Attribute& operator=(const ZEB_Attribute&) = delete;

  // 0, or 301 once memory ran out for name or value.
  bool OK() const;
  int getStatus() const;
  // The members themselves, valid as long as this object.
  const ZEB_String& getName() const;
  const ZEB_String& getValue() const;
  // Copy the text. Null changes nothing, nor does any call once the string is not OK.
  void setName(const zebchar* name);
  void setValue(const zebchar* value);

  // Frees name and value; the status stays. The destructor does this too.
  void cleanup();

 private:
  void check();

  int status_ = 0;
  ZEB_String name_;
  ZEB_String value_;
};

#endif  // ZEB_NODE_ATTRIBUTE_H
