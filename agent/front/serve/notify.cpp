// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/notify.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace serve {

bool notify(const std::string& state) {
  const char* const name = std::getenv("NOTIFY_SOCKET");
  if (name == nullptr || (*name != '/' && *name != '@')) return false;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::size_t length = std::strlen(name);
  if (length >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, name, length);
  if (*name == '@') address.sun_path[0] = '\0';  // a name without a file
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) return false;
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
  const ssize_t sent = sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                              reinterpret_cast<const sockaddr*>(&address), size);
  close(descriptor);
  return sent == static_cast<ssize_t>(state.size());
}

}  // namespace serve
