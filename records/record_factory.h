// SPDX-License-Identifier: Apache-2.0
// Records of a class that only their stored header tells.
#ifndef ZEB_RECORDS_RECORD_FACTORY_H
#define ZEB_RECORDS_RECORD_FACTORY_H

#include <memory>

#include "records/record.h"

// A blank record of that type (ZEB_RecordType, format/layout.h), to be filled by `get`. The caller
// owns it. Null for type 0, for unknown types, and when memory ran out; a record that found no
// memory for its strings is there, but not OK.
std::unique_ptr<ZEB_Record> ZEB_MakeBlankRecord(std::uint32_t type);

#endif  // ZEB_RECORDS_RECORD_FACTORY_H
