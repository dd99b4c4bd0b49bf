// SPDX-License-Identifier: Apache-2.0
#include "agent/archive/tar.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace archived {
namespace {

using Kind = Failure::Kind;

struct Close {
  void operator()(struct ::archive* open) const { archive_read_free(open); }
};
using Reading = std::unique_ptr<struct ::archive, Close>;

struct Free {
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};
using Entry = std::unique_ptr<archive_entry, Free>;

template <class T>
T* made(T* object) {
  if (object == nullptr) throw std::bad_alloc();
  return object;
}

Reading opened(int descriptor) {
  constexpr std::size_t kBlock = 64 * 1024;
  Reading reading(made(archive_read_new()));
  archive_read_support_format_tar(reading.get());
  if (archive_read_open_fd(reading.get(), descriptor, kBlock) != ARCHIVE_OK) return nullptr;
  return reading;
}

std::string nameOf(archive_entry* entry) {
  const char* const name = archive_entry_pathname(entry);
  return name == nullptr ? "" : name;
}

// A file with holes would grow beyond what the archive holds of it.
bool isPlain(archive_entry* entry) {
  return archive_entry_filetype(entry) == AE_IFREG && archive_entry_hardlink(entry) == nullptr &&
         archive_entry_size_is_set(entry) != 0 && archive_entry_sparse_count(entry) == 0;
}

// What a call of the system said while bytes were read, else that the archive is damaged.
Failure failureOf(struct ::archive* reading, const std::string& name) {
  const int error = archive_errno(reading);
  if (error == EIO || error == EISDIR) return {.kind = Kind::system, .error = error};
  return {.kind = Kind::damaged,
          .what = name.empty() ? "its archive is cut off or damaged"
                               : "its member " + name + " is cut off or damaged"};
}

// Grows with what is really there, not with what a header promises.
Failure readBytes(struct ::archive* reading, const std::string& name, std::uint64_t size,
                  std::vector<std::uint8_t>& bytes) {
  constexpr std::uint64_t kStep = 1 << 20;
  while (bytes.size() < size) {
    const std::size_t had = bytes.size();
    bytes.resize(had + static_cast<std::size_t>(std::min(kStep, size - had)));
    const la_ssize_t got = archive_read_data(reading, &bytes[had], bytes.size() - had);
    if (got <= 0) return failureOf(reading, name);
    bytes.resize(had + static_cast<std::size_t>(got));
  }
  return {};
}

Failure readMember(struct ::archive* reading, archive_entry* entry, const Admission& admission,
                   TarMembers& members) {
  const std::string name = nameOf(entry);
  if (!isPlain(entry)) return {.kind = Kind::damaged, .what = "its member " + name + " is no file"};
  const auto size = static_cast<std::uint64_t>(archive_entry_size(entry));
  if (Failure failure = admission(name, size)) return failure;
  const auto [place, isNew] = members.files.try_emplace(name);
  if (!isNew) return {.kind = Kind::damaged, .what = "its member " + name + " is there twice"};
  return readBytes(reading, name, size, place->second);
}

Failure readAll(int descriptor, const Admission& admission, TarMembers& members) {
  const Reading reading = opened(descriptor);
  if (reading == nullptr) return {.kind = Kind::foreign};
  for (;;) {
    archive_entry* entry = nullptr;
    const int result = archive_read_next_header(reading.get(), &entry);
    if (result == ARCHIVE_EOF) return {};
    if (result != ARCHIVE_OK && result != ARCHIVE_WARN) {
      Failure failure = failureOf(reading.get(), "");
      if (members.files.empty() && failure.kind == Kind::damaged) failure = {.kind = Kind::foreign};
      return failure;
    }
    if (Failure failure = readMember(reading.get(), entry, admission, members)) return failure;
  }
}

}  // namespace

TarWriter::TarWriter(Sink sink, std::int64_t seconds)
    : sink_(std::move(sink)), seconds_(seconds), archive_(made(archive_write_new())) {
  const auto write = [](struct ::archive* open, void* self, const void* bytes,
                        std::size_t size) -> la_ssize_t {
    auto& writer = *static_cast<TarWriter*>(self);
    writer.error_ = writer.sink_({static_cast<const char*>(bytes), size});
    if (writer.error_ == 0) return static_cast<la_ssize_t>(size);
    archive_set_error(open, writer.error_, "the sink takes no more");
    return -1;
  };
  archive_write_set_format_pax_restricted(archive_);
  archive_write_set_bytes_per_block(archive_, 64 * 1024);
  archive_write_set_bytes_in_last_block(archive_, 1);
  if (archive_write_open(archive_, this, nullptr, write, nullptr) != ARCHIVE_OK) fail();
}

TarWriter::~TarWriter() {
  if (failure_) archive_write_fail(archive_);
  archive_write_free(archive_);
}

void TarWriter::fail() {
  if (!failure_) failure_ = {.kind = Kind::system, .error = error_ != 0 ? error_ : EIO};
}

void TarWriter::add(const std::string& name, std::span<const std::uint8_t> bytes) {
  if (failure_) return;
  const Entry entry(made(archive_entry_new()));
  archive_entry_set_pathname(entry.get(), name.c_str());
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), 0600);
  archive_entry_set_mtime(entry.get(), seconds_, 0);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(bytes.size()));
  if (archive_write_header(archive_, entry.get()) != ARCHIVE_OK) return fail();
  const la_ssize_t written = archive_write_data(archive_, bytes.data(), bytes.size());
  if (written != static_cast<la_ssize_t>(bytes.size())) fail();
}

Failure TarWriter::finish() {
  if (!failure_ && archive_write_close(archive_) != ARCHIVE_OK) fail();
  return failure_;
}

TarMembers readTar(int descriptor, const Admission& admission) {
  TarMembers members;
  members.failure = readAll(descriptor, admission, members);
  if (members.failure) members.files.clear();
  return members;
}

}  // namespace archived
