// SPDX-License-Identifier: Apache-2.0
// A test of the library's classes: settings of its own, a log to read, a clock that stands still.
#ifndef ZEB_TESTS_SUPPORT_LIBRARY_TEST_H
#define ZEB_TESTS_SUPPORT_LIBRARY_TEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/trace.h"
#include "tests/support/ipc_objects.h"
#include "tests/support/scripted_clock.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stored_bytes.h"

namespace support {

// The second that the clock of a LibraryTest shows when the test begins.
inline constexpr unsigned kNow = 1700000000;

// Makes the library of this process read its configuration from the file that `configure` writes.
void useOwnConfiguration();
void configure(const std::string& text);

class LibraryTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
};

// The key file of the broker "UUID1".
inline constexpr char kSegment[] = "/tmp/UUID1.zebcshme";

// What the broker "UUID1" has in shared memory, copied at each call; nothing while it has no
// segment, or no such area.
class StoringTest : public LibraryTest {
 protected:
  static Bytes bytes() {
    const auto segment = segmentOf(kSegment);
    return segment ? bytesOf(*segment) : Bytes{};
  }
  static std::vector<StoredRecord> records(const char* eyecatcher = "zebcstar") {
    const Bytes segment = bytes();
    const auto block = segment.empty() ? std::nullopt : findBlock(segment, eyecatcher);
    return block ? recordsOf(segment, *block) : std::vector<StoredRecord>{};
  }
  // Of the statistics area.
  static std::vector<StoredRecord> ofType(std::uint32_t type) {
    std::vector<StoredRecord> found = records();
    std::erase_if(found, [type](const StoredRecord& record) { return record.type() != type; });
    return found;
  }
  static std::vector<std::uint32_t> types() {
    std::vector<std::uint32_t> found;
    for (const StoredRecord& record : records()) found.push_back(record.type());
    return found;
  }
};

// Tracing is on, and the log empty, while one of these lives.
class Tracing {
 public:
  Tracing();
  ~Tracing();
  Tracing(const Tracing&) = delete;
  Tracing& operator=(const Tracing&) = delete;
};

using Texts = std::vector<std::string>;

// The trace entries of one function, in order. Each is looked at whole: a wrong type, unit, source
// or insert shows in the text.
Texts textsOf(const std::string& unit, const std::string& function);
// Without "Entry" and "Exit".
Texts ownTextsOf(const std::string& unit, const std::string& function);
// How often the function began.
std::size_t entriesOf(const std::string& function);
// Every line that was logged by the function, traced or not, dump lines left out.
Texts linesOf(const std::string& function);

// The messages as "number unit function | text | insert | insert".
Texts messageLines();
std::string message1(const std::string& unit, const std::string& function);
std::string message2(const std::string& unit, const std::string& function,
                     const std::string& callee, int errorNumber);

// The bytes of the dumps that were logged, each behind its title.
std::vector<Bytes> dumpsTitled(const std::string& title);

// "Exit: 0x%X" of a number or of the low half of a pointer.
std::string exitOf(unsigned long result);
std::string exitOf(const void* result);
// The low half of a pointer, as "%X" writes it.
std::string hex(const void* pointer);

Bytes bytesAt(const void* p, std::size_t count);

// Every operation of a class traces its begin and its end under its unit and its name.
struct Traced {
  const char* function;
  std::string exit;  // the last text
};
void expectTraced(const char* unit, const std::vector<Traced>& operations);

}  // namespace support

#endif  // ZEB_TESTS_SUPPORT_LIBRARY_TEST_H
