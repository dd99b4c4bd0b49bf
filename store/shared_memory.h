// SPDX-License-Identifier: Apache-2.0
// The System V shared memory segment of one broker.
#ifndef ZEB_STORE_SHARED_MEMORY_H
#define ZEB_STORE_SHARED_MEMORY_H

#include <memory>

#include "base/name_mutex.h"
#include "store/memory_manager.h"

// Every process of the broker attaches the same segment, once, however many objects ask in it. The
// key is made of a file named after the broker's identifier. The first to come creates the
// segment, all zeros, and the last to detach removes it.
//
// The segment mutex guards the segment's header, the placing of areas and the clean-up, among all
// processes; the attach mutex guards the process's table of attachments. The former is taken first.
class ZEB_Shared_Memory : public ZEB_Memory_Manager {
 public:
  // Keeps a copy of the broker's identifier and reads the size; null is an empty identifier.
  explicit ZEB_Shared_Memory(const ZEB_String* brokerUuid);
  virtual ~ZEB_Shared_Memory();

  // Creates or joins the segment and attaches it; status 301 when that fails.
  virtual void init();

  // Finds the area's block by its eyecatcher, or carves a new one, and binds the area to it. Null,
  // and the area left alone, when the chain of blocks is damaged or the block does not fit.
  // Takes the segment mutex.
  void* allocate(ZEB_Memory_Manager* area);

  // Attaches the segment, or counts one more user of the attachment that this process has. All
  // ones when the system refuses, null when 50 other segments are attached.
  void* zeb_attach(int segmentId, int key);

  // Counts one user less; the last one detaches, and the result is shmdt's then, else 0.
  int zeb_dettach(void* address);

  // Detaches, removes the segment and its key file when nobody is attached any more, deletes both
  // mutexes and sets status 301.
  void cleanup();

  const char* getSegmentName() const;  // path of the key file; null when memory ran out
  ZEB_String getUuid() const;

 private:
  int segmentKey(const ZEB_Trace& trace) const;
  bool obtain(const ZEB_Trace& trace, int key);
  void join(const ZEB_Trace& trace, int key);
  void removeIfUnused(const ZEB_Trace& trace) const;
  void* place(ZEB_Memory_Manager* area);
  void* carve(ZEB_Memory_Manager* area, std::uint32_t offset);

  std::unique_ptr<ZEB_Name_Mutex> segmentMutex_;
  ZEB_String uuid_;
  ZEB_String segmentName_;
  int segmentId_ = 0;
  bool created_ = false;  // by this object, so that the kernel's zeros are still there
  std::unique_ptr<ZEB_Name_Mutex> attachMutex_;
};

#endif  // ZEB_STORE_SHARED_MEMORY_H
