// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/http_server.h"

#include <linux/tcp.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>

#include "agent/front/serve/gate.h"
#include "agent/front/serve/trouble.h"

namespace serve {
namespace {

using std::chrono::steady_clock;

constexpr unsigned kSpare = 64;  // places for connections that are shut and not yet closed

// The library's own limit must never be reached: it may then wait for itself without an end. It
// forgets a connection a little later than it tells.
constexpr unsigned kBelowItsLimit = 64;
constexpr std::size_t kMemoryOfAConnection = 16384;
constexpr std::size_t kSmall = 65536;  // an answer that is sent however many others wait
constexpr char kPriorities[] = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";

// One request while it comes in.
struct Exchange {
  Request request;
  bool begun = false;
};

MHD_Result take(void* headers, MHD_ValueKind, const char* name, std::size_t nameSize,
                const char* value, std::size_t valueSize) {
  static_cast<std::vector<Header>*>(headers)->emplace_back(
      std::string(name, nameSize),
      value == nullptr ? std::string() : std::string(value, valueSize));
  return MHD_YES;
}

int socketOf(MHD_Connection* connection) {
  const MHD_ConnectionInfo* const info =
      MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
  return info == nullptr ? -1 : info->connect_fd;
}

// How many bytes the other side has sent; nothing where the system doesn't count them.
std::optional<std::uint64_t> receivedBy(int socket) {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return {};
  if (size < offsetof(tcp_info, tcpi_bytes_received) + sizeof info.tcpi_bytes_received) return {};
  return info.tcpi_bytes_received;
}

// How much of an answer nobody else has.
std::size_t ownBytesOf(const Reply& reply) {
  return reply.body.use_count() == 1 ? reply.body->size() : 0;
}

// The text of an answer, as long as it is sent.
class Body {
 public:
  // Adds what nobody else has of it to `unsent`, until its end.
  Body(const Reply& reply, std::size_t& unsent)
      : own_(ownBytesOf(reply)),
        text_(reply.body ? reply.body : std::make_shared<const std::string>()),
        unsent_(unsent) {
    unsent_ += own_;
  }
  ~Body() { unsent_ -= own_; }
  Body(const Body&) = delete;
  Body& operator=(const Body&) = delete;

  const std::string& text() const { return *text_; }

 private:
  const std::size_t own_;  // first: later there is one more who has it
  const std::shared_ptr<const std::string> text_;
  std::size_t& unsent_;
};

void release(void* body) {
  delete static_cast<Body*>(body);
}

MHD_Response* responseOf(std::unique_ptr<Body> body) {
  const std::string& text = body->text();
  MHD_Response* const response = MHD_create_response_from_buffer_with_free_callback_cls(
      text.size(), const_cast<char*>(text.data()), release, body.get());
  if (response != nullptr) body.release();
  return response;
}

Reply laterPlease() {
  static const auto kText = std::make_shared<const std::string>(
      "{\"error\":\"too many answers wait to be taken. Ask again in a moment.\"}\n");
  return {.status = 503, .body = kText, .headers = {{"Retry-After", "2"}}};
}

void addHeaders(MHD_Response* response, const Reply& reply, bool last) {
  const auto add = [response](const char* name, const std::string& value) {
    MHD_add_response_header(response, name, value.c_str());
  };
  for (const auto& [name, value] : commonHeaders()) add(name.c_str(), value);
  for (const auto& [name, value] : reply.headers) add(name.c_str(), value);
  add("Content-Type", reply.type);
  if (reply.gzip) add("Content-Encoding", "gzip");
  if (last) add("Connection", "close");
}

}  // namespace

class HttpServer::Engine {
 public:
  Engine(std::vector<int> listening, Settings settings, Handler handler, OnShut onShut);
  ~Engine();

 private:
  static void* begin(void* engine, const char* target, MHD_Connection* connection);
  static MHD_Result handle(void* engine, MHD_Connection* connection, const char* url,
                           const char* method, const char* version, const char* data,
                           std::size_t* dataSize, void** exchange);
  static void complete(void* engine, MHD_Connection* connection, void** exchange,
                       MHD_RequestTerminationCode code);
  static void notice(void* engine, MHD_Connection* connection, void** context,
                     MHD_ConnectionNotificationCode code);

  void startDaemon();
  MHD_Result answer(MHD_Connection* connection, const Exchange& exchange);

  void run();
  bool wait();
  void acceptFrom(int listening);
  void makeRoom();
  void watch();
  void listen(int socket, steady_clock::time_point now);
  void shut(int socket, Shut why);

  const std::vector<int> listening_;
  const Settings settings_;
  const Handler handler_;
  const OnShut onShut_;
  const int stop_;
  MHD_Daemon* daemon_ = nullptr;
  std::size_t unsent_ = 0;  // bytes of answers; of the thread that speaks HTTP

  std::mutex guard_;  // of the next two; held while a socket is shut, so that it can't be closed
  Connections connections_;
  std::map<int, std::uint64_t> received_;  // bytes of each connection when it began to wait

  std::thread thread_;
};

HttpServer::Engine::Engine(std::vector<int> listening, Settings settings, Handler handler,
                           OnShut onShut)
    : listening_(std::move(listening)),
      settings_(std::move(settings)),
      handler_(std::move(handler)),
      onShut_(std::move(onShut)),
      stop_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      connections_(settings_.limits) {
  if (stop_ < 0) {
    throw failedCall("make an event descriptor", errno, "Allow this process more open files");
  }
  startDaemon();
  thread_ = std::thread([this] { run(); });
}

HttpServer::Engine::~Engine() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(stop_, &one, sizeof one);
  thread_.join();
  MHD_stop_daemon(daemon_);
  close(stop_);
}

void HttpServer::Engine::startDaemon() {
  const bool tls = settings_.identity.has_value();
  const unsigned flags = MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_EPOLL | MHD_USE_ITC |
                         MHD_USE_NO_LISTEN_SOCKET | (tls ? static_cast<unsigned>(MHD_USE_TLS) : 0U);
  std::vector<MHD_OptionItem> options = {
      {MHD_OPTION_CONNECTION_LIMIT,
       static_cast<std::intptr_t>(settings_.limits.most + kSpare + kBelowItsLimit), nullptr},
      {MHD_OPTION_CONNECTION_MEMORY_LIMIT, static_cast<std::intptr_t>(kMemoryOfAConnection),
       nullptr},
      {MHD_OPTION_URI_LOG_CALLBACK, reinterpret_cast<std::intptr_t>(&Engine::begin), this},
      {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<std::intptr_t>(&Engine::complete), this},
      {MHD_OPTION_NOTIFY_CONNECTION, reinterpret_cast<std::intptr_t>(&Engine::notice), this}};
  if (tls) {
    const auto text = [](const std::string& pem) { return const_cast<char*>(pem.c_str()); };
    options.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, text(settings_.identity->certificate)});
    options.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, text(settings_.identity->key)});
    options.push_back({MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>(kPriorities)});
  }
  options.push_back({MHD_OPTION_END, 0, nullptr});
  daemon_ = MHD_start_daemon(flags, 0, nullptr, nullptr, &Engine::handle, this, MHD_OPTION_ARRAY,
                             options.data(), MHD_OPTION_END);
  if (daemon_ != nullptr) return;
  close(stop_);
  throw failedCall("start HTTP", errno, "Allow this process more memory, threads and open files");
}

void* HttpServer::Engine::begin(void*, const char* target, MHD_Connection*) {
  auto exchange = std::make_unique<Exchange>();
  exchange->request.target = target;
  return exchange.release();
}

// Called when the headers are there, for each piece of a body, and when the request is complete.
MHD_Result HttpServer::Engine::handle(void* engine, MHD_Connection* connection, const char*,
                                      const char* method, const char*, const char*,
                                      std::size_t* dataSize, void** exchange) {
  auto* const self = static_cast<Engine*>(engine);
  auto* const present = static_cast<Exchange*>(*exchange);
  if (present == nullptr) return MHD_NO;
  if (!present->begun) {
    present->begun = true;
    present->request.method = method;
    MHD_get_connection_values_n(connection, MHD_HEADER_KIND, &take, &present->request.headers);
    return hasLargeBody(present->request) ? self->answer(connection, *present) : MHD_YES;
  }
  if (*dataSize > 0) {
    *dataSize = 0;
    return MHD_YES;
  }
  return self->answer(connection, *present);
}

MHD_Result HttpServer::Engine::answer(MHD_Connection* connection, const Exchange& exchange) {
  bool last = false;
  {
    const std::lock_guard held(guard_);
    const int socket = socketOf(connection);
    const auto now = steady_clock::now();
    connections_.asked(socket, now);
    connections_.working(now);
    last = connections_.crowded() || !received_.contains(socket);
  }
  Reply reply = handler_(exchange.request);
  {
    const std::lock_guard held(guard_);
    connections_.worked(steady_clock::now());
  }
  const std::size_t own = ownBytesOf(reply);
  if (own > kSmall && unsent_ > 0 && unsent_ + own > settings_.mostUnsent) {
    reply = laterPlease();
    last = true;
    onShut_(Shut::unsent);
  }
  MHD_Response* const response = responseOf(std::make_unique<Body>(reply, unsent_));
  if (response == nullptr) return MHD_NO;
  addHeaders(response, reply, last);
  const MHD_Result queued =
      MHD_queue_response(connection, static_cast<unsigned>(reply.status), response);
  MHD_destroy_response(response);
  return queued;
}

void HttpServer::Engine::complete(void* engine, MHD_Connection* connection, void** exchange,
                                  MHD_RequestTerminationCode) {
  auto* const self = static_cast<Engine*>(engine);
  delete static_cast<Exchange*>(std::exchange(*exchange, nullptr));
  const int socket = socketOf(connection);
  const std::lock_guard held(self->guard_);
  self->connections_.answered(socket, steady_clock::now());
  const auto before = self->received_.find(socket);
  if (before != self->received_.end()) before->second = receivedBy(socket).value_or(0);
}

// The socket is still open when it is told that the connection is closed.
void HttpServer::Engine::notice(void* engine, MHD_Connection* connection, void**,
                                MHD_ConnectionNotificationCode code) {
  if (code != MHD_CONNECTION_NOTIFY_CLOSED) return;
  auto* const self = static_cast<Engine*>(engine);
  const int socket = socketOf(connection);
  const std::lock_guard held(self->guard_);
  self->connections_.closed(socket);
  self->received_.erase(socket);
}

void HttpServer::Engine::run() {
  while (wait()) watch();
}

// Waits for a connection, or for a tick while there is one; false at the end. While too many are
// shut and not yet closed, new ones wait in the kernel.
bool HttpServer::Engine::wait() {
  constexpr int kSoon = 10;
  int tick = static_cast<int>(settings_.tick.count());
  std::vector<pollfd> watched = {{stop_, POLLIN, 0}};
  {
    const std::lock_guard held(guard_);
    if (connections_.open() == 0) tick = -1;
    if (connections_.held() < settings_.limits.most + kSpare) {
      for (const int socket : listening_) watched.push_back({socket, POLLIN, 0});
    } else {
      tick = kSoon;
    }
  }
  if (poll(watched.data(), watched.size(), tick) <= 0) return true;
  for (std::size_t i = 1; i < watched.size(); ++i) {
    if (watched[i].revents != 0) acceptFrom(watched[i].fd);
  }
  return watched[0].revents == 0;
}

void HttpServer::Engine::acceptFrom(int listening) {
  sockaddr_storage peer{};
  socklen_t size = sizeof peer;
  auto* const address = reinterpret_cast<sockaddr*>(&peer);
  const int socket = accept4(listening, address, &size, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (socket < 0) {
    // Without a descriptor the connection stays pending and poll() would return at once.
    if (errno == EMFILE || errno == ENFILE) std::this_thread::sleep_for(settings_.tick);
    return;
  }
  makeRoom();
  {
    const std::lock_guard held(guard_);
    if (connections_.full()) {
      close(socket);
      return onShut_(Shut::crowded);
    }
    const auto now = steady_clock::now();
    connections_.opened(socket, now);
    // Where nobody counts bytes, time begins with the connection, and it gets one answer.
    if (const auto bytes = receivedBy(socket)) {
      received_[socket] = 0;
    } else {
      connections_.heard(socket, now);
    }
  }
  if (MHD_add_connection(daemon_, socket, address, size) == MHD_YES) return;
  const std::lock_guard held(guard_);
  connections_.closed(socket);
  received_.erase(socket);
}

void HttpServer::Engine::makeRoom() {
  const std::lock_guard held(guard_);
  if (!connections_.full()) return;
  if (const auto socket = connections_.longestWaiting()) shut(*socket, Shut::crowded);
}

void HttpServer::Engine::listen(int socket, steady_clock::time_point now) {
  const auto before = received_.find(socket);
  if (before == received_.end()) return;
  if (receivedBy(socket).value_or(0) > before->second) connections_.heard(socket, now);
}

void HttpServer::Engine::watch() {
  constexpr std::array kWhy = {Shut::request, Shut::answer, Shut::idle};
  const auto now = steady_clock::now();
  const std::lock_guard held(guard_);
  for (const int socket : connections_.silent()) listen(socket, now);
  for (const Connections::Overdue& late : connections_.overdue(now)) {
    shut(late.socket, kWhy[static_cast<std::size_t>(late.what)]);
  }
}

void HttpServer::Engine::shut(int socket, Shut why) {
  connections_.shut(socket);
  shutdown(socket, SHUT_RDWR);
  onShut_(why);
}

HttpServer::HttpServer(std::vector<int> listening, Settings settings, Handler handler,
                       OnShut onShut)
    : engine_(std::make_unique<Engine>(std::move(listening), std::move(settings),
                                       std::move(handler), std::move(onShut))) {}

HttpServer::~HttpServer() = default;

}  // namespace serve
