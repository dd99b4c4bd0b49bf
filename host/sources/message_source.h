// SPDX-License-Identifier: Apache-2.0
// What every source of messages offers to its flow.
#ifndef ZEB_HOST_SOURCES_MESSAGE_SOURCE_H
#define ZEB_HOST_SOURCES_MESSAGE_SOURCE_H

#include <string>

namespace host {

// One message as its source gives it. Kept by the caller from message to message.
struct Draft {
  // Any bytes.
  std::string body;
  // Where it came from, as "orders.txt:17". Any bytes, since a file may have any name.
  std::string name;
};

class MessageSource {
 public:
  virtual ~MessageSource() = default;

  // Fills in the next message; false at the end or once the run stops, and the draft then holds
  // nothing of use. May wait, but not beyond the stop. For one thread. Throws std::system_error
  // when the source can't be read.
  virtual bool next(Draft& draft) = 0;
};

}  // namespace host

#endif  // ZEB_HOST_SOURCES_MESSAGE_SOURCE_H
