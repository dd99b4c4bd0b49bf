// SPDX-License-Identifier: Apache-2.0
// The secret that a client shows.
#ifndef ZEB_AGENT_FRONT_SERVE_TOKEN_H
#define ZEB_AGENT_FRONT_SERVE_TOKEN_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace serve {

// What is kept of a token: its SHA-256. The server's memory holds no token.
class Token {
 public:
  explicit Token(std::string_view secret);

  // In a time that tells nothing of where two differ.
  bool is(std::string_view secret) const;

 private:
  std::array<std::uint8_t, 32> digest_;
};

// The token in a file: its text without line ends and blanks around it. The file must belong to
// this user or root, be closed to group and others, unless systemd handed it over as a credential,
// and hold 32 to 4096 printable ASCII characters without a blank. Throws Trouble.
Token readToken(const std::string& path);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_TOKEN_H
