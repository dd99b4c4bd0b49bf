// SPDX-License-Identifier: Apache-2.0
// Whether this process is inside the library just now: between a call of one of its exports and
// the return, less the time that it spends in functions of the host. Only there does anything fail.
#ifndef ZEB_TESTS_FAULTS_INSIDE_H
#define ZEB_TESTS_FAULTS_INSIDE_H

#include "tests/faults/run.h"

namespace faults {

extern bool insideLibrary;  // the processes of a run have one thread

class Within {
 public:
  explicit Within(bool library) : before_(insideLibrary) { insideLibrary = library; }
  ~Within() { insideLibrary = before_; }
  Within(const Within&) = delete;
  Within& operator=(const Within&) = delete;

 private:
  bool before_;
};

// Around the host's call of an export, and around what the library calls of the host.
struct InsideLibrary : Within {
  InsideLibrary() : Within(true) {}
};
struct OutsideLibrary : Within {
  OutsideLibrary() : Within(false) {}
};

// Set while the host deletes a context.
extern bool deletingContext;

}  // namespace faults

#endif  // ZEB_TESTS_FAULTS_INSIDE_H
