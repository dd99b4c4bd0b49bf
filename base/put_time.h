// SPDX-License-Identifier: Apache-2.0
// When a message was put into its queue, as message descriptors say it: eight characters of date,
// YYYYMMDD, and eight of time, HHMMSShh with hundredths of a second, in UTC.
#ifndef ZEB_BASE_PUT_TIME_H
#define ZEB_BASE_PUT_TIME_H

#include <optional>

#include "base/timer.h"

// Reads at most eight characters of each, up to a zero byte. Read as scanf's "%4d%2d%2d" and
// "%2d%2d%2d%2d" would, with its blanks, signs and short fields; nothing when a field is missing.
// Days and times out of range carry over, and the seconds are cut to 32 bits.
std::optional<_TimeStamp> ZEB_ReadPutTime(const char* date, const char* time);

// The same for every text, not only quicker for sixteen digits.
std::optional<_TimeStamp> ZEB_ScanPutTime(const char* date, const char* time);

#endif  // ZEB_BASE_PUT_TIME_H
