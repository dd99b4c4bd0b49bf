// SPDX-License-Identifier: Apache-2.0
// "zebmon serve", as it is started.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "agent/front/serve/lockdown.h"
#include "tests/agent/serve/client.h"
#include "tests/agent/zebmon.h"
#include "tests/support/image.h"
#include "tests/support/live_segment.h"

namespace serve_command_test {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr char kSecret[] = "0123456789abcdef0123456789abcdef";

// A server of the program, at a port that is free.
class Serving {
 public:
  explicit Serving(std::vector<std::string> options = {}, std::string listen = "127.0.0.1:0")
      : zebmon_({.arguments = withListen(std::move(options), std::move(listen))}),
        first_(zebmon_.line()),
        second_(zebmon_.line()) {}

  const std::string& first() const { return first_; }
  const std::string& second() const { return second_; }
  Zebmon& program() { return zebmon_; }

  std::uint16_t port() const {
    const auto colon = first_.rfind(':');
    return static_cast<std::uint16_t>(std::strtoul(first_.c_str() + colon + 1, nullptr, 10));
  }

  std::string get(const std::string& target, const std::string& headers = "") const {
    return Client(port()).get(target, headers);
  }

 private:
  static std::vector<std::string> withListen(std::vector<std::string> options, std::string listen) {
    options.insert(options.begin(), {"serve", "--listen", std::move(listen)});
    return options;
  }

  Zebmon zebmon_;
  std::string first_;
  std::string second_;
};

std::string writeToken() {
  const std::string path = testing::TempDir() + "token";
  std::ofstream(path) << kSecret << "\n";
  chmod(path.c_str(), 0600);
  return path;
}

// Receives what a service tells systemd.
class Notifications {
 public:
  explicit Notifications(const std::string& path) : socket_(socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(0, bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  }
  ~Notifications() { close(socket_); }
  Notifications(const Notifications&) = delete;
  Notifications& operator=(const Notifications&) = delete;

  std::string next() {
    char text[1000];
    const ssize_t length = recv(socket_, text, sizeof text, 0);
    return {text, length > 0 ? static_cast<std::size_t>(length) : 0};
  }

 private:
  int socket_;
};

// "zebmon serve" as systemd starts it, with one socket that listens.
pid_t startByHand(int listening, const std::string& notify) {
  const pid_t child = fork();
  if (child != 0) return child;
  const std::string process = "LISTEN_PID=" + std::to_string(getpid());
  std::string words[] = {"zebmon", "serve", process, "LISTEN_FDS=1", "NOTIFY_SOCKET=" + notify};
  char* const arguments[] = {words[0].data(), words[1].data(), nullptr};
  char* const environment[] = {words[2].data(), words[3].data(), words[4].data(), nullptr};
  if (listening == 3) fcntl(3, F_SETFD, 0);  // dup2() would leave it as it is
  dup2(listening, 3);
  dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
  execve(ZEBMON, arguments, environment);
  _exit(126);
}

struct Certificate {
  Certificate() {
    answerOf(
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 1 "
        "-subj /CN=localhost -addext subjectAltName=DNS:localhost -keyout " +
        key + " -out " + file);
  }
  ~Certificate() {
    fs::remove(file);
    fs::remove(key);
  }
  const std::string file = testing::TempDir() + "certificate.pem";
  const std::string key = testing::TempDir() + "key.pem";
};

}  // namespace

TEST(ZebmonServe, AnswersWhatTheCommandsWrite) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  Serving serving({"--events"});
  EXPECT_TRUE(contains(serving.first(), "Listening at http://127.0.0.1:")) << serving.first();
  const std::string metrics = serving.get("/metrics");
  EXPECT_EQ(200, statusIn(metrics));
  EXPECT_TRUE(contains(bodyIn(metrics), "\nzeb_node_messages_total{broker=\"BRK1\"")) << metrics;
  EXPECT_EQ("text/plain; version=0.0.4; charset=utf-8", headerIn(metrics, "Content-Type"));
  json stats = json::parse(bodyIn(serving.get("/api/v1/stats")));
  json shown = json::parse(run({"stats", "--format", "json"}).out);
  stats.erase("collectedAt");
  shown.erase("collectedAt");
  EXPECT_EQ(shown, stats);
  EXPECT_EQ("zebmon.brokers", json::parse(bodyIn(serving.get("/api/v1/brokers")))["schema"]);
  EXPECT_EQ("zebmon.doctor", json::parse(bodyIn(serving.get("/api/v1/findings")))["schema"]);
  EXPECT_EQ("zebmon.events", json::parse(bodyIn(serving.get("/api/v1/events")))["schema"]);
  EXPECT_EQ(0U, live.attached());
}

TEST(ZebmonServe, SpeaksOpenMetricsAndGzipWhenAsked) {
  Serving serving;
  const std::string open = serving.get("/metrics", "Accept: application/openmetrics-text\r\n");
  EXPECT_TRUE(bodyIn(open).ends_with("# EOF\n"));
  EXPECT_EQ("application/openmetrics-text; version=1.0.0; charset=utf-8",
            headerIn(open, "Content-Type"));
  const std::string small = serving.get("/metrics", "Accept-Encoding: gzip\r\n");
  EXPECT_EQ("gzip", headerIn(small, "Content-Encoding"));
  EXPECT_TRUE(bodyIn(small).starts_with("\x1F\x8B"));
}

TEST(ZebmonServe, WritesTheSeriesThatWereAskedFor) {
  const LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
  EXPECT_FALSE(contains(bodyIn(Serving().get("/metrics")), "_max_"));
  const std::string more = bodyIn(Serving({"--extremes"}).get("/metrics"));
  EXPECT_TRUE(contains(more, "\nzeb_node_elapsed_max_seconds{")) << more;
  const std::string none = bodyIn(Serving({"--max-series", "0"}).get("/metrics"));
  EXPECT_FALSE(contains(none, "zeb_node_messages_total")) << none;
  EXPECT_FALSE(contains(none, "zebmon_series_dropped 0\n")) << none;
}

TEST(ZebmonServe, IsReadyAlsoWithoutABroker) {
  Serving serving;
  EXPECT_EQ(200, statusIn(serving.get("/readyz")));
  const std::string health = serving.get("/healthz");
  EXPECT_EQ(200, statusIn(health));
  EXPECT_TRUE(json::parse(bodyIn(health)).is_array()) << health;
}

TEST(ZebmonServe, ShowsBrokersThatComeGoAndAreDamaged) {
  Serving serving({"--interval", "100ms"});
  const auto await = [&](const std::string& part) {
    while (!contains(bodyIn(serving.get("/api/v1/brokers")), part)) sched_yield();
  };
  {
    LiveSegment live("1-2-3", image::segment({image::ordersBlock()}));
    await("\"BRK1\"");
    live.write(image::Bytes(image::segment({image::ordersBlock()}).size(), 0xFF));
    await("\"damaged\"");
    live.removeSegment();
    await("\"noSegment\"");
  }
  await("\"brokers\":[]");
  const LiveSegment again("1-2-3", image::segment({image::ordersBlock()}));
  await("\"BRK1\"");
  while (statusIn(serving.get("/api/v1/flows")) != 200) sched_yield();
}

TEST(ZebmonServe, RefusesAndLogsWithoutRepeatingWhatClientsSent) {
  Serving serving;
  const auto ask = [&serving](const std::string& host) {
    Client client(serving.port());
    client.send("GET /metrics HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
    return client.answer();
  };
  const std::string refused = ask("evil\x1B[2J");
  EXPECT_EQ(421, statusIn(refused));
  EXPECT_TRUE(json::parse(bodyIn(refused))["error"].is_string());
  EXPECT_FALSE(contains(bodyIn(refused), "evil"));
  for (int i = 0; i < 10; ++i) EXPECT_EQ(421, statusIn(ask("again")));
  serving.program().signal(SIGTERM);
  EXPECT_EQ(0, serving.program().wait());
  const std::string log = serving.program().errors();
  EXPECT_TRUE(contains(log, "zebmon: GET metrics 421, ")) << log;
  EXPECT_TRUE(contains(log, "ms: \"evil\\x1B[2J\".\n")) << log;
  EXPECT_FALSE(contains(log, "again")) << log;
}

TEST(ZebmonServe, EndsCleanlyBySignals) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Serving serving;
    Client idle(serving.port());
    serving.program().signal(signal);
    EXPECT_EQ(0, serving.program().wait());
  }
}

TEST(ZebmonServe, EventsAreOffUnlessAskedFor) {
  Serving off;
  EXPECT_EQ(403, statusIn(off.get("/api/v1/events")));
  EXPECT_TRUE(contains(off.second(), "Events are off; --events shows them.")) << off.second();
  Serving on({"--events"});
  EXPECT_EQ(200, statusIn(on.get("/api/v1/events?since=1")));
  EXPECT_TRUE(contains(on.second(), "Warning: all users of this machine can read")) << on.second();
}

TEST(ZebmonServe, ShowsEventsBetweenTwoLooksEachOnce) {
  LiveSegment live("1-2-3", image::ordersAfter(2));
  Serving serving({"--events", "--interval", "1h"});
  const auto shown = [&] { return json::parse(bodyIn(serving.get("/api/v1/events")))["events"]; };
  EXPECT_EQ(2U, shown().size());
  live.write(image::ordersAfter(3));
  while (shown().size() < 3) sched_yield();
  live.write(image::ordersAfter(4));
  while (shown().size() < 4) sched_yield();
  EXPECT_EQ("seen", shown()[3]["template"]["text"]);
  EXPECT_NE(shown()[2]["recordId"], shown()[3]["recordId"]);
}

TEST(ZebmonServe, LooksAtAsManyBrokersAsItIsAllowedTo) {
  const LiveSegment one("1-2-3", image::segment({image::ordersBlock()}));
  const LiveSegment other("1-2-4", image::segment({image::ordersBlock()}));
  Serving few({"--max-brokers", "1"});
  EXPECT_TRUE(contains(few.get("/healthz"), "1 broker is left out: allow more with"));
  const json seen = json::parse(bodyIn(few.get("/api/v1/brokers")));
  EXPECT_EQ(1U, seen["brokers"].size());
  EXPECT_EQ(1, seen["leftOut"]["tooMany"]);
  Serving little({"--max-total", "100B"});
  EXPECT_TRUE(contains(little.get("/healthz"), "of 2 brokers only a part was looked at"));
  Serving foreign({"--owner", "4711"});
  const json others = json::parse(bodyIn(foreign.get("/api/v1/brokers")));
  EXPECT_EQ(0U, others["brokers"].size());
  EXPECT_EQ(2, others["leftOut"]["ofOtherUsers"]);
  EXPECT_FALSE(contains(foreign.get("/healthz"), "left out"));
  EXPECT_EQ(64, run({"serve", "--max-brokers", "0"}).code);
  EXPECT_EQ(64, run({"serve", "--max-total", "0"}).code);
}

TEST(ZebmonServe, ATokenOpensAllOfIt) {
  const std::string file = writeToken();
  Serving serving({"--token-file", file});
  const std::string refused = serving.get("/metrics");
  EXPECT_EQ(401, statusIn(refused));
  EXPECT_EQ("Bearer realm=\"zebmon\"", headerIn(refused, "WWW-Authenticate"));
  const std::string shown = std::string("Authorization: Bearer ") + kSecret + "\r\n";
  EXPECT_EQ(200, statusIn(serving.get("/metrics", shown)));
  EXPECT_EQ(200, statusIn(serving.get("/api/v1/events", shown)));
  EXPECT_EQ(200, statusIn(serving.get("/healthz")));
  fs::remove(file);
}

TEST(ZebmonServe, AnAddressThatOthersReachNeedsTokenAndTls) {
  const Result open = run({"serve", "--listen", "0.0.0.0:0"});
  EXPECT_EQ(64, open.code);
  EXPECT_TRUE(contains(open.errors, "lacks --token-file and --tls-certificate with --tls-key. "))
      << open.errors;
  const std::string file = writeToken();
  const Result half = run({"serve", "--listen", "0.0.0.0:0", "--token-file", file});
  EXPECT_EQ(64, half.code);
  EXPECT_TRUE(contains(half.errors, "lacks --tls-certificate with --tls-key. ")) << half.errors;
  fs::remove(file);
  Serving insecure({"--insecure"}, "0.0.0.0:0");
  EXPECT_EQ(200, statusIn(insecure.get("/metrics")));
}

TEST(ZebmonServe, SpeaksTls) {
  const Certificate certificate;
  const std::string file = writeToken();
  Serving serving(
      {"--token-file", file, "--tls-certificate", certificate.file, "--tls-key", certificate.key},
      "0.0.0.0:0");
  EXPECT_TRUE(contains(serving.first(), "https://0.0.0.0:")) << serving.first();
  const std::string said = answerOf(
      "curl -sS --noproxy '*' --cacert " + certificate.file + " -H 'Authorization: Bearer " +
      kSecret + "' https://localhost:" + std::to_string(serving.port()) + "/metrics");
  EXPECT_TRUE(contains(said, "zeb_brokers 0")) << said;
  Client plain(serving.port());
  plain.send("GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_FALSE(contains(plain.answer(), "200 OK"));
  fs::remove(file);
}

TEST(ZebmonServe, ACertificateHasToFitItsKey) {
  const Certificate certificate;
  const Result swapped = run({"serve", "--listen", "127.0.0.1:0", "--tls-certificate",
                              certificate.key, "--tls-key", certificate.file});
  EXPECT_EQ(64, swapped.code);
  EXPECT_TRUE(contains(swapped.errors, "are no certificate with its key")) << swapped.errors;
  const Result none = run({"serve", "--listen", "127.0.0.1:0", "--tls-certificate", "/none",
                           "--tls-key", certificate.key});
  EXPECT_EQ(66, none.code);
  EXPECT_EQ(64, run({"serve", "--tls-certificate", certificate.file}).code);
}

TEST(ZebmonServe, NamesOfTheMachineAreGiven) {
  Serving serving({"--host", "Web1.example.net", "--host", "[fe80::1]"});
  const auto ask = [&serving](const std::string& host) {
    Client client(serving.port());
    client.send("GET /metrics HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
    return statusIn(client.answer());
  };
  EXPECT_EQ(200, ask("web1.example.net:1"));
  EXPECT_EQ(200, ask("[FE80::1]"));
  EXPECT_EQ(421, ask("web2.example.net"));
  EXPECT_EQ(64, run({"serve", "--host", "web1:80"}).code);
}

TEST(ZebmonServe, AnswersAtASocketInAFile) {
  fs::create_directory("/var/zebmon");
  {
    Serving serving({"--socket-mode", "0600"}, "unix:/var/zebmon/socket");
    EXPECT_EQ("Listening at unix:/var/zebmon/socket\n", serving.first());
    EXPECT_EQ(200, statusIn(Client("/var/zebmon/socket").get("/metrics")));
    EXPECT_EQ(fs::perms(0600), fs::status("/var/zebmon/socket").permissions());
    serving.program().signal(SIGTERM);
    EXPECT_EQ(0, serving.program().wait());
    EXPECT_FALSE(fs::exists("/var/zebmon/socket"));
  }
  fs::remove_all("/var/zebmon");
}

TEST(ZebmonServe, IsAServiceOfSystemd) {
  const FreePort port;
  Notifications notifications("/var/notify");
  const pid_t server = startByHand(port.socket(), "/var/notify");
  EXPECT_TRUE(notifications.next().starts_with("READY=1\n"));
  EXPECT_EQ(200, statusIn(Client(port.number()).get("/metrics")));
  kill(server, SIGTERM);
  EXPECT_EQ("STOPPING=1", notifications.next());
  int status = 0;
  waitpid(server, &status, 0);
  EXPECT_EQ(0, status);
  fs::remove("/var/notify");
}

TEST(ZebmonServe, WhatCantBeDoneIsSaidAtTheStart) {
  const FreePort taken;
  const std::string address = "127.0.0.1:" + std::to_string(taken.number());
  const Result result = run({"serve", "--listen", address});
  EXPECT_EQ(74, result.code);
  EXPECT_TRUE(contains(result.errors, "Address already in use. Choose another --listen."))
      << result.errors;
  EXPECT_EQ(64, run({"serve", "--listen", "web1"}).code);
  EXPECT_EQ(64, run({"serve", "--interval", "1ms"}).code);
  EXPECT_EQ(64, run({"serve", "--socket-mode", "0888"}).code);
  EXPECT_EQ(66, run({"serve", "--token-file", "/none"}).code);
}

TEST(ZebmonServe, IsLockedInOrSaysThatItIsNot) {
  Serving serving;
  serving.get("/metrics");
  serving.program().signal(SIGTERM);
  serving.program().wait();
  const bool said = contains(serving.program().errors(), "system calls are not restricted");
  EXPECT_EQ(!serve::whyNotLocked().empty(), said);
}

}  // namespace serve_command_test
