// SPDX-License-Identifier: Apache-2.0
// Any bytes as a request to the server: the first chooses what the server was started with, then
// comes a line with method and target, and a line for each header. Whatever is asked, the answer
// can be sent as it is: its headers are one line each, its documents are JSON, a refusal says why.
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>

#include "agent/front/serve/answers.h"
#include "agent/front/serve/negotiation.h"
#include "tests/fuzz/shown.h"
#include "tests/support/broken.h"
#include "text/printable.h"

namespace {

using fuzz::require;
using fuzz::requirePrintable;

std::shared_ptr<const model::SeenBroker> brokerSeen() {
  const broken::Bytes bytes = broken::healthy();
  reader::Segment segment;
  segment.state = reader::State::ok;
  segment.keyFile = "/tmp/UUID1.zebcshme";
  segment.size = bytes.size();
  segment.copy = reader::copySegment(bytes, bytes.size());
  return std::make_shared<const model::SeenBroker>(model::decoded(std::move(segment), 1795234171));
}

// One look at one broker, with its events.
model::FollowLook look() {
  auto whole = std::make_shared<model::Snapshot>();
  whole->wall = std::chrono::system_clock::now();
  whole->steady = std::chrono::steady_clock::now();
  whole->machine = std::make_shared<model::Machine>();
  whole->brokers = {brokerSeen()};
  reader::EventLog log;
  reader::DamageList damage;
  model::News news{.broker = whole->brokers[0],
                   .gaps = {},
                   .events = log.read(whole->brokers[0]->segment, damage).events};
  return {.wall = whole->wall, .news = {std::move(news)}, .whole = whole};
}

void requireLine(const std::string& line) {
  require(text::printable(line) == line && line.size() < 1000);
}

// A server without sockets. It keeps a history.
class Server {
 public:
  Server() {
    watcher_.waitForFirst();
    token_.token.emplace(std::string(32, 't'));
  }

  serve::Reply answer(const serve::Request& request, std::uint8_t how) {
    const serve::Rules& rules = how % 4 == 0 ? token_ : how % 4 == 1 ? events_ : plain_;
    return serve::Answers(rules, watcher_, book_, how % 8 < 4 ? keeper_ : nothing_, nullptr,
                          journal_)(request);
  }

 private:
  static serve::KeepOptions fileOfHistory() {
    std::filesystem::create_directories("/var/state");
    return {.file = "/var/state/history.db"};
  }

  const serve::Rules plain_;
  const serve::Rules events_{.events = true};
  serve::Rules token_;
  serve::Journal journal_{requireLine};
  serve::EventBook book_{0, {}};
  serve::Keeper keeper_{fileOfHistory(), requireLine};
  serve::Keeper nothing_{{.file = ""}, requireLine};
  serve::Watcher watcher_{{.interval = std::chrono::hours(24)},
                          {.all = look},
                          {.news =
                               [this](const model::FollowLook& look) {
                                 book_.add(look);
                                 keeper_.take(look);
                               },
                           .each = [this](const serve::Seen& seen) { keeper_.take(seen); }}};
};

serve::Request requestOf(const std::string& text) {
  serve::Request request{.method = {}, .target = {}, .headers = {}};
  std::istringstream lines(text);
  std::getline(lines, request.method, ' ');
  std::getline(lines, request.target);
  for (std::string line; std::getline(lines, line);) {
    const auto colon = std::min(line.find(':'), line.size());
    request.headers.emplace_back(line.substr(0, colon),
                                 line.substr(std::min(colon + 1, line.size())));
  }
  return request;
}

void requireSound(const serve::Reply& reply) {
  require(reply.status == 200 || (reply.status >= 400 && reply.status != 500));
  requirePrintable(reply.type);
  for (const auto& [name, value] : reply.headers) {
    requireLine(name);
    requireLine(value);
  }
  require(reply.body != nullptr);
  if (reply.gzip || reply.type != "application/json") return;
  require(render::Json::accept(*reply.body));
  if (reply.status >= 400 && reply.body->starts_with('{'))
    require(!render::Json::parse(*reply.body).at("error").get<std::string>().empty());
}

void requireSound(const serve::HistoryQuery& query) {
  constexpr std::int64_t kEnd = 253402300800;  // the year 10000
  require(query.points >= 2 && query.points <= 1000);
  for (const auto& time : {query.from, query.until}) require(!time || (*time >= 0 && *time < kEnd));
  require(query.isOfFlow() || (!query.group && !query.flow && !query.node && !query.events));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  static Server server;
  if (length == 0) return 0;
  const std::string text(data + 1, data + length);
  const serve::Request request = requestOf(text);
  serve::hasLargeBody(request);
  requireSound(server.answer(request, data[0]));
  for (const auto& [name, value] : request.headers) {
    serve::hostOf(value);
    serve::expositionFor(value);
    serve::takesGzip(value);
  }
  if (const auto query = serve::parseHistoryQuery(text)) requireSound(*query);
  serve::parseMoment(text);
  const auto decoded = serve::percentDecoded(text);
  require(!decoded || decoded->size() <= text.size());
  return 0;
}
