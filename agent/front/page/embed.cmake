# SPDX-License-Identifier: Apache-2.0
# Writes files as a C++ table: cmake -D OUT=FILE.cpp -D "FILES=NAME=PATH;..." -D SUMS=SHA256SUMS -P embed.cmake
# Stops when a file that SUMS names beside itself is another one.
file(STRINGS ${SUMS} sums)
get_filename_component(others ${SUMS} DIRECTORY)
foreach(line IN LISTS sums)
  string(REGEX MATCH "^([0-9a-f]+)  (.+)$" line "${line}")
  file(SHA256 "${others}/${CMAKE_MATCH_2}" found)
  if(NOT found STREQUAL CMAKE_MATCH_1)
    message(FATAL_ERROR "${others}/${CMAKE_MATCH_2} is not the file that ${SUMS} names")
  endif()
endforeach()

set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")

set(rows "")
foreach(pair IN LISTS FILES)
  string(REGEX MATCH "^([^=]+)=(.+)$" pair "${pair}")
  set(name "${CMAKE_MATCH_1}")
  set(path "${CMAKE_MATCH_2}")
  get_filename_component(ending "${path}" LAST_EXT)
  string(SUBSTRING "${ending}" 1 -1 ending)
  file(SIZE "${path}" size)
  file(READ "${path}" bytes HEX)
  string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
  string(APPEND rows "    {\"${name}\", \"${type_${ending}}\", {\"${bytes}\", ${size}}},\n")
endforeach()

file(WRITE ${OUT} "// Written by embed.cmake.
#include \"agent/front/page/files.h\"

namespace page {
namespace {

constexpr File kFiles[] = {
${rows}};

}  // namespace

std::span<const File> files() {
  return kFiles;
}

}  // namespace page
")
