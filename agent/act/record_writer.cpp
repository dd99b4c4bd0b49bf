// SPDX-License-Identifier: Apache-2.0
#include "agent/act/record_writer.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "agent/reader/record.h"
#include "format/layout.h"
#include "format/names.h"

namespace act {
namespace {

using Written = RecordWriter::Written;

// Attached for writing for as long as it lives.
class Attachment {
 public:
  explicit Attachment(int id) : address_(shmat(id, nullptr, 0)) {}
  ~Attachment() {
    if (attached()) shmdt(address_);
  }
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;

  bool attached() const { return address_ != reinterpret_cast<void*>(-1); }
  std::uint8_t* bytes() const { return static_cast<std::uint8_t*>(address_); }

 private:
  void* address_;
};

// Whether the key file still leads to the segment that was seen.
bool isStillThere(const reader::Segment& seen) {
  const key_t key = ftok(seen.keyFile.c_str(), layout::kKeyProject);
  shmid_ds facts;
  return key != -1 && shmget(key, 0, 0) == seen.id && shmctl(seen.id, IPC_STAT, &facts) == 0 &&
         facts.shm_segsz == seen.size;
}

bool is(const std::vector<std::uint8_t>& record, std::uint32_t type, const reader::RecordId& id) {
  if (record.size() < layout::header::bytes) return false;
  const std::span<const std::uint8_t> bytes = record;
  return layout::typeOf(record.data()) == type && layout::storedSize(bytes) != 0 &&
         reader::RecordId(bytes.subspan(layout::header::id.offset)) == id;
}

}  // namespace

RecordWriter::RecordWriter(const model::SeenBroker& broker) : segment_(broker.segment) {
  const reader::Area* const area = segment_.copy.find(reader::kStatistics);
  if (area == nullptr) return;
  reader::DamageList ignored;
  for (const reader::Record& record : walk(*area, ignored)) {
    places_.try_emplace(record.id().hex(), Place{area->at + record.offset(),
                                                 std::uint64_t{area->last} - record.offset()});
  }
}

template <class Change>
Written RecordWriter::inPlace(const reader::RecordId& id, std::uint32_t type, Change change) {
  const auto place = places_.find(id.hex());
  if (place == places_.end() || !isStillThere(segment_)) return Written::moved;
  const auto [at, most] = place->second;
  if (at > segment_.size || most > segment_.size - at) return Written::moved;
  const Attachment attachment(segment_.id);
  if (!attachment.attached()) {
    error_ = errno;
    return error_ == EACCES || error_ == EPERM ? Written::refused : Written::failed;
  }
  std::uint8_t* const shared = attachment.bytes() + at;
  const std::vector<std::uint8_t> copy(shared, shared + most);
  if (!is(copy, type, id)) return Written::moved;
  change(shared, layout::storedSize(copy));
  return Written::yes;
}

Written RecordWriter::clear(const reader::RecordId& id) {
  return inPlace(id, ZEB_STIR_RECORD, [](std::uint8_t* record, std::size_t size) {
    std::memset(record + layout::header::bytes, 0, size - layout::header::bytes);
  });
}

Written RecordWriter::setResetTime(const reader::RecordId& id, std::uint32_t calendar) {
  return inPlace(id, ZEB_BRIR_RECORD, [calendar](std::uint8_t* record, std::size_t size) {
    std::memcpy(record + size - sizeof calendar, &calendar, sizeof calendar);
  });
}

}  // namespace act
