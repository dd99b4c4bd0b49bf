// Reading while another process writes: what is returned is whole and in order.
#include <gtest/gtest.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>

#include "agent/reader/events.h"
#include "tests/agent/image.h"
#include "tests/agent/live_segment.h"

namespace {

using image::Bytes;

constexpr std::size_t kAreaSize = 4096;
constexpr std::uint32_t kTime = 0xEA600000;

// Appends to a ring as the library does: the record, then the header.
class RingWriter {
 public:
  explicit RingWriter(std::uint8_t* area) : area_(area) {}

  void append(const Bytes& record) {
    if (kAreaSize - next_ < record.size()) publish(32);
    // From the front to the back, so that a writer that is stopped half-way has written the younger
    // header: of anything else a reader can't know.
    volatile std::uint8_t* to = area_ + next_;
    for (const std::uint8_t byte : record) *to++ = byte;
    getppid();  // the library asks the clock here
    publish(next_ + static_cast<std::uint32_t>(record.size()));
  }

 private:
  void publish(std::uint32_t next) {
    next_ = next;
    last_ = std::max(last_, next);
    const std::uint32_t offsets[] = {next_, last_, updates_++, 0};
    std::atomic_thread_fence(std::memory_order_release);
    std::memcpy(area_ + 16, offsets, sizeof offsets);
  }

  std::uint8_t* area_;
  std::uint32_t next_ = 32;
  std::uint32_t last_ = 32;
  std::uint32_t updates_ = 0;
};

// Every field of event n tells n, and so does every unit of its template.
image::Id idOf(std::uint32_t type, std::uint32_t n) {
  const std::uint32_t milliseconds = n / 4;
  return {type, 1 + milliseconds / 1000, milliseconds % 1000, n};
}

std::u16string textOf(std::uint32_t n) {
  return std::u16string(1 + n * 7 % 90, static_cast<char16_t>(u'a' + n % 26));
}

Bytes eventOf(std::uint32_t n) {
  Bytes record = image::event(idOf(8, n), idOf(7, n), kTime + n, static_cast<std::int32_t>(n));
  std::fill(record.begin() + 48, record.begin() + 96, static_cast<std::uint8_t>(n));
  return record;
}

Bytes templateOf(std::uint32_t n) {
  const std::u16string text = textOf(n);
  return image::eventTemplate(idOf(7, n), text, text, text, n, text);
}

// Posts events, each with a template of its own, until it is killed.
[[noreturn]] void postForEver(std::uint8_t* segment) {
  RingWriter templates(segment + 32);
  RingWriter data(segment + 32 + kAreaSize);
  for (std::uint32_t n = 0;; ++n) {
    const Bytes newTemplate = templateOf(n);
    const Bytes newEvent = eventOf(n);
    templates.append(newTemplate);
    data.append(newEvent);
  }
}

class Posting : public testing::Test {
 protected:
  Posting() {
    shared_ = shmat(live_.id(), nullptr, 0);
    writer_ = fork();
    if (writer_ == 0) postForEver(static_cast<std::uint8_t*>(shared_));
  }

  ~Posting() override {
    kill(writer_, SIGKILL);
    waitpid(writer_, nullptr, 0);
    shmdt(shared_);
  }

 private:
  LiveSegment live_{"1-2-3", image::segment({{.eyecatcher = "zebcetar", .contents = {}},
                                             {.eyecatcher = "zebcedar", .contents = {}}})};
  void* shared_;
  pid_t writer_;

 protected:
  reader::Segment read() const { return reader::readSegment(live_.keyFile()); }
};

void expectWhole(const reader::Event& event) {
  const auto n = static_cast<std::uint32_t>(event.threadId);
  ASSERT_EQ(kTime + n - 2177452800LL, *event.time);
  std::array<std::uint8_t, 24> bytes;
  bytes.fill(static_cast<std::uint8_t>(n));
  ASSERT_EQ(bytes, event.messageId);
  ASSERT_EQ(bytes, event.correlationId);
  if (!event.origin) return;  // overwritten before it could be read
  const std::string text(textOf(n).size(), static_cast<char>('a' + n % 26));
  ASSERT_EQ(n, event.origin->nodeType);
  ASSERT_EQ(text, event.origin->executionGroup);
  ASSERT_EQ(text, event.origin->messageFlow);
  ASSERT_EQ(text, event.origin->node);
  ASSERT_EQ(text, event.origin->text);
}

}  // namespace

TEST_F(Posting, EventsAndTemplatesAreWholeAndInOrderWhileTheRingTurns) {
  reader::EventLog log;
  std::int64_t newest = -1;
  std::uint64_t seen = 0;
  std::uint64_t joined = 0;
  while (seen < 5000) {
    const reader::Segment segment = read();
    reader::DamageList damage = segment.copy.damage;
    for (const reader::Event& event : log.read(segment, damage).events) {
      ASSERT_NO_FATAL_FAILURE(expectWhole(event));
      ASSERT_GT(event.threadId, newest);
      newest = event.threadId;
      ++seen;
      if (event.origin) ++joined;
    }
    ASSERT_TRUE(damage.empty()) << damage.list()[0].area << " " << damage.list()[0].offset << " "
                                << damage.list()[0].reason;
  }
  EXPECT_GT(joined, 0U);
}
