// SPDX-License-Identifier: Apache-2.0
// Numbers as people read them.
#ifndef ZEB_FLOWFILE_NUMBERS_H
#define ZEB_FLOWFILE_NUMBERS_H

#include <cstdint>
#include <string>

namespace flowfile {

// "1,234,567": groups of three digits, in every locale.
std::string grouped(std::uint64_t number);

// The same of a number that may be negative: "-1,234".
std::string groupedSigned(std::int64_t number);

// "1 node", "3 nodes": what an "s" makes the plural of.
std::string counted(std::uint64_t count, const char* what);

}  // namespace flowfile

#endif  // ZEB_FLOWFILE_NUMBERS_H
