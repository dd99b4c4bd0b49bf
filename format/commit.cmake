# SPDX-License-Identifier: Apache-2.0
# Writes COMMIT_HEADER with the commit that SOURCE_TREE is at. Runs at every build, and leaves the
# file alone while the commit is the same, so that nothing is compiled for it. A source archive has no
# repository; `git archive` wrote its commit into a file.
set(commit unknown)
if(EXISTS ${SOURCE_TREE}/format/archived)
  file(STRINGS ${SOURCE_TREE}/format/archived archived LIMIT_COUNT 1)
endif()
if(archived MATCHES "^commit ([0-9a-f]+)$")
  string(SUBSTRING ${CMAKE_MATCH_1} 0 12 commit)
endif()
# Only a checkout of our own counts: the sources may lie inside somebody else's.
if(EXISTS ${SOURCE_TREE}/.git)
  execute_process(
    COMMAND git --no-optional-locks -C ${SOURCE_TREE} describe --always --exclude=* --abbrev=12 --dirty
    OUTPUT_VARIABLE answer ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
  if(NOT failed)
    set(commit ${answer})
  endif()
endif()
file(CONFIGURE OUTPUT ${COMMIT_HEADER} CONTENT "#define ZEB_COMMIT \"${commit}\"\n")
