// SPDX-License-Identifier: Apache-2.0
// The blocks of memory that the library was given and has not freed, in this process.
#ifndef ZEB_TESTS_FAULTS_BLOCKS_H
#define ZEB_TESTS_FAULTS_BLOCKS_H

namespace faults {

void remember(const void* block);
// True when the block was the library's.
bool forget(const void* block);
long livingBlocks();

}  // namespace faults

#endif  // ZEB_TESTS_FAULTS_BLOCKS_H
