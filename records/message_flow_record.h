// SPDX-License-Identifier: Apache-2.0
// ZEB_MFIR: the information record of a message flow. Stored: the common part, nothing else.
#ifndef ZEB_RECORDS_MESSAGE_FLOW_RECORD_H
#define ZEB_RECORDS_MESSAGE_FLOW_RECORD_H

#include "records/resource_record.h"

// The parent of its nodes. Takes 52 bytes, and 2 for each unit of uuid and label.
class ZEB_MFIR : public ZEB_REIR {
 public:
  // A new record named by the identifier, or for null a blank one. Not OK without memory for its
  // strings.
  explicit ZEB_MFIR(const ZEB_Resource_ID* id);
};

#endif  // ZEB_RECORDS_MESSAGE_FLOW_RECORD_H
