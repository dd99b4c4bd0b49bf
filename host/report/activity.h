// SPDX-License-Identifier: Apache-2.0
// What the nodes of a flow file collect.
#ifndef ZEB_HOST_REPORT_ACTIVITY_H
#define ZEB_HOST_REPORT_ACTIVITY_H

#include "flowfile/file.h"

namespace host {

// What a monitoring node collects, by its attributes and the broker's overrides: the override for
// this broker, else the one for all, else the node's own attribute. Worked out from the flow file,
// not with the library's code.
struct Activity {
  bool statistics;
  // Exceptions; message events as well if the node has an event message.
  bool events;
};
Activity activityOf(const flowfile::Broker& broker, const flowfile::MonitorNode& node);

}  // namespace host

#endif  // ZEB_HOST_REPORT_ACTIVITY_H
