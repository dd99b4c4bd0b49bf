// SPDX-License-Identifier: Apache-2.0
// The sockets at which a server listens.
#ifndef ZEB_AGENT_FRONT_SERVE_LISTENING_H
#define ZEB_AGENT_FRONT_SERVE_LISTENING_H

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace serve {

// An address as it is written on the command line: "127.0.0.1:9847", "[::1]:9847",
// "localhost:9847" or "unix:PATH".
struct Address {
  std::string path = {};   // of a Unix socket; empty for the others
  std::string host = {};   // a number, IPv6 without brackets
  std::uint16_t port = 0;  // 0: one that is free
};

// Nothing for any other text.
std::optional<Address> parseAddress(const std::string& text);

// Who may open a Unix socket.
struct SocketRights {
  mode_t mode = 0660;
  std::string group = {};  // its name; empty: as the process makes files
};

// A socket that listens. Closes it at its end, and removes its file if that is still the one that
// was made.
class Listening {
 public:
  // Throws Trouble. The file of a socket lies in a folder that neither its group nor others can
  // write, and not in /tmp; links on the way there are followed once.
  // One that is there already is removed only if it is this user's socket and nobody answers.
  static Listening at(const Address& address, const SocketRights& rights);

  // Those that systemd handed over, which it keeps; none when it didn't. Takes the variables that
  // say so out of the environment. Throws Trouble when one of them is no listening stream socket.
  static std::vector<Listening> inherited();

  ~Listening();
  Listening(Listening&& other) noexcept;
  Listening& operator=(Listening&&) = delete;

  int socket() const { return socket_; }

  // What is in Host headers for it: "127.0.0.1", "[::1]"; empty for a Unix socket.
  std::string host() const;

  // "http://127.0.0.1:9847/" or "unix:PATH".
  std::string shown(bool tls) const;

  // Only users of this machine reach it.
  bool isLocal() const;

 private:
  explicit Listening(int socket) : socket_(socket) {}
  void bindFile(const std::string& given, const SocketRights& rights);
  void bindAddress(const Address& address);

  int socket_ = -1;
  std::string path_;  // to be removed; empty: none
  dev_t device_ = 0;
  ino_t file_ = 0;
};

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_LISTENING_H
