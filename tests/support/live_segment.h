// SPDX-License-Identifier: Apache-2.0
// A real segment with its key file, made as a broker's first process makes them.
#ifndef ZEB_TESTS_SUPPORT_LIVE_SEGMENT_H
#define ZEB_TESTS_SUPPORT_LIVE_SEGMENT_H

#include <string>

#include "tests/support/image.h"

class LiveSegment {
 public:
  // A segment that holds `bytes`, then its key file /tmp/UUID.zebcshme: nobody sees it unfinished.
  LiveSegment(const std::string& uuid, const image::Bytes& bytes, int mode = 0660);
  ~LiveSegment();
  LiveSegment(const LiveSegment&) = delete;
  LiveSegment& operator=(const LiveSegment&) = delete;

  void write(const image::Bytes& bytes);
  void removeSegment();
  const std::string& keyFile() const { return keyFile_; }
  int id() const { return id_; }
  unsigned long attached() const;

 private:
  std::string keyFile_;
  int id_;
};

#endif  // ZEB_TESTS_SUPPORT_LIVE_SEGMENT_H
