// SPDX-License-Identifier: Apache-2.0
#include "tests/support/library_test.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "base/settings.h"
#include "tests/support/failing.h"

namespace support {
namespace {

constexpr char kConfiguration[] = "/opt/zebpnode.cfg";
constexpr char kDump[] = "ZEB_DumpMemory";

bool isPlainTraceEntry(const LogEntry& entry) {
  return entry.number == 0 && entry.type == 2 && entry.hasSource && entry.source.empty() &&
         entry.inserts.empty() && entry.line > 0;
}

bool isFrame(const std::string& text) {
  return text == "Entry" || text == "Exit" || text.starts_with("Exit: 0x");
}

// The bytes of a dump line, "| 0X... | 01 02 ... | ..... |".
void appendLine(Bytes& bytes, const std::string& line) {
  const std::size_t second = line.find("| ", 2);
  for (std::size_t i = 0; i < 8; ++i) {
    const std::string digits = line.substr(second + 2 + 3 * i, 2);
    if (digits == "  ") return;
    bytes.push_back(static_cast<unsigned char>(std::stoul(digits, nullptr, 16)));
  }
}

}  // namespace

void useOwnConfiguration() {
  ZEB_Environment_Registry(kConfiguration);
}

void configure(const std::string& text) {
  std::ofstream(kConfiguration) << text;
}

void LibraryTest::SetUp() {
  useOwnConfiguration();
  configure("");
  bZEBTracing = 0;
  setClock(kNow, 0);
  host().script = {};
  host().forget();
}

void LibraryTest::TearDown() {
  bZEBTracing = 0;
  succeedAgain();
  host().script = {};
}

Tracing::Tracing() {
  host().forget();
  bZEBTracing = 1;
}

Tracing::~Tracing() {
  bZEBTracing = 0;
}

Texts textsOf(const std::string& unit, const std::string& function) {
  Texts texts;
  for (const LogEntry& entry : host().trace()) {
    if (entry.function != function) continue;
    if (!isPlainTraceEntry(entry))
      texts.push_back("not a trace entry: " + entry.text);
    else if (entry.unit != unit)
      texts.push_back("of unit " + entry.unit + ": " + entry.text);
    else
      texts.push_back(entry.text);
  }
  return texts;
}

Texts ownTextsOf(const std::string& unit, const std::string& function) {
  Texts texts = textsOf(unit, function);
  std::erase_if(texts, isFrame);
  return texts;
}

std::size_t entriesOf(const std::string& function) {
  std::size_t entries = 0;
  for (const LogEntry& entry : host().trace())
    if (entry.function == function && entry.text == "Entry") ++entries;
  return entries;
}

Texts linesOf(const std::string& function) {
  Texts texts;
  for (const LogEntry& entry : host().trace())
    if (entry.function == function && !isFrame(entry.text)) texts.push_back(entry.text);
  return texts;
}

Texts messageLines() {
  Texts lines;
  for (const LogEntry& entry : host().messages()) {
    std::string line =
        std::to_string(entry.number) + " " + entry.unit + " " + entry.function + " | " + entry.text;
    if (entry.type != 2) line += " of type " + std::to_string(entry.type);
    if (entry.source != u"DravikMonitorNode") line += " of another source";
    for (const std::string& insert : entry.inserts) line += " | " + insert;
    lines.push_back(line);
  }
  return lines;
}

std::string message1(const std::string& unit, const std::string& function) {
  return "1 " + unit + " " + function + " | Allocation Error in " + function + " | " + function;
}

std::string message2(const std::string& unit, const std::string& function,
                     const std::string& callee, int errorNumber) {
  const std::string error =
      "Error " + std::to_string(errorNumber) + ". " + std::strerror(errorNumber);
  return "2 " + unit + " " + function + " | Function " + callee + " failed in " + function + ". " +
         error + ". | " + callee + " | " + function + " | " + error;
}

std::vector<Bytes> dumpsTitled(const std::string& title) {
  std::vector<Bytes> dumps;
  bool inside = false;
  for (const LogEntry& entry : host().trace()) {
    if (entry.function != kDump) continue;
    if (entry.text == title) dumps.emplace_back();
    if (entry.text == title)
      inside = true;
    else if (!entry.text.starts_with("| "))
      inside = false;
    else if (inside)
      appendLine(dumps.back(), entry.text);
  }
  return dumps;
}

std::string exitOf(unsigned long result) {
  char text[32];
  std::snprintf(text, sizeof text, "Exit: 0x%X", static_cast<unsigned>(result));
  return text;
}

std::string exitOf(const void* result) {
  return exitOf(reinterpret_cast<unsigned long>(result));
}

std::string hex(const void* pointer) {
  return exitOf(pointer).substr(8);
}

Bytes bytesAt(const void* p, std::size_t count) {
  const auto* const first = static_cast<const unsigned char*>(p);
  return {first, first + count};
}

void expectTraced(const char* unit, const std::vector<Traced>& operations) {
  for (const Traced& operation : operations) {
    const Texts texts = textsOf(unit, operation.function);
    ASSERT_LE(2U, texts.size()) << operation.function;
    EXPECT_EQ("Entry", texts.front()) << operation.function;
    EXPECT_EQ(operation.exit, texts.back()) << operation.function;
  }
}

}  // namespace support
