// SPDX-License-Identifier: Apache-2.0
// HTTP over real sockets: what clients get, and what becomes of those that dawdle.
#include "agent/front/serve/http_server.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <fstream>
#include <latch>
#include <list>
#include <mutex>

#include "tests/agent/serve/client.h"

namespace http_server_test {

namespace {

using serve::HttpServer;
using serve::Reply;
using serve::Request;
using std::chrono::hours;
using std::chrono::milliseconds;

// Deadlines that no test reaches, unless it sets one of them.
serve::Connections::Limits patient() {
  return {.most = 256, .request = hours(1), .answer = hours(1), .idle = hours(1)};
}

// What the server told of connections that it shut.
class Shuts {
 public:
  void add(HttpServer::Shut why) {
    const std::lock_guard held(guard_);
    list_.push_back(why);
    changed_.notify_all();
  }

  void await(std::size_t number) {
    std::unique_lock held(guard_);
    changed_.wait(held, [&] { return list_.size() >= number; });
  }

  HttpServer::Shut first() {
    std::unique_lock held(guard_);
    changed_.wait(held, [this] { return !list_.empty(); });
    return list_.front();
  }

 private:
  std::mutex guard_;
  std::condition_variable changed_;
  std::vector<HttpServer::Shut> list_;
};

Reply echo(const Request& request) {
  auto body = std::make_shared<const std::string>(request.method + " " + request.target);
  return {.type = "text/plain", .body = std::move(body)};
}

class Server {
 public:
  explicit Server(serve::Connections::Limits limits = patient(), HttpServer::Handler answer = echo)
      : Server({.limits = limits, .tick = milliseconds(1)}, std::move(answer)) {}
  Server(HttpServer::Settings settings, HttpServer::Handler answer)
      : server_({port_.socket()}, std::move(settings), std::move(answer),
                [this](HttpServer::Shut why) { shuts_.add(why); }) {}

  std::uint16_t port() const { return port_.number(); }
  Shuts& shuts() { return shuts_; }

 private:
  FreePort port_;
  Shuts shuts_;
  HttpServer server_;
};

std::string largeText() {
  return std::string(64 << 20, 'x');
}

}  // namespace

TEST(HttpServer, AnswersManyRequestsOnOneConnection) {
  const Server server;
  Client client(server.port());
  for (const char* target : {"/one", "/two?x=%41%00", "/"}) {
    const std::string answer = client.get(target);
    EXPECT_EQ(200, statusIn(answer));
    EXPECT_EQ("none", headerIn(answer, "Connection"));
    EXPECT_EQ(std::string("GET ") + target, bodyIn(answer)) << "as it was sent";
  }
}

TEST(HttpServer, EveryAnswerHasTheHeadersThatProtectPages) {
  const Server server;
  const std::string answer = Client(server.port()).get("/");
  EXPECT_EQ(
      "default-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'none'; "
      "object-src 'none'",
      headerIn(answer, "Content-Security-Policy"));
  EXPECT_EQ("nosniff", headerIn(answer, "X-Content-Type-Options"));
  EXPECT_EQ("same-origin", headerIn(answer, "Cross-Origin-Resource-Policy"));
  EXPECT_EQ("no-referrer", headerIn(answer, "Referrer-Policy"));
  EXPECT_EQ("no-store", headerIn(answer, "Cache-Control"));
  EXPECT_EQ("none", headerIn(answer, "Access-Control-Allow-Origin"));
  EXPECT_EQ("text/plain", headerIn(answer, "Content-Type"));
}

TEST(HttpServer, HeadGetsTheHeadersAlone) {
  const Server server;
  Client client(server.port());
  client.send("HEAD /x HTTP/1.1\r\nHost: a\r\n\r\n");
  const std::string answer = client.answer(true);
  EXPECT_EQ("7", headerIn(answer, "Content-Length"));
  EXPECT_EQ("", bodyIn(answer));
  EXPECT_EQ("GET /y", bodyIn(client.get("/y")));
}

TEST(HttpServer, TheHandlerSeesAllHeadersWithTheirDoubles) {
  std::vector<serve::Header> seen;
  const Server server(patient(), [&seen](const Request& request) {
    seen = request.headers;
    return Reply();
  });
  EXPECT_EQ(200, statusIn(Client(server.port()).get("/", "Host: other\r\nX: \xFF\r\n")));
  const std::vector<serve::Header> expected = {
      {"Host", "localhost"}, {"Host", "other"}, {"X", "\xFF"}};
  EXPECT_EQ(expected, seen);
}

TEST(HttpServer, ALargeBodyIsRefusedBeforeItComes) {
  const Server server(patient(), [](const Request&) { return Reply{.status = 413}; });
  for (const char* announced : {"Content-Length: 99999999", "Transfer-Encoding: chunked"}) {
    Client client(server.port());
    client.send(std::string("POST / HTTP/1.1\r\nHost: a\r\n") + announced + "\r\n\r\n");
    EXPECT_EQ(413, statusIn(client.answer())) << announced;
    client.awaitEnd();
  }
}

TEST(HttpServer, ASmallBodyIsReadAndForgotten) {
  const Server server;
  Client client(server.port());
  client.send("GET /a HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\n\r\nhello");
  EXPECT_EQ("GET /a", bodyIn(client.answer()));
  EXPECT_EQ("GET /b", bodyIn(client.get("/b")));
}

TEST(HttpServer, BrokenRequestsHurtNobody) {
  const Server server;
  for (const std::string& bytes :
       {std::string("\r\n\r\n\r\n"), std::string("GET\r\n\r\n"), std::string("\0\0\0\0\r\n\r\n", 8),
        std::string("GET / HTTP/9.9\r\n\r\n"), std::string("GET / HTTP/1.1\r\n:\r\n\r\n"),
        "GET /" + std::string(100000, 'a') + " HTTP/1.1\r\n\r\n",
        "GET / HTTP/1.1\r\nX: " + std::string(100000, 'a') + "\r\n\r\n",
        std::string("GET / HTTP/1.1\r\nContent-Length: -1\r\n\r\n"),
        std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xFC\x03\x03", 11)}) {
    Client client(server.port());
    client.send(bytes);
  }
  EXPECT_EQ("GET /well", bodyIn(Client(server.port()).get("/well")));
}

TEST(HttpServer, AConnectionThatDawdlesWithItsRequestIsShut) {
  serve::Connections::Limits limits = patient();
  limits.request = milliseconds(20);
  Server server(limits);
  Client client(server.port());
  client.send("GET /");
  for (int i = 0; i < 1000 && client.send("a"); ++i) sched_yield();
  EXPECT_EQ(HttpServer::Shut::request, server.shuts().first());
  client.awaitEnd();
}

TEST(HttpServer, ASecondRequestMayNotDawdleEither) {
  serve::Connections::Limits limits = patient();
  limits.request = milliseconds(500);
  Server server(limits);
  Client client(server.port());
  EXPECT_EQ("GET /1", bodyIn(client.get("/1")));
  // The thread that speaks HTTP has ended the first request when it answers another one.
  EXPECT_EQ("GET /2", bodyIn(Client(server.port()).get("/2")));
  client.send("G");
  EXPECT_EQ(HttpServer::Shut::request, server.shuts().first());
}

TEST(HttpServer, AConnectionThatDoesntTakeItsAnswerIsShut) {
  serve::Connections::Limits limits = patient();
  limits.answer = milliseconds(20);
  const auto text = std::make_shared<const std::string>(largeText());
  Server server(limits, [&text](const Request&) { return Reply{.body = text}; });
  Client client(server.port());
  client.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
  EXPECT_EQ(HttpServer::Shut::answer, server.shuts().first());
  client.awaitEnd();
}

TEST(HttpServer, AConnectionThatSaysNothingIsShut) {
  serve::Connections::Limits limits = patient();
  limits.idle = milliseconds(20);
  Server server(limits);
  Client client(server.port());
  client.awaitEnd();
  EXPECT_EQ(HttpServer::Shut::idle, server.shuts().first());
}

TEST(HttpServer, WhenAllPlacesAreInUseTheLongestWaitingGoes) {
  serve::Connections::Limits limits = patient();
  limits.most = 2;
  Server server(limits);
  Client first(server.port());
  Client second(server.port());
  second.send("GET / HTT");
  Client third(server.port());
  first.awaitEnd();
  EXPECT_EQ(HttpServer::Shut::crowded, server.shuts().first());
  EXPECT_EQ(200, statusIn(third.get("/")));
  second.send("P/1.1\r\nHost: a\r\n\r\n");
  EXPECT_EQ(200, statusIn(second.answer()));
}

// Those that are shut are only closed when it has answered.
TEST(HttpServer, GoesOnWhenMoreCameMeanwhileThanItCanHold) {
  serve::Connections::Limits limits = patient();
  limits.most = 4;
  std::latch asked(1);
  std::latch answered(1);
  Server server(limits, [&](const Request& request) {
    if (request.target == "/slow") {
      asked.count_down();
      answered.wait();
    }
    return echo(request);
  });
  Client slow(server.port());
  slow.send("GET /slow HTTP/1.1\r\nHost: a\r\n\r\n");
  asked.wait();
  std::list<Client> crowd;
  for (int i = 0; i < 80; ++i) crowd.emplace_back(server.port());
  server.shuts().await(60);
  answered.count_down();
  EXPECT_EQ("GET /slow", bodyIn(slow.answer()));
  crowd.clear();
  EXPECT_EQ("GET /", bodyIn(Client(server.port()).get("/")));
}

TEST(HttpServer, InACrowdEachConnectionGetsOneAnswer) {
  serve::Connections::Limits limits = patient();
  limits.most = 1;
  const Server server(limits);
  Client client(server.port());
  EXPECT_EQ("close", headerIn(client.get("/"), "Connection"));
  client.awaitEnd();
}

TEST(HttpServer, AClientThatSharesATextGetsItWithoutACopy) {
  const auto text = std::make_shared<const std::string>("shared");
  {
    const Server server(patient(),
                        [&text](const Request&) { return Reply{.body = text, .gzip = true}; });
    const std::string answer = Client(server.port()).get("/");
    EXPECT_EQ("shared", bodyIn(answer));
    EXPECT_EQ("gzip", headerIn(answer, "Content-Encoding"));
  }
  EXPECT_EQ(1, text.use_count()) << "the server gave it back";
}

TEST(HttpServer, PutsOffWhoAsksWhileOthersDontTakeTheirAnswers) {
  std::latch asked(1);
  HttpServer::Settings settings{.limits = patient(), .tick = milliseconds(1)};
  settings.mostUnsent = 64 << 20;
  Server server(settings, [&asked](const Request& request) {
    if (request.target == "/large") asked.count_down();
    const std::size_t size = request.target == "/small" ? 1 << 10 : 64 << 20;
    return Reply{.body = std::make_shared<const std::string>(size, 'x')};
  });
  Client lazy(server.port());
  lazy.send("GET /large HTTP/1.1\r\nHost: a\r\n\r\n");
  asked.wait();
  EXPECT_EQ(200, statusIn(Client(server.port()).get("/small"))) << "a small one is no harm";
  const std::string refused = Client(server.port()).get("/other");
  ASSERT_EQ(503, statusIn(refused));
  EXPECT_EQ("2", headerIn(refused, "Retry-After"));
  EXPECT_EQ("close", headerIn(refused, "Connection"));
  EXPECT_EQ(HttpServer::Shut::unsent, server.shuts().first());
  EXPECT_EQ(200, statusIn(lazy.answer()));
  EXPECT_EQ(200, statusIn(Client(server.port()).get("/other"))) << "the first one was taken";
}

TEST(HttpServer, EndsWhileClientsAreConnected) {
  auto server = std::make_unique<Server>();
  Client silent(server->port());
  Client half(server->port());
  half.send("GET / HT");
  EXPECT_EQ(200, statusIn(Client(server->port()).get("/")));
  server.reset();
  silent.awaitEnd();
  half.awaitEnd();
}

TEST(HttpServer, ManyClientsAtOnceGetTheirOwnAnswers) {
  const Server server;
  std::vector<std::thread> clients;
  std::atomic<int> right{0};
  for (int i = 0; i < 8; ++i) {
    clients.emplace_back([&, i] {
      Client client(server.port());
      for (int n = 0; n < 50; ++n) {
        const std::string target = "/" + std::to_string(i * 1000 + n);
        right += bodyIn(client.get(target)) == "GET " + target;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(400, right);
}

}  // namespace http_server_test
