// SPDX-License-Identifier: Apache-2.0
// Strings that failed, strings that are copied out or compared, and what strings trace.
#include <functional>
#include <set>
#include <thread>

#include "base/string.h"
#include "tests/support/failing.h"
#include "tests/support/library_test.h"

namespace string_failure_test {

using namespace support;

namespace {

constexpr char kUnit[] = "zebcstrn";

ZEB_String failed() {
  failAllocations(2 * 8);
  ZEB_String string("seven c");
  succeedAgain();
  return string;
}

void expectFailed(const ZEB_String& string) {
  EXPECT_FALSE(string.OK());
  EXPECT_EQ(301, string.getStatus());
  EXPECT_EQ(nullptr, string.getwcValue());
  EXPECT_EQ(nullptr, string.getcValue());
  EXPECT_EQ(nullptr, string());
  Bytes bytes(32, 0xEE);
  EXPECT_EQ(bytes.data(), string.put(bytes.data()));
  EXPECT_EQ(Bytes(32, 0xEE), bytes);
  zebchar unit = 0xEEEE;
  string.copyTo(&unit, 1);
  EXPECT_EQ(0xEEEE, unit);
  EXPECT_FALSE(string.isEquivalent(""));
  EXPECT_TRUE(string == "");
}

class FailedString : public LibraryTest {};

TEST_F(FailedString, OneThatIsLostIsAsOneThatFoundNoMemory) {
  expectFailed(ZEB_String::lost());
}

TEST_F(FailedString, HasNoValueAndDoesNothing) {
  ZEB_String string = failed();
  expectFailed(string);
  const Bytes form{1, 0, 0, 0, 'a', 0, 0, 0};
  EXPECT_EQ(form.data(), string.get(form.data()));
  expectFailed(string);
}

TEST_F(FailedString, CanFailInEveryConstructor) {
  const zebchar units[] = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 0};
  const ZEB_String seven("seven c");
  failAllocations(2 * 8);
  expectFailed(ZEB_String(units));
  expectFailed(ZEB_String("seven c"));
  expectFailed(ZEB_String(seven));
  EXPECT_TRUE(messageLines().empty());
}

TEST_F(FailedString, AnEmptyOneNeedsNoMemory) {
  failAllocations(2);
  EXPECT_TRUE(ZEB_String().OK());
  EXPECT_TRUE(ZEB_String("").OK());
  EXPECT_EQ(0, *ZEB_String().getwcValue());
}

TEST_F(FailedString, StaysFailed) {
  ZEB_String string = failed();
  const zebchar units[] = {'a', 0};
  string = units;
  expectFailed(string);
  string = "a";
  expectFailed(string);
  string = ZEB_String("a");
  expectFailed(string);
  string += "a";
  expectFailed(string);
}

TEST_F(FailedString, FailsWhenTheAssignedCharsCannotBeWidened) {
  ZEB_String string("value");
  failAllocations(2 * 4, 0, 1);
  string = "abc";
  expectFailed(string);
}

TEST_F(FailedString, MakesWhatIsCopiedOrJoinedFromItFail) {
  const ZEB_String lost = failed();
  expectFailed(ZEB_String(lost));
  ZEB_String assigned("value");
  assigned = lost;
  expectFailed(assigned);
  ZEB_String appended("value");
  appended += lost;
  expectFailed(appended);
  expectFailed(lost + "a");
  expectFailed(ZEB_String("a") + lost);
}

TEST_F(FailedString, FailsWhenItCannotGrow) {
  ZEB_String string("abc");
  failAllocations(2 * 7);
  string += "def";
  expectFailed(string);
}

TEST_F(FailedString, FailsWhenItCannotBeReadOrAssigned) {
  const Bytes form{3, 0, 0, 0, 'a', 0, 'b', 0, 'c', 0, 0, 0};
  ZEB_String read("x");
  failAllocations(2 * 4);
  read.get(form.data());
  expectFailed(read);
  ZEB_String assigned("x");
  const zebchar units[] = {'a', 'b', 'c', 0};
  assigned = units;
  expectFailed(assigned);
}

TEST_F(FailedString, OnlyTheNarrowViewIsMissingWhenItCannotBeMade) {
  const ZEB_String string("abc");
  failAllocations(3 * 3 + 1);
  EXPECT_EQ(nullptr, string.getcValue());
  EXPECT_TRUE(string.OK());
  EXPECT_FALSE(string.isEquivalent("abc"));
  succeedAgain();
  EXPECT_STREQ("abc", string.getcValue());
}

TEST_F(FailedString, ACleanedOneHasNoValueEither) {
  ZEB_String string("abc");
  string.cleanup();
  EXPECT_EQ(nullptr, string.getwcValue());
  EXPECT_EQ(nullptr, string.getcValue());
  EXPECT_TRUE(string.OK());
  Bytes bytes(32);
  EXPECT_EQ(bytes.data(), string.put(bytes.data()));
  string = "again";
  EXPECT_STREQ("again", string.getcValue());
}

class StringOut : public LibraryTest {};

TEST_F(StringOut, IsCopiedWithItsTerminatorOnlyWhereItFits) {
  const ZEB_String string("abc");
  const auto copied = [&](int n) {
    std::vector<zebchar> to(6, 0xEEEE);
    string.copyTo(to.data(), n);
    return to;
  };
  using Units = std::vector<zebchar>;
  EXPECT_EQ(Units(6, 0xEEEE), copied(-1));
  EXPECT_EQ(Units(6, 0xEEEE), copied(0));
  EXPECT_EQ((Units{'a', 0xEEEE, 0xEEEE, 0xEEEE, 0xEEEE, 0xEEEE}), copied(1));
  EXPECT_EQ((Units{'a', 'b', 'c', 0xEEEE, 0xEEEE, 0xEEEE}), copied(3));
  EXPECT_EQ((Units{'a', 'b', 'c', 0, 0xEEEE, 0xEEEE}), copied(4));
  EXPECT_EQ((Units{'a', 'b', 'c', 0, 0xEEEE, 0xEEEE}), copied(6));
  string.copyTo(nullptr, 6);
}

TEST_F(StringOut, EquivalenceIgnoresLetterCase) {
  const ZEB_String string("NoOverride1");
  EXPECT_TRUE(string.isEquivalent("NoOverride1"));
  EXPECT_TRUE(string.isEquivalent("NOOVERRIDE1"));
  EXPECT_TRUE(string.isEquivalent("nooverride1"));
  EXPECT_FALSE(string.isEquivalent("nooverride2"));
  EXPECT_FALSE(string.isEquivalent("nooverride"));
  EXPECT_FALSE(string.isEquivalent("nooverride11"));
  EXPECT_FALSE(string.isEquivalent("xooverride1"));
  EXPECT_FALSE(string.isEquivalent(""));
  EXPECT_FALSE(string.isEquivalent(nullptr));
  EXPECT_TRUE(ZEB_String().isEquivalent(""));
  EXPECT_FALSE(ZEB_String().isEquivalent("a"));
  EXPECT_FALSE(ZEB_String().isEquivalent(nullptr));
}

TEST_F(StringOut, ThreadsShareOneNarrowView) {
  const ZEB_String string("shared");
  char* views[2] = {};
  {
    std::jthread first([&] { views[0] = string.getcValue(); });
    std::jthread second([&] { views[1] = string.getcValue(); });
  }
  EXPECT_EQ(views[0], views[1]);
  EXPECT_STREQ("shared", views[0]);
}

TEST_F(StringOut, EveryOperationTraces) {
  const zebchar units[] = {'a', 0};
  Bytes bytes{1, 0, 0, 0, 'z', 0, 0, 0};
  const Tracing on;
  {
    ZEB_String string(units);
    string = units;
    string + units;
    string += units;
    string == units;
    string != units;
    const void* const wide = string.getwcValue();
    const void* const narrow = string.getcValue();
    string();
    expectTraced(kUnit, {{"ZEB_String::getwcValue", exitOf(wide)},
                         {"ZEB_String::getcValue", exitOf(narrow)},
                         {"ZEB_String::operator()", exitOf(narrow)}});
    string.size();
    string.getStatus();
    string.OK();
    string.binarySize();
    string.get(bytes.data());
    string.put(bytes.data());
    string.copyTo(nullptr, 0);
    string.isEquivalent("Z");
  }
  expectTraced(kUnit, {{"ZEB_String::ZEB_String", "Exit"},
                       {"ZEB_String::~ZEB_String", "Exit"},
                       {"ZEB_String::init", "Exit"},
                       {"ZEB_String::cleanup", "Exit"},
                       {"ZEB_String::operator=", "Exit"},
                       {"ZEB_String::operator+", "Exit"},
                       {"ZEB_String::operator+=", "Exit"},
                       {"ZEB_String::operator==", "Exit: 0x0"},
                       {"ZEB_String::operator!=", "Exit: 0x1"},
                       {"ZEB_String::size", "Exit: 0x2"},
                       {"ZEB_String::getStatus", "Exit: 0x0"},
                       {"ZEB_String::OK", "Exit: 0x1"},
                       {"ZEB_String::binarySize", "Exit: 0x8"},
                       {"ZEB_String::get", exitOf(bytes.data() + 8)},
                       {"ZEB_String::put", exitOf(bytes.data() + 8)},
                       {"ZEB_String::copyTo", "Exit"},
                       {"ZEB_String::isEquivalent", "Exit: 0x1"}});
}

TEST_F(StringOut, EachWayToTheNarrowViewTraces) {
  const ZEB_String string("a");
  const std::string function = "ZEB_String::getcValue";
  const Tracing on;
  const char* const made = string.getcValue();
  EXPECT_EQ((Texts{"Entry", exitOf(made)}), textsOf(kUnit, function)) << "made";
  host().forget();
  string.getcValue();
  EXPECT_EQ((Texts{"Entry", exitOf(made)}), textsOf(kUnit, function)) << "kept";
  host().forget();
  const ZEB_String other("bc");
  failAllocations(3 * 2 + 1);
  other.getcValue();
  EXPECT_EQ((Texts{"Entry", "Exit: 0x0"}), textsOf(kUnit, function)) << "not made";
}

// Each form is known by the line of its entry, whatever it calls.
TEST_F(StringOut, EveryFormOfAnOperatorTraces) {
  ZEB_String string("a");
  const ZEB_String other("b");
  const zebchar units[] = {'c', 0};
  const auto formsOf = [](const std::string& function, const std::function<void()>& use) {
    const Tracing on;
    use();
    std::set<int> lines;
    for (const LogEntry& entry : host().trace())
      if (entry.unit == kUnit && entry.function == function && entry.text == "Entry")
        lines.insert(entry.line);
    return lines.size();
  };
  EXPECT_EQ(4U, formsOf("ZEB_String::ZEB_String", [&] {
              const ZEB_String made[] = {ZEB_String(), ZEB_String("c"), ZEB_String(units),
                                         ZEB_String(other)};
            }));
  EXPECT_EQ(3U, formsOf("ZEB_String::operator=", [&] { (string = units) = "c", string = other; }));
  EXPECT_EQ(3U, formsOf("ZEB_String::operator+", [&] { string + units + "c" + other; }));
  EXPECT_EQ(3U, formsOf("ZEB_String::operator+=", [&] { ((string += units) += "c") += other; }));
  EXPECT_EQ(3U, formsOf("ZEB_String::operator==", [&] {
              EXPECT_FALSE(string == units || string == "c" || string == other);
            }));
  EXPECT_EQ(3U, formsOf("ZEB_String::operator!=",
                        [&] { EXPECT_TRUE(string != units && string != "c" && string != other); }));
}

}  // namespace

}  // namespace string_failure_test
