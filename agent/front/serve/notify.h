// SPDX-License-Identifier: Apache-2.0
// Telling systemd how the service is, for Type=notify.
#ifndef ZEB_AGENT_FRONT_SERVE_NOTIFY_H
#define ZEB_AGENT_FRONT_SERVE_NOTIFY_H

#include <string>

namespace serve {

// Sends `state`, "READY=1" for example, to the socket that NOTIFY_SOCKET names. False when there is
// none, or when nobody takes it; that is no failure of ours.
bool notify(const std::string& state);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_NOTIFY_H
