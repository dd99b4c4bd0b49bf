// SPDX-License-Identifier: Apache-2.0
#include "records/stored_image.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_map>
#include <vector>

#include "records/record_factory.h"

struct ZEB_Stored_Image::Held {
  void* address = nullptr;
  std::vector<std::uint8_t> bytes;
  std::atomic<int> users = 0;
};

// The latest image of each place; older ones live as long as a tree holds them.
struct ZEB_Stored_Image::Pool {
  std::unordered_map<const void*, Held*> latest;
  std::size_t images = 0;

  // There as long as there is an image. A static map would be gone before a host's last threads.
  static Pool* pool;
  static std::mutex changing;

  static void dropWhenUnused() {
    if (!pool || pool->images > 0) return;
    delete pool;
    pool = nullptr;
  }

  static Held* join(std::span<const std::uint8_t> bytes, void* address) {
    if (!pool) pool = new Pool;
    Held*& latest = pool->latest.try_emplace(address, nullptr).first->second;
    if (!latest || !std::ranges::equal(latest->bytes, bytes)) {
      auto made = std::make_unique<Held>();
      made->address = address;
      made->bytes.assign(bytes.begin(), bytes.end());
      latest = made.release();
      ++pool->images;
    }
    ++latest->users;
    return latest;
  }
};

ZEB_Stored_Image::Pool* ZEB_Stored_Image::Pool::pool = nullptr;
std::mutex ZEB_Stored_Image::Pool::changing;

ZEB_Stored_Image ZEB_Stored_Image::of(std::span<const std::uint8_t> bytes, void* address) {
  ZEB_Stored_Image image;
  const std::lock_guard guard(Pool::changing);
  try {
    image.held_ = Pool::join(bytes, address);
  } catch (const std::bad_alloc&) {
    Pool::dropWhenUnused();
  }
  return image;
}

ZEB_Stored_Image::ZEB_Stored_Image(const ZEB_Stored_Image& other) : held_(other.held_) {
  if (held_) held_->users.fetch_add(1, std::memory_order_relaxed);
}

// The last user goes under the lock, where nobody else can find the image meanwhile.
ZEB_Stored_Image::~ZEB_Stored_Image() {
  if (!held_) return;
  int users = held_->users.load(std::memory_order_relaxed);
  while (users > 1)
    if (held_->users.compare_exchange_weak(users, users - 1, std::memory_order_release)) return;
  const std::lock_guard guard(Pool::changing);
  if (--held_->users > 0) return;
  const auto latest = Pool::pool->latest.find(held_->address);
  if (latest != Pool::pool->latest.end() && latest->second == held_)
    Pool::pool->latest.erase(latest);
  delete held_;
  --Pool::pool->images;
  Pool::dropWhenUnused();
}

std::span<const std::uint8_t> ZEB_Stored_Image::bytes() const {
  return held_->bytes;
}

void* ZEB_Stored_Image::address() const {
  return held_->address;
}

ZEB_Record_Header ZEB_Stored_Image::header() const {
  ZEB_Record_Header header;
  std::memcpy(&header, held_->bytes.data(), sizeof header);
  return header;
}

std::unique_ptr<ZEB_Record> ZEB_Stored_Image::record() const {
  if (!held_) return nullptr;
  std::unique_ptr<ZEB_Record> record = ZEB_MakeBlankRecord(layout::typeOf(held_->bytes.data()));
  if (record) record->getFrom(held_->bytes.data(), held_->address);
  return record && record->OK() ? std::move(record) : nullptr;
}
