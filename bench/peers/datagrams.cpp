// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "bench/peers/peer.h"

namespace bench {
namespace {

int require(int result, const char* call) {
  if (result < 0) throw LeftOut(std::string(call) + ": " + std::strerror(errno));
  return result;
}

// The daemon: a process that takes what comes, so that the socket is not simply full.
[[noreturn]] void receive(int socket) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  char datagram[512];
  for (;;) {
    if (recv(socket, datagram, sizeof datagram, 0) < 0 && errno != EINTR) _exit(1);
  }
}

class Datagrams : public Peer {
 public:
  Datagrams() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const general = reinterpret_cast<sockaddr*>(&address);
    const int receiver = require(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
    require(bind(receiver, general, length), "bind");
    require(getsockname(receiver, general, &length), "getsockname");
    daemon_ = require(fork(), "fork");
    if (daemon_ == 0) receive(receiver);
    close(receiver);
    sender_ = require(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
    require(connect(sender_, general, length), "connect");
  }
  ~Datagrams() override {
    close(sender_);
    kill(daemon_, SIGKILL);
    waitpid(daemon_, nullptr, 0);
  }
  Datagrams(const Datagrams&) = delete;
  Datagrams& operator=(const Datagrams&) = delete;

  void message(int size, int elapsed, int queued) override {
    char datagram[160];
    const int length = std::snprintf(datagram, sizeof datagram,
                                     "N.size:%d|h\nN.elapsed:%d|ms\nN.queued:%d|ms\nN.messages:1|c",
                                     size, elapsed, queued);
    if (send(sender_, datagram, static_cast<std::size_t>(length), 0) != length) failed_ = true;
  }

  void check() override {
    if (failed_) throw std::runtime_error("a datagram could not be sent");
  }

 private:
  int sender_ = -1;
  pid_t daemon_ = 0;
  std::atomic<bool> failed_ = false;
};

}  // namespace

std::unique_ptr<Peer> makeDatagrams() {
  return std::make_unique<Datagrams>();
}

}  // namespace bench
