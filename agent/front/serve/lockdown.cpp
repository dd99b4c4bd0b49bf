// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/lockdown.h"

#include <linux/capability.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>

#include "agent/front/serve/trouble.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZEB_SANITIZED 1
#else
#define ZEB_SANITIZED 0
#endif

namespace serve {
namespace {

constexpr char kRemedy[] = "Use a kernel with seccomp, version 3.17 or newer";

// The kernel takes the lower half of these arguments, so only that is compared.
constexpr scmp_datum_t kLowerHalf = 0xFFFFFFFF;

scmp_arg_cmp isValue(unsigned argument, int value) {
  return {argument, SCMP_CMP_MASKED_EQ, kLowerHalf,
          static_cast<scmp_datum_t>(static_cast<std::uint32_t>(value))};
}

scmp_arg_cmp hasBits(unsigned argument, int bits) {
  const auto mask = static_cast<scmp_datum_t>(static_cast<std::uint32_t>(bits));
  return {argument, SCMP_CMP_MASKED_EQ, mask, mask};
}

scmp_arg_cmp lacksBits(unsigned argument, int bits) {
  return {argument, SCMP_CMP_MASKED_EQ, static_cast<scmp_datum_t>(static_cast<std::uint32_t>(bits)),
          0};
}

class Filter {
 public:
  Filter() : context_(seccomp_init(SCMP_ACT_ALLOW), seccomp_release) {
    require(context_ ? 0 : -ENOMEM);
    require(seccomp_attr_set(context_.get(), SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS));
    require(seccomp_attr_set(context_.get(), SCMP_FLTATR_CTL_NNP, 1));
    require(seccomp_attr_set(context_.get(), SCMP_FLTATR_CTL_TSYNC, 1));
  }

  void forbid(std::initializer_list<int> calls) {
    for (const int call : calls) add(SCMP_ACT_ERRNO(EPERM), call, {});
  }

  void forbid(int call, scmp_arg_cmp when) { add(SCMP_ACT_ERRNO(EPERM), call, {when}); }

  // As on a kernel that is older than the call.
  void hide(int call) { add(SCMP_ACT_ERRNO(ENOSYS), call, {}); }

  void load() { require(seccomp_load(context_.get())); }

 private:
  void add(std::uint32_t action, int call, std::initializer_list<scmp_arg_cmp> when) {
    require(seccomp_rule_add_array(context_.get(), action, call, static_cast<unsigned>(when.size()),
                                   when.begin()));
  }

  static void require(int result) {
    if (result != 0) throw failedCall("forbid system calls", -result, kRemedy);
  }

  std::unique_ptr<void, void (*)(scmp_filter_ctx)> context_;
};

// The commands that change something; the kernel knows no others but those that read.
void forbidChanges(Filter& filter) {
  for (const int command : {IPC_RMID, IPC_SET, SHM_LOCK, SHM_UNLOCK}) {
    filter.forbid(SCMP_SYS(shmctl), isValue(1, command));
  }
  for (const int command : {IPC_RMID, IPC_SET, SETVAL, SETALL}) {
    filter.forbid(SCMP_SYS(semctl), isValue(2, command));
  }
  for (const int command : {IPC_RMID, IPC_SET}) {
    filter.forbid(SCMP_SYS(msgctl), isValue(1, command));
  }
}

// IPC_PRIVATE makes an object without being told to.
void forbidMaking(Filter& filter) {
  const auto forbid = [&filter](int call, unsigned flags) {
    filter.forbid(call, hasBits(flags, IPC_CREAT));
    filter.forbid(call, isValue(0, IPC_PRIVATE));
  };
  forbid(SCMP_SYS(shmget), 2);
  forbid(SCMP_SYS(semget), 2);
  forbid(SCMP_SYS(msgget), 1);
}

// Threads are made by clone() with a flag; what clone3() makes can't be seen from its arguments.
void forbidProcesses(Filter& filter) {
  filter.forbid({SCMP_SYS(fork), SCMP_SYS(vfork), SCMP_SYS(execve), SCMP_SYS(execveat),
                 SCMP_SYS(ptrace), SCMP_SYS(process_vm_writev)});
  filter.forbid(SCMP_SYS(clone), lacksBits(0, CLONE_THREAD));
  filter.hide(SCMP_SYS(clone3));
}

void forbidNamespaces(Filter& filter) {
  filter.forbid({SCMP_SYS(setns), SCMP_SYS(unshare), SCMP_SYS(mount), SCMP_SYS(umount2),
                 SCMP_SYS(move_mount), SCMP_SYS(open_tree), SCMP_SYS(fsopen),
                 SCMP_SYS(mount_setattr), SCMP_SYS(pivot_root), SCMP_SYS(chroot)});
}

std::uint32_t keptCapabilities(int word) {
  if (geteuid() != 0 || word != CAP_TO_INDEX(0)) return 0;
  return CAP_TO_MASK(CAP_IPC_OWNER) | CAP_TO_MASK(CAP_DAC_READ_SEARCH);
}

// False when there is nothing to give up: a service of systemd may be refused the call that does
// it.
bool keepOnlyNeeded(std::span<__user_cap_data_struct> sets) {
  bool changed = false;
  for (std::size_t word = 0; word < sets.size(); ++word) {
    __user_cap_data_struct& set = sets[word];
    const std::uint32_t kept = set.permitted & keptCapabilities(static_cast<int>(word));
    changed = changed || set.permitted != kept || set.effective != kept || set.inheritable != 0;
    set = {.effective = kept, .permitted = kept, .inheritable = 0};
  }
  return changed;
}

}  // namespace

void dropCapabilities() {
  // Only who may change that set is able to; for others it is of no use without execve().
  for (int capability = 0; prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0; ++capability) {
    prctl(PR_CAPBSET_DROP, capability, 0, 0, 0);
  }
  prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
  __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
  __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
  syscall(SYS_capget, &header, sets);
  if (!keepOnlyNeeded(sets) || syscall(SYS_capset, &header, sets) == 0) return;
  throw failedCall("give up capabilities", errno, "Start zebmon as another user");
}

std::string whyNotLocked() {
  return ZEB_SANITIZED ? "system calls are not restricted: this build has a sanitizer" : "";
}

void forbidCalls() {
  if (!whyNotLocked().empty()) return;
  Filter filter;
  filter.forbid(SCMP_SYS(shmat), lacksBits(2, SHM_RDONLY));
  filter.forbid({SCMP_SYS(semop), SCMP_SYS(semtimedop), SCMP_SYS(msgsnd), SCMP_SYS(msgrcv)});
  forbidChanges(filter);
  forbidMaking(filter);
  forbidProcesses(filter);
  forbidNamespaces(filter);
  filter.load();
}

}  // namespace serve
