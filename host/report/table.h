// SPDX-License-Identifier: Apache-2.0
// Tables for a terminal.
#ifndef ZEB_HOST_REPORT_TABLE_H
#define ZEB_HOST_REPORT_TABLE_H

#include <cstddef>
#include <string>
#include <vector>

namespace host {

// Cells by row. The first row is the heading and has as many cells as every other.
using Rows = std::vector<std::vector<std::string>>;

// The rows as lines, every cell made printable. Columns are as wide as their widest cell, two
// blanks apart, the first `left` of them flush left and the others flush right. A character counts
// as the columns that a terminal gives it. Each line ends in a newline.
std::string table(const Rows& rows, std::size_t left);

}  // namespace host

#endif  // ZEB_HOST_REPORT_TABLE_H
