// SPDX-License-Identifier: Apache-2.0
// What goes to the host's log, and how.
#include "base/trace.h"

#include <pthread.h>

#include <cerrno>
#include <stdexcept>

#include "base/string.h"
#include "tests/support/library_test.h"

namespace trace_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebtests";
constexpr char kFunction[] = "Something::done";

Texts texts() {
  return textsOf(kUnit, kFunction);
}

class TraceScope : public LibraryTest {
 protected:
  static LogEntry only() {
    const std::vector<LogEntry> log = host().log();
    EXPECT_EQ(1U, log.size());
    return log.empty() ? LogEntry{} : log.front();
  }
};

const int switchAtLoad = bZEBTracing;

TEST_F(TraceScope, IsOffAtFirst) {
  EXPECT_EQ(0, switchAtLoad);
  {
    ZEB_Trace trace(kUnit, kFunction);
    trace.text("%s", "text");
    EXPECT_EQ(5, trace.leave(5));
  }
  EXPECT_TRUE(host().log().empty());
}

TEST_F(TraceScope, WritesEntryAndExit) {
  const Tracing on;
  { const ZEB_Trace trace(kUnit, kFunction); }
  EXPECT_EQ((Texts{"Entry", "Exit"}), texts());
}

TEST_F(TraceScope, AnEntryIsOfTypeTwoWithAnEmptySourceAndNoInserts) {
  const Tracing on;
  const int line = __LINE__ + 1;
  const ZEB_Trace trace(kUnit, kFunction);
  const LogEntry entry = only();
  EXPECT_EQ(2, entry.type);
  EXPECT_EQ(kUnit, entry.unit);
  EXPECT_EQ(line, entry.line);
  EXPECT_EQ(kFunction, entry.function);
  EXPECT_TRUE(entry.hasSource);
  EXPECT_EQ(u"", entry.source);
  EXPECT_EQ(0, entry.number);
  EXPECT_EQ("Entry", entry.text);
  EXPECT_TRUE(entry.inserts.empty());
  EXPECT_EQ(pthread_self(), entry.thread);
}

TEST_F(TraceScope, WritesTheLow32BitsOfAResult) {
  const Tracing on;
  const auto exitOfResult = [](auto result) {
    host().forget();
    ZEB_Trace trace(kUnit, kFunction);
    EXPECT_EQ(result, trace.leave(result));
    return texts().back();
  };
  EXPECT_EQ("Exit: 0x0", exitOfResult(0));
  EXPECT_EQ("Exit: 0xFFFFFFFF", exitOfResult(-1));
  EXPECT_EQ("Exit: 0xABCDEF", exitOfResult(0xABCDEF));
  EXPECT_EQ("Exit: 0x89ABCDEF", exitOfResult(0x0123456789ABCDEFL));
  EXPECT_EQ("Exit: 0x1", exitOfResult(true));
  EXPECT_EQ(exitOf(this), exitOfResult(this));
  const char* const none = nullptr;
  EXPECT_EQ("Exit: 0x0", exitOfResult(none));
}

TEST_F(TraceScope, WritesOneExitOnly) {
  const Tracing on;
  {
    ZEB_Trace trace(kUnit, kFunction);
    trace.leave(3);
  }
  EXPECT_EQ((Texts{"Entry", "Exit: 0x3"}), texts());
}

TEST_F(TraceScope, TestsTheSwitchAtEachPoint) {
  {
    ZEB_Trace trace(kUnit, kFunction);
    bZEBTracing = 1;
    trace.text("in between");
    bZEBTracing = 0;
    trace.text("unseen");
    bZEBTracing = 1;
  }
  EXPECT_EQ((Texts{"in between", "Exit"}), texts());
}

TEST_F(TraceScope, FormatsItsTexts) {
  const Tracing on;
  const ZEB_Trace trace(kUnit, kFunction);
  const ZEB_String string("string");
  host().forget();
  trace.text("%d %s %08X %s", -5, "text", 0xABU, string);
  trace.text("at 0x%X", this);
  char buffer[] = "buffer";
  trace.text("%s", buffer);
  EXPECT_EQ((Texts{"-5 text 000000AB string", "at 0x" + hex(this), "buffer"}), texts());
}

TEST_F(TraceScope, TheLineIsTheCallers) {
  const Tracing on;
  ZEB_Trace trace(kUnit, kFunction);
  host().forget();
  trace.text("text");
  EXPECT_EQ(__LINE__ - 1, only().line);
  host().forget();
  trace.print("line");
  EXPECT_EQ(__LINE__ - 1, only().line);
  host().forget();
  trace.leave(1);
  EXPECT_EQ(__LINE__ - 1, only().line);
}

TEST_F(TraceScope, LinesAreWrittenWithTheSwitchOff) {
  const ZEB_Trace trace(kUnit, kFunction);
  trace.print("Number %i", 7);
  EXPECT_EQ(Texts{"Number 7"}, texts());
  EXPECT_EQ(1U, host().log().size());
}

TEST_F(TraceScope, LongTextsAreCutAt1023Bytes) {
  const ZEB_Trace trace(kUnit, kFunction);
  const std::string exact(1023, 'x');
  trace.print("%s", exact.c_str());
  trace.print("%s", (exact + "y").c_str());
  EXPECT_EQ((Texts{exact, exact}), texts());
}

TEST_F(TraceScope, WritesNothingWhileAnExceptionUnwindsIt) {
  const Tracing on;
  try {
    const ZEB_Trace trace(kUnit, kFunction);
    throw std::runtime_error("the host's");
  } catch (const std::runtime_error&) {
    const ZEB_Trace trace("zebtest2", "Catcher");
  }
  EXPECT_EQ(Texts{"Entry"}, texts());
  EXPECT_EQ((Texts{"Entry", "Exit"}), textsOf("zebtest2", "Catcher"));
}

struct TracesOnDestruction {
  ~TracesOnDestruction() { const ZEB_Trace trace(kUnit, kFunction); }
};

TEST_F(TraceScope, OneThatBeganWhileUnwindingIsWhole) {
  const Tracing on;
  try {
    const TracesOnDestruction traces;
    throw std::runtime_error("the host's");
  } catch (const std::runtime_error&) {
  }
  EXPECT_EQ((Texts{"Entry", "Exit"}), texts());
}

TEST_F(TraceScope, KeepsErrno) {
  host().script.log = [](const LogEntry&) { errno = ERANGE; };
  const Tracing on;
  errno = ENOENT;
  {
    ZEB_Trace trace(kUnit, kFunction);
    EXPECT_EQ(ENOENT, errno);
    trace.text("text");
    trace.allocationError();
    trace.failed("callee", "error");
    trace.systemCallFailed("callee", EINTR);
    trace.hostCallFailed("callee", "%i", 1);
    trace.maximumReached("BRK1");
    EXPECT_EQ(ENOENT, errno);
    trace.leave(1);
  }
  EXPECT_EQ(ENOENT, errno);
}

class TraceMessage : public LibraryTest {
 protected:
  const ZEB_Trace trace{kUnit, kFunction};
};

TEST_F(TraceMessage, OfAnAllocation) {
  trace.allocationError();
  EXPECT_EQ(__LINE__ - 1, host().log().front().line);
  EXPECT_EQ(Texts{"1 zebtests Something::done | Allocation Error in Something::done | "
                  "Something::done"},
            messageLines());
}

TEST_F(TraceMessage, OfAFunctionThatFailed) {
  trace.failed("fopen", "0");
  EXPECT_EQ(__LINE__ - 1, host().log().front().line);
  EXPECT_EQ(Texts{"2 zebtests Something::done | Function fopen failed in Something::done. 0. | "
                  "fopen | Something::done | 0"},
            messageLines());
}

TEST_F(TraceMessage, OfASystemCallHasTheSystemsText) {
  trace.systemCallFailed("msgget", ENOENT);
  EXPECT_EQ(__LINE__ - 1, host().log().front().line);
  EXPECT_EQ(Texts{"2 zebtests Something::done | Function msgget failed in Something::done. Error "
                  "2. No such file or directory. | msgget | Something::done | Error 2. No such "
                  "file or directory"},
            messageLines());
}

TEST_F(TraceMessage, OfAHostCallHasItsReturnCode) {
  trace.hostCallFailed("hnxPropagate", "%i", 65);
  EXPECT_EQ(__LINE__ - 1, host().log().front().line);
  trace.hostCallFailed("hnxCreateInputTerminal", "Error %i.", -5);
  EXPECT_EQ(
      (Texts{"2 zebtests Something::done | Function hnxPropagate failed in Something::done. 65. | "
             "hnxPropagate | Something::done | 65",
             "2 zebtests Something::done | Function hnxCreateInputTerminal failed in "
             "Something::done. Error -5.. | hnxCreateInputTerminal | Something::done | Error -5."}),
      messageLines());
}

TEST_F(TraceMessage, OfTheMaximumNamesTheBroker) {
  trace.maximumReached("BRK1");
  EXPECT_EQ(__LINE__ - 1, host().log().front().line);
  EXPECT_EQ(Texts{"3 zebtests Something::done | Maximum reached. Reset statistics. | BRK1"},
            messageLines());
}

TEST_F(TraceMessage, IsWrittenWithTheSwitchOnToo) {
  const Tracing on;
  trace.allocationError();
  EXPECT_EQ(1U, host().messages(1).size());
  EXPECT_EQ(1U, host().log().size());
}

}  // namespace

}  // namespace trace_test
