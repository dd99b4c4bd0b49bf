// SPDX-License-Identifier: Apache-2.0
// Texts for the log: formatted, of an error, of a run of memory.
#include "base/format.h"

#include <cerrno>

#include "base/error_text.h"
#include "tests/support/library_test.h"

namespace format_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebctool";
constexpr char kDump[] = "ZEB_DumpMemory";

class FormatMessage : public LibraryTest {};

TEST_F(FormatMessage, FormatsItsArguments) {
  EXPECT_TRUE(ZEB_Format_Message("%s is %d, %08X", "this", -7, 0xABCU) == "this is -7, 00000ABC");
}

TEST_F(FormatMessage, IsEmptyForNoFormat) {
  const char* const none = nullptr;
  const ZEB_String text = ZEB_Format_Message(none);
  EXPECT_TRUE(text.OK());
  EXPECT_EQ(0U, text.size());
}

TEST_F(FormatMessage, IsCutAt1023Bytes) {
  EXPECT_EQ(1022U, ZEB_Format_Message("%s", std::string(1022, 'x').c_str()).size());
  EXPECT_EQ(1023U, ZEB_Format_Message("%s", std::string(1023, 'x').c_str()).size());
  EXPECT_EQ(1023U, ZEB_Format_Message("%s", std::string(5000, 'x').c_str()).size());
}

class LastError : public LibraryTest {};

TEST_F(LastError, HasNumberAndText) {
  errno = EPERM;
  EXPECT_TRUE(ZEB_GetLastError(ENOENT) == "Error 2. No such file or directory");
  EXPECT_TRUE(ZEB_GetLastError(EINTR) == "Error 4. Interrupted system call");
  EXPECT_TRUE(ZEB_GetLastError(99999) == "Error 99999. Unknown error 99999");
}

TEST_F(LastError, OfZeroIsTheCurrentErrno) {
  errno = EACCES;
  EXPECT_TRUE(ZEB_GetLastError(0) == "Error 13. Permission denied");
  const Tracing on;
  errno = EACCES;
  EXPECT_TRUE(ZEB_GetLastError(0) == "Error 13. Permission denied");
}

TEST_F(LastError, IsTheSameInAPlainBuffer) {
  char text[kErrorTextBytes];
  ZEB_FormatError(text, ENOENT);
  EXPECT_STREQ("Error 2. No such file or directory", text);
  ZEB_FormatError(text, 0);
  EXPECT_STREQ("Error 0. Success", text);
}

class Dump : public LibraryTest {
 protected:
  static std::string lineOf(const void* run, const std::string& rest) {
    char address[32];
    std::snprintf(address, sizeof address, "%#X",
                  static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(run)));
    return std::string("| ") + address + " | " + rest + " |";
  }

  const unsigned char memory[17] = {'A',  ' ',  '~', 0x7F, 0x1F, 0xE9, 0, 'z', 'q',
                                    0x0A, 0xFF, 1,   2,    3,    4,    5, 'X'};
};

TEST_F(Dump, WritesTheTitleAndEightBytesALine) {
  ZEB_DumpMemory(memory, 10, "The title %s");
  EXPECT_EQ((Texts{"The title %s", lineOf(memory, "41 20 7E 7F 1F E9 00 7A  | A ~....z"),
                   lineOf(memory + 8, "71 0A                    | q.      ")}),
            textsOf(kUnit, kDump));
}

TEST_F(Dump, AFullLineHasNoLineBehindIt) {
  ZEB_DumpMemory(memory, 8, nullptr);
  EXPECT_EQ(Texts{lineOf(memory, "41 20 7E 7F 1F E9 00 7A  | A ~....z")}, textsOf(kUnit, kDump));
  host().forget();
  ZEB_DumpMemory(memory, 9, nullptr);
  EXPECT_EQ((Texts{lineOf(memory, "41 20 7E 7F 1F E9 00 7A  | A ~....z"),
                   lineOf(memory + 8, "71                       | q       ")}),
            textsOf(kUnit, kDump));
  host().forget();
  ZEB_DumpMemory(memory, 1, nullptr);
  EXPECT_EQ(Texts{lineOf(memory, "41                       | A       ")}, textsOf(kUnit, kDump));
}

TEST_F(Dump, OfNothingWritesNoLine) {
  ZEB_DumpMemory(memory, 0, nullptr);
  ZEB_DumpMemory(memory, -1, nullptr);
  ZEB_DumpMemory(nullptr, 8, nullptr);
  ZEB_DumpMemory(nullptr, 8, "title");
  EXPECT_TRUE(host().log().empty());
  ZEB_DumpMemory(memory, 0, "title");
  EXPECT_EQ(Texts{"title"}, textsOf(kUnit, kDump));
}

TEST_F(Dump, WithTheSwitchOnHasEntryAndExitToo) {
  const Tracing on;
  ZEB_DumpMemory(nullptr, 8, "title");
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(kUnit, kDump));
  host().forget();
  ZEB_DumpMemory(memory, 2, nullptr);
  EXPECT_EQ((Texts{"Entry", lineOf(memory, "41 20                    | A       "), "Exit"}),
            textsOf(kUnit, kDump));
}

TEST_F(Dump, TheOthersTraceTheirEntryAndExit) {
  const Tracing on;
  ZEB_Format_Message("x");
  ZEB_GetLastError(1);
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(kUnit, "ZEB_Format_Message"));
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf(kUnit, "ZEB_GetLastError"));
}

}  // namespace

}  // namespace format_test
