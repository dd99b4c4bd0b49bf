// SPDX-License-Identifier: Apache-2.0
#include "tests/agent/serve/client.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

namespace {

sockaddr_in local(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

template <class Address>
int connected(const Address& address, int family) {
  const int made = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  EXPECT_EQ(0, connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address))
      << std::strerror(errno);
  return made;
}

sockaddr_un inFile(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

}  // namespace

Client::Client(std::uint16_t port) : socket_(connected(local(port), AF_INET)) {}
Client::Client(const std::string& path) : socket_(connected(inFile(path), AF_UNIX)) {}

Client::~Client() {
  close(socket_);
}

bool Client::send(const std::string& bytes) {
  return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
         static_cast<ssize_t>(bytes.size());
}

std::string Client::answer(bool head) {
  std::string got;
  char buffer[4096];
  for (;;) {
    const auto end = got.find("\r\n\r\n");
    if (end != got.npos) {
      const std::string length = headerIn(got, "Content-Length");
      const std::size_t body = head || length == "none" ? 0 : std::stoul(length);
      if (got.size() >= end + 4 + body) return got;
    }
    const ssize_t count = recv(socket_, buffer, sizeof buffer, 0);
    if (count <= 0) return got;
    got.append(buffer, static_cast<std::size_t>(count));
  }
}

std::string Client::get(const std::string& target, const std::string& headers) {
  send("GET " + target + " HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n");
  return answer();
}

void Client::awaitEnd() {
  char buffer[4096];
  while (recv(socket_, buffer, sizeof buffer, 0) > 0) continue;
}

FreePort::FreePort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
  sockaddr_in address = local(0);
  socklen_t size = sizeof address;
  auto* const name = reinterpret_cast<sockaddr*>(&address);
  EXPECT_EQ(0, bind(socket_, name, size));
  EXPECT_EQ(0, listen(socket_, 64));
  getsockname(socket_, name, &size);
  number_ = ntohs(address.sin_port);
}

FreePort::~FreePort() {
  close(socket_);
}

int statusIn(const std::string& answer) {
  return answer.starts_with("HTTP/1.1 ") ? std::stoi(answer.substr(9, 3)) : 0;
}

std::string headerIn(const std::string& answer, const std::string& name) {
  const std::string head = answer.substr(0, answer.find("\r\n\r\n")) + "\r\n";
  const auto at = head.find("\r\n" + name + ": ");
  if (at == head.npos) return "none";
  const auto begin = at + name.size() + 4;
  return head.substr(begin, head.find("\r\n", begin) - begin);
}

std::string bodyIn(const std::string& answer) {
  const auto end = answer.find("\r\n\r\n");
  return end == answer.npos ? "" : answer.substr(end + 4);
}
