// SPDX-License-Identifier: Apache-2.0
// The tables of docs/format.md are those from which the code takes its offsets.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "format/layout.h"

namespace format_document_test {

namespace {

using layout::Encoding;
using layout::Field;

const char* encodingName(Encoding encoding) {
  switch (encoding) {
    case Encoding::characters:
      return "characters";
    case Encoding::bytes:
      return "bytes";
    case Encoding::unsigned32:
      return "unsigned 32-bit";
    case Encoding::signed32:
      return "signed 32-bit";
    case Encoding::calendar32:
      return "calendar time";
    case Encoding::stamp:
      return "stamp";
    case Encoding::recordId:
      return "record ID";
    case Encoding::decimalText:
      return "decimal text";
    case Encoding::string:
      return "string";
  }
  return "?";
}

// A layout as a Markdown table; "+ s" stands for what the strings before a field add.
std::string rendered(std::span<const Field> fields, std::uint32_t end) {
  std::ostringstream out;
  out << "| Offset | Width | Field | Encoding |\n| --- | --- | --- | --- |\n";
  const char* moved = "";
  for (const Field& field : fields) {
    const bool string = field.encoding == Encoding::string;
    out << "| " << field.offset << moved << " | " << field.width << (string ? " + 2n" : "") << " | "
        << field.name << " | " << encodingName(field.encoding) << " |\n";
    if (string) moved = " + s";
  }
  out << "| " << end << moved << " | | *end* | |\n";
  return out.str();
}

// The text between a heading and the next one of any level.
std::string section(const std::string& heading) {
  std::ostringstream document;
  document << std::ifstream(ZEB_FORMAT_DOCUMENT).rdbuf();
  const std::string text = document.str();
  const std::size_t begin = text.find("# " + heading + "\n");
  return begin == text.npos ? "" : text.substr(begin, text.find("\n#", begin) - begin);
}

struct Table {
  const char* heading;
  std::span<const Field> fields;
  std::uint32_t end;
};

class FormatDocument : public testing::TestWithParam<Table> {};

}  // namespace

TEST_P(FormatDocument, HasTheTableOfTheLayout) {
  const std::string expected = rendered(GetParam().fields, GetParam().end);
  const std::string found = section(GetParam().heading);
  EXPECT_NE(std::string::npos, found.find(expected))
      << "Under \"" << GetParam().heading << "\" should stand:\n"
      << expected << "but there is:\n"
      << found;
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, FormatDocument,
    testing::Values(
        Table{"Block header", layout::block::fields, layout::block::bytes},
        Table{"Record header", layout::header::fields, layout::header::bytes},
        Table{"Resource information, types 1 and 4", layout::reir::fields, layout::reir::bytes},
        Table{"Broker information, type 2", layout::brir::fields, layout::brir::bytes},
        Table{"Execution group information, type 3", layout::egir::fields, layout::egir::bytes},
        Table{"Node information, type 5", layout::noir::fields, layout::noir::bytes},
        Table{"Statistics, type 6", layout::stir::fields, layout::stir::bytes},
        Table{"Event template, type 7", layout::evtr::fields, layout::evtr::bytes},
        Table{"Event data, type 8", layout::evdr::fields, layout::evdr::bytes}));

TEST(FormatDocument, StatesTheSizeOfAJoinedEvent) {
  EXPECT_EQ(252U, layout::evir::bytes);
  EXPECT_NE(std::string::npos, section("Joined event, type 9").find("252 + s bytes"));
}

}  // namespace format_document_test
