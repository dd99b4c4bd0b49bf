// SPDX-License-Identifier: Apache-2.0
// ZEB_BRIR: the information record of a broker. Stored: the common part, then the reset time.
#ifndef ZEB_RECORDS_BROKER_RECORD_H
#define ZEB_RECORDS_BROKER_RECORD_H

#include "records/resource_record.h"

// One a broker, the parent of its execution groups. A value: no thread changes it while another
// reads it, and no lock is taken.
class ZEB_BRIR : public ZEB_REIR {
 public:
  // A new record named by the identifier, or for null a blank one. Its reset time is 0.
  explicit ZEB_BRIR(const ZEB_Resource_ID* id);
  ZEB_BRIR(const ZEB_BRIR&) = default;
  // Copies what is stored, and the address; nothing when this record is not OK. Both strings are
  // copied, and this record fails when memory runs out for one.
  ZEB_BRIR& operator=(const ZEB_BRIR& other);

  // In bytes: 56, and 2 for each unit of uuid and label; 0 when not OK.
  std::uint32_t size() const override;
  // As ZEB_Record says.
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;

  // When the statistics of the whole broker were last reset: calendar time, in seconds since
  // 1901-01-01 UTC, 0 for never. Setting it changes the object only, until the next `put`.
  void setResetTime(unsigned int resetTime);
  unsigned int getResetTime() const;

 private:
  std::uint32_t resetTime_ = 0;  // calendar time, 0 = never reset
};

#endif  // ZEB_RECORDS_BROKER_RECORD_H
