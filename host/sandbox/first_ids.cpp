// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/first_ids.h"

#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>

namespace host {

void useUpFirstIds() {
  constexpr int kOwnerOnly = 0600;
  const int queue = ::msgget(IPC_PRIVATE, kOwnerOnly);
  if (queue >= 0) ::msgctl(queue, IPC_RMID, nullptr);
  const int semaphore = ::semget(IPC_PRIVATE, 1, kOwnerOnly);
  if (semaphore >= 0) ::semctl(semaphore, 0, IPC_RMID);
}

}  // namespace host
