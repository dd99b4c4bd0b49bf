// SPDX-License-Identifier: Apache-2.0
// Events for clients that ask again and again.
#include "agent/front/serve/event_book.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "agent/render/json.h"

namespace event_book_test {

namespace {

using nlohmann::json;
using serve::EventBook;

model::FollowLook lookWith(std::size_t events, std::uint64_t missed = 0) {
  auto broker = std::make_shared<model::SeenBroker>();
  broker->segment.keyFile = "/tmp/1.zebcshme";
  model::News news{.broker = std::move(broker), .gaps = {}, .events = {}};
  news.events.resize(events);
  for (reader::Event& event : news.events) event.putApplicationName = "a\x1B\"<b>";
  if (missed > 0) {
    news.gaps.push_back({.missed = {model::Missed::Kind::atLeast, missed, 0}});
    news.gaps.push_back({.node = "A", .missed = {model::Missed::Kind::exact, 1, 1}});
  }
  return {{}, {std::move(news)}, {}};
}

json pageOf(const EventBook& book, std::uint64_t since = 0) {
  return json::parse(book.page(since));
}

}  // namespace

TEST(EventBook, IsADocumentAlsoWhenItIsEmpty) {
  const json page = pageOf(EventBook(5, {}));
  EXPECT_EQ("zebmon.events", page["schema"]);
  EXPECT_EQ(5000000, page["last"]);
  EXPECT_EQ(5000001, page["first"]);
  EXPECT_EQ(false, page["more"]);
  EXPECT_EQ(0, page["missed"]);
  EXPECT_EQ(json::array(), page["events"]);
}

TEST(EventBook, GivesWhatIsNew) {
  EventBook book(0, {});
  book.add(lookWith(2));
  book.add(lookWith(1, 7));
  const json all = pageOf(book);
  ASSERT_EQ(3U, all["events"].size());
  EXPECT_EQ("zebmon.event", all["events"][0]["schema"]);
  EXPECT_EQ(1, all["events"][0]["sequence"]);
  EXPECT_EQ("a\\x1B\"<b>", all["events"][0]["putApplicationName"]);
  EXPECT_EQ(3, all["last"]);
  EXPECT_EQ(7, all["missed"]);
  const json rest = pageOf(book, 2);
  ASSERT_EQ(1U, rest["events"].size());
  EXPECT_EQ(3, rest["events"][0]["sequence"]);
  EXPECT_EQ(0U, pageOf(book, 3)["events"].size());
  EXPECT_EQ(3, pageOf(book, 3)["last"]);
  EXPECT_EQ(0U, pageOf(book, UINT64_MAX)["events"].size());
}

TEST(EventBook, IsReadInPages) {
  EventBook book(0, {.events = 100, .page = 2});
  book.add(lookWith(3));
  const json first = pageOf(book);
  EXPECT_EQ(2U, first["events"].size());
  EXPECT_EQ(true, first["more"]);
  EXPECT_EQ(2, first["last"]);
  const json second = pageOf(book, 2);
  EXPECT_EQ(1U, second["events"].size());
  EXPECT_EQ(false, second["more"]);
}

TEST(EventBook, KeepsTheNewest) {
  EventBook book(0, {.events = 2, .page = 100});
  book.add(lookWith(5));
  EXPECT_EQ(4, pageOf(book)["first"]);
  EXPECT_EQ(2U, pageOf(book)["events"].size());
  book.add(lookWith(1));
  EXPECT_EQ(5, pageOf(book)["first"]);
  EXPECT_EQ(6, pageOf(book)["last"]);
}

TEST(EventBook, AnEventIsWrittenAsTheCommandWritesIt) {
  EventBook book(0, {});
  const model::FollowLook look = lookWith(1);
  book.add(look);
  json expected = json::parse(
      render::written(render::eventDocument(*look.news[0].broker, look.news[0].events[0], 0)));
  expected["sequence"] = 1;
  EXPECT_EQ(expected, pageOf(book)["events"][0]);
}

TEST(EventBook, IsShownInTheDocument) {
  EventBook book(1754707218, {});
  model::FollowLook look;
  look.wall += std::chrono::seconds(1754707219);
  book.add(look);
  std::ifstream page(ZEB_JSON_DOCUMENT);
  const std::string text{std::istreambuf_iterator<char>(page), {}};
  const std::string block =
      "```json\n" + nlohmann::ordered_json::parse(book.page(0)).dump(2) + "\n```\n";
  EXPECT_NE(std::string::npos, text.find(block)) << block;
}

TEST(EventBook, IsWhatItsSchemaSays) {
  EventBook book(5, {});
  book.add(lookWith(2, 1));
  const std::string file = testing::TempDir() + "page";
  std::ofstream(file) << book.page(0);
  const std::string check = "python3 -B " ZEB_VALIDATE " " ZEB_SCHEMAS " " + file;
  EXPECT_EQ(0, std::system(check.c_str()));
  json page = pageOf(book);
  page["events"][0].erase("sequence");
  std::ofstream(file) << page.dump();
  EXPECT_NE(0, std::system((check + " >/dev/null").c_str()));
  std::filesystem::remove(file);
}

}  // namespace event_book_test
