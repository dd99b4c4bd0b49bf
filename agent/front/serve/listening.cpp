// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/listening.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "agent/front/serve/trouble.h"

namespace serve {
namespace {

namespace fs = std::filesystem;

constexpr int kBacklog = 256;
constexpr int kFirstInherited = 3;
constexpr int kMostInherited = 16;

[[noreturn]] void refuse(const std::string& sentence) {
  throw Trouble{Trouble::Kind::usage, sentence, 0};
}

template <class Number>
std::optional<Number> numberOf(std::string_view digits) {
  Number number{};
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  if (digits.empty() || error != std::errc() || stop != end) return {};
  return number;
}

// Any address of a socket, with its length.
struct Name {
  sockaddr_storage storage{};
  socklen_t size = sizeof storage;

  sockaddr* address() { return reinterpret_cast<sockaddr*>(&storage); }
  const sockaddr_in& four() const { return reinterpret_cast<const sockaddr_in&>(storage); }
  const sockaddr_in6& six() const { return reinterpret_cast<const sockaddr_in6&>(storage); }
};

bool setNumber(const std::string& host, std::uint16_t port, Name& name) {
  auto& four = reinterpret_cast<sockaddr_in&>(name.storage);
  auto& six = reinterpret_cast<sockaddr_in6&>(name.storage);
  if (inet_pton(AF_INET, host.c_str(), &four.sin_addr) == 1) {
    four.sin_family = AF_INET;
    four.sin_port = htons(port);
    name.size = sizeof four;
    return true;
  }
  if (inet_pton(AF_INET6, host.c_str(), &six.sin6_addr) != 1) return false;
  six.sin6_family = AF_INET6;
  six.sin6_port = htons(port);
  name.size = sizeof six;
  return true;
}

Name nameOf(int socket) {
  Name name;
  if (getsockname(socket, name.address(), &name.size) != 0) name.storage.ss_family = AF_UNSPEC;
  return name;
}

int makeSocket(int family) {
  const int made = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (made < 0) throw failedCall("make a socket", errno, "Choose another --listen");
  return made;
}

sockaddr_un fileAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    refuse("the path " + path + " is too long for a socket. Choose one of at most 107 bytes");
  }
  std::memcpy(address.sun_path, path.c_str(), path.size());
  return address;
}

// The path without symbolic links in its folder: what was looked at is what is used. Somebody who
// could write the folder could put a socket of his own in place of ours.
std::string safePath(const std::string& path) {
  std::error_code error;
  const fs::path folder = fs::canonical(fs::absolute(fs::path(path)).parent_path(), error);
  if (error) {
    throw failedCall("use the folder of " + path, error.value(), "Make it, or choose another");
  }
  struct stat facts {};
  if (stat(folder.c_str(), &facts) != 0) {
    throw failedCall("look at " + folder.string(), errno, "Choose another folder");
  }
  const std::string shown = folder.string();
  const bool temporary = shown == "/tmp" || shown.starts_with("/tmp/") || shown == "/var/tmp" ||
                         shown.starts_with("/var/tmp/");
  if (temporary || (facts.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    refuse("others may write in " + shown + ". Put the socket elsewhere: unix:/run/zebmon/socket");
  }
  if (facts.st_uid != geteuid() && facts.st_uid != 0) {
    refuse("the folder " + shown + " belongs to another user. Choose one of this user or root");
  }
  return folder / fs::path(path).filename();
}

bool somebodyAnswers(const sockaddr_un& address) {
  const int probe = makeSocket(AF_UNIX);
  const int result = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int error = result == 0 ? 0 : errno;
  close(probe);
  return error != ECONNREFUSED && error != ENOENT;
}

void removeLeftOver(const std::string& path, const sockaddr_un& address) {
  struct stat facts {};
  if (lstat(path.c_str(), &facts) != 0) return;
  if (!S_ISSOCK(facts.st_mode)) refuse(path + " is there and no socket. Choose another path");
  if (facts.st_uid != geteuid()) refuse(path + " is another user's socket. Choose another path");
  if (somebodyAnswers(address)) {
    refuse("another process listens at " + path + ". End it, or choose another path");
  }
  unlink(path.c_str());
}

gid_t groupOf(const std::string& name) {
  const group* const found = getgrnam(name.c_str());
  if (found == nullptr) refuse("there is no group " + name + ". Give --socket-group one that is");
  return found->gr_gid;
}

}  // namespace

std::optional<Address> parseAddress(const std::string& text) {
  constexpr std::string_view kUnix = "unix:";
  if (text.starts_with(kUnix)) {
    return text.size() == kUnix.size() ? std::nullopt
                                       : std::optional(Address{.path = text.substr(kUnix.size())});
  }
  const auto colon = text.rfind(':');
  if (colon == text.npos) return {};
  const auto port = numberOf<std::uint16_t>(std::string_view(text).substr(colon + 1));
  std::string host = text.substr(0, colon);
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (bracketed) host = host.substr(1, host.size() - 2);
  if (host == "localhost") host = "127.0.0.1";
  Name name;
  if (!port || !setNumber(host, *port, name)) return {};
  if (bracketed != (name.storage.ss_family == AF_INET6)) return {};
  return Address{.host = host, .port = *port};
}

Listening::Listening(Listening&& other) noexcept
    : socket_(std::exchange(other.socket_, -1)),
      path_(std::exchange(other.path_, {})),
      device_(other.device_),
      file_(other.file_) {}

Listening::~Listening() {
  struct stat facts {};
  if (!path_.empty() && lstat(path_.c_str(), &facts) == 0 && facts.st_dev == device_ &&
      facts.st_ino == file_) {
    unlink(path_.c_str());
  }
  if (socket_ >= 0) close(socket_);
}

Listening Listening::at(const Address& address, const SocketRights& rights) {
  Name name;
  if (address.path.empty()) setNumber(address.host, address.port, name);
  Listening made(makeSocket(address.path.empty() ? name.storage.ss_family : AF_UNIX));
  if (address.path.empty()) {
    made.bindAddress(address);
  } else {
    made.bindFile(address.path, rights);
  }
  if (listen(made.socket_, kBacklog) == 0) return made;
  throw failedCall("listen", errno, "Choose another --listen");
}

void Listening::bindAddress(const Address& address) {
  const int on = 1;
  setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  Name name;
  setNumber(address.host, address.port, name);
  if (name.storage.ss_family == AF_INET6) {
    setsockopt(socket_, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
  }
  if (bind(socket_, name.address(), name.size) == 0) return;
  throw failedCall("listen at " + address.host + " port " + std::to_string(address.port), errno,
                   "Choose another --listen");
}

// The file is closed to all until it has its rights.
void Listening::bindFile(const std::string& given, const SocketRights& rights) {
  const std::string path = safePath(given);
  const sockaddr_un address = fileAddress(path);
  removeLeftOver(path, address);
  const auto change = [&path](int result) {
    if (result != 0) {
      throw failedCall("set the rights of " + path, errno, "Choose another --socket-group");
    }
  };
  const mode_t mask = umask(0777);
  const int bound = bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int error = errno;
  umask(mask);
  if (bound != 0) throw failedCall("listen at " + path, error, "Choose another --listen");
  struct stat facts {};
  change(lstat(path.c_str(), &facts));
  path_ = path;
  device_ = facts.st_dev;
  file_ = facts.st_ino;
  if (!rights.group.empty()) change(lchown(path.c_str(), uid_t(-1), groupOf(rights.group)));
  change(chmod(path.c_str(), rights.mode));
}

std::vector<Listening> Listening::inherited() {
  const char* const process = std::getenv("LISTEN_PID");
  const char* const descriptors = std::getenv("LISTEN_FDS");
  std::vector<Listening> sockets;
  if (process == nullptr || descriptors == nullptr || numberOf<pid_t>(process) != getpid()) {
    return sockets;
  }
  const int count = numberOf<int>(descriptors).value_or(-1);
  for (const char* const name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) unsetenv(name);
  if (count < 1 || count > kMostInherited) {
    refuse("LISTEN_FDS is no number from 1 to 16. Start zebmon by systemd, or without it");
  }
  for (int socket = kFirstInherited; socket < kFirstInherited + count; ++socket) {
    int accepts = 0;
    socklen_t size = sizeof accepts;
    if (getsockopt(socket, SOL_SOCKET, SO_ACCEPTCONN, &accepts, &size) != 0 || accepts == 0) {
      refuse("what systemd handed over is no stream socket that listens. Use ListenStream=");
    }
    fcntl(socket, F_SETFD, FD_CLOEXEC);
    fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK);
    sockets.push_back(Listening(socket));
  }
  return sockets;
}

std::string Listening::host() const {
  const Name name = nameOf(socket_);
  char text[INET6_ADDRSTRLEN] = "";
  if (name.storage.ss_family == AF_INET) {
    return inet_ntop(AF_INET, &name.four().sin_addr, text, sizeof text);
  }
  if (name.storage.ss_family != AF_INET6) return {};
  inet_ntop(AF_INET6, &name.six().sin6_addr, text, sizeof text);
  return "[" + std::string(text) + "]";
}

std::string Listening::shown(bool tls) const {
  const Name name = nameOf(socket_);
  if (name.storage.ss_family == AF_UNIX) {
    const auto& address = reinterpret_cast<const sockaddr_un&>(name.storage);
    return "unix:" +
           std::string(address.sun_path, strnlen(address.sun_path, sizeof address.sun_path));
  }
  const bool four = name.storage.ss_family == AF_INET;
  const auto port = ntohs(four ? name.four().sin_port : name.six().sin6_port);
  return (tls ? "https://" : "http://") + host() + ":" + std::to_string(port) + "/";
}

bool Listening::isLocal() const {
  constexpr std::uint32_t kLoopbackNet = 127;
  const Name name = nameOf(socket_);
  if (name.storage.ss_family == AF_INET) {
    return ntohl(name.four().sin_addr.s_addr) >> 24 == kLoopbackNet;
  }
  if (name.storage.ss_family == AF_INET6) return IN6_IS_ADDR_LOOPBACK(&name.six().sin6_addr);
  return name.storage.ss_family == AF_UNIX;
}

}  // namespace serve
