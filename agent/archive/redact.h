// SPDX-License-Identifier: Apache-2.0
// What of a copied segment may be given to strangers.
#ifndef ZEB_AGENT_ARCHIVE_REDACT_H
#define ZEB_AGENT_ARCHIVE_REDACT_H

#include "agent/reader/segment.h"

namespace archived {

// The segment without texts and message data: of each template its text, of each event its message
// ID, correlation ID and put-application name are zeros. An exception's text keeps the words by
// which it is known as one. Bytes of the events areas that belong to no whole record, where data of
// older messages may be left, are zeros too. Everything else is as it was.
reader::Segment redacted(reader::Segment segment);

}  // namespace archived

#endif  // ZEB_AGENT_ARCHIVE_REDACT_H
