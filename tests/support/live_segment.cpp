// SPDX-License-Identifier: Apache-2.0
#include "tests/support/live_segment.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>

LiveSegment::LiveSegment(const std::string& uuid, const image::Bytes& bytes, int mode)
    : keyFile_("/tmp/" + uuid + ".zebcshme") {
  const std::string unnamed = keyFile_ + ".new";
  std::ofstream{unnamed};
  id_ = shmget(ftok(unnamed.c_str(), 1), bytes.size(), IPC_CREAT | IPC_EXCL | mode);
  if (id_ < 0) throw std::runtime_error("shmget failed");
  write(bytes);
  std::rename(unnamed.c_str(), keyFile_.c_str());
}

LiveSegment::~LiveSegment() {
  removeSegment();
  unlink(keyFile_.c_str());
}

void LiveSegment::write(const image::Bytes& bytes) {
  void* const at = shmat(id_, nullptr, 0);
  if (at == reinterpret_cast<void*>(-1)) throw std::runtime_error("shmat failed");
  std::memcpy(at, bytes.data(), bytes.size());
  shmdt(at);
}

void LiveSegment::removeSegment() {
  if (id_ >= 0) shmctl(id_, IPC_RMID, nullptr);
  id_ = -1;
}

unsigned long LiveSegment::attached() const {
  shmid_ds facts;
  return shmctl(id_, IPC_STAT, &facts) == 0 ? facts.shm_nattch : ~0UL;
}
