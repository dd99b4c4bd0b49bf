// SPDX-License-Identifier: Apache-2.0
// ZEB_BRIR: the information record of a broker. Stored: the common part, then the reset time.
#ifndef ZEB_RECORDS_BROKER_RECORD_H
#define ZEB_RECORDS_BROKER_RECORD_H

#include "records/resource_record.h"

class ZEB_BRIR : public ZEB_REIR {
 public:
  // A new record named by the identifier, or for null a blank one.
  explicit ZEB_BRIR(const ZEB_Resource_ID* id);
  ZEB_BRIR(const ZEB_BRIR&) = default;
  // Copies what is stored, and the address; nothing when this record is not OK.
  ZEB_BRIR& operator=(const ZEB_BRIR& other);

  std::uint32_t size() const override;  // 56 + 2 for each unit of its strings; 0 when not OK
  void* getFrom(const void* bytes, void* p) override;
  void* putTo(void* bytes, void* p) override;
  void print() const override;

  // When the statistics of the whole broker were last reset: calendar time, 0 for never.
  void setResetTime(unsigned int resetTime);
  unsigned int getResetTime() const;

 private:
  std::uint32_t resetTime_ = 0;  // calendar time, 0 = never reset
};

#endif  // ZEB_RECORDS_BROKER_RECORD_H
