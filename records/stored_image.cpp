#include "records/stored_image.h"

#include <mutex>
#include <new>
#include <unordered_map>
#include <vector>

#include "records/record_factory.h"

struct Stored_Image::Shared {
  void* address = nullptr;
  std::vector<std::uint8_t> bytes;
  int users = 0;
};

// The latest image of each place; older ones live as long as a tree holds them.
struct Stored_Image::Pool {
  std::unordered_map<const void*, Shared*> latest;
  std::size_t images = 0;

  // There as long as there is an image. A static map would be gone before a host's last threads.
  static Pool* pool;
  static std::mutex changing;

  static void dropWhenUnused() {
    if (!pool || pool->images > 0) return;
    delete pool;
    pool = nullptr;
  }

  static Shared* join(std::unique_ptr<Shared> image) {
    if (!pool) pool = new Pool;
    Shared*& latest = pool->latest.try_emplace(image->address, nullptr).first->second;
    if (!latest || latest->bytes != image->bytes) {
      latest = image.release();
      ++pool->images;
    }
    ++latest->users;
    return latest;
  }
};

Stored_Image::Pool* Stored_Image::Pool::pool = nullptr;
std::mutex Stored_Image::Pool::changing;

Stored_Image Stored_Image::of(ZEB_Record& record) {
  Stored_Image image;
  if (!record.OK() || !record.getAddress()) return image;
  try {
    auto made = std::make_unique<Shared>();
    made->address = record.getAddress();
    made->bytes.resize(record.size());
    record.putTo(made->bytes.data(), made->address);
    const std::lock_guard guard(Pool::changing);
    image.shared_ = Pool::join(std::move(made));
  } catch (const std::bad_alloc&) {
    const std::lock_guard guard(Pool::changing);
    Pool::dropWhenUnused();
  }
  return image;
}

Stored_Image::~Stored_Image() {
  if (!shared_) return;
  const std::lock_guard guard(Pool::changing);
  if (--shared_->users > 0) return;
  const auto latest = Pool::pool->latest.find(shared_->address);
  if (latest != Pool::pool->latest.end() && latest->second == shared_)
    Pool::pool->latest.erase(latest);
  delete shared_;
  --Pool::pool->images;
  Pool::dropWhenUnused();
}

std::unique_ptr<ZEB_Record> Stored_Image::record() const {
  if (!shared_) return nullptr;
  std::unique_ptr<ZEB_Record> record = makeBlankRecord(layout::typeOf(shared_->bytes.data()));
  if (record) record->getFrom(shared_->bytes.data(), shared_->address);
  return record && record->OK() ? std::move(record) : nullptr;
}
