// SPDX-License-Identifier: Apache-2.0
// A client that sends any bytes, and reads what comes back.
#ifndef ZEB_TESTS_AGENT_SERVE_CLIENT_H
#define ZEB_TESTS_AGENT_SERVE_CLIENT_H

#include <cstdint>
#include <string>

class Client {
 public:
  // Connects to 127.0.0.1, or to the socket in a file. Fails the test when that is refused.
  explicit Client(std::uint16_t port);
  explicit Client(const std::string& path);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // False when the other side is gone.
  bool send(const std::string& bytes);

  // One answer with its body; of HEAD the headers alone. Less when the other side ends it.
  std::string answer(bool head = false);

  // GET with a Host of our own and these header lines.
  std::string get(const std::string& target, const std::string& headers = "");

  // Waits until the other side has closed; what came before is thrown away.
  void awaitEnd();

 private:
  int socket_;
};

// A listening socket on 127.0.0.1 with a port that was free.
class FreePort {
 public:
  FreePort();
  ~FreePort();
  FreePort(const FreePort&) = delete;
  FreePort& operator=(const FreePort&) = delete;

  int socket() const { return socket_; }
  std::uint16_t number() const { return number_; }

 private:
  int socket_;
  std::uint16_t number_;
};

int statusIn(const std::string& answer);  // 0 for none

// The value of a header, "none" without one.
std::string headerIn(const std::string& answer, const std::string& name);

std::string bodyIn(const std::string& answer);

#endif  // ZEB_TESTS_AGENT_SERVE_CLIENT_H
