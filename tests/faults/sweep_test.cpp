// SPDX-License-Identifier: Apache-2.0
// For each function that the library calls, and each error that its manual page names: the first
// call fails in a run of its own, then the second, and so on until a run meets no failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <vector>

#include "tests/faults/expected.h"
#include "tests/faults/one_run.h"
#include "tests/support/seam.h"

namespace sweep_test {

using namespace faults;
using support::seam::mallocIsOurs;
using support::seam::nameOf;

namespace {

constexpr int kFailuresShown = 20;

struct Swept {
  Function function;
  std::vector<int> errors;
  Settings settings = Settings::kInTheFirstPlace;
};

void PrintTo(const Swept& swept, std::ostream* out) {
  *out << nameOf(swept.function);
}

// fopen has the errors of open too, as far as it opens for reading; system those of fork and
// waitpid, and 0 for a shell that can't be executed; remove those of unlink and rmdir.
const Swept kSwept[] = {
    {kNew, {ENOMEM}},
    {kMalloc, {ENOMEM}},
    {kFtok, {EACCES, EFAULT, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EOVERFLOW}},
    {kOpen,
     {EACCES, EBUSY,      EDQUOT,       EEXIST, EFAULT,  EFBIG,     EINTR,      EINVAL, EISDIR,
      ELOOP,  EMFILE,     ENAMETOOLONG, ENFILE, ENODEV,  ENOENT,    ENOMEM,     ENOSPC, ENOTDIR,
      ENXIO,  EOPNOTSUPP, EPERM,        EROFS,  ETXTBSY, EOVERFLOW, EWOULDBLOCK}},
    {kClose, {EBADF, EDQUOT, EINTR, EIO, ENOSPC}},
    {kUnlink,
     {EACCES, EBUSY, EFAULT, EIO, EISDIR, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EPERM,
      EROFS}},
    {kMsgget, {EACCES, EEXIST, ENOENT, ENOMEM, ENOSPC}},
    {kMsgsnd, {EACCES, EAGAIN, EFAULT, EIDRM, EINTR, EINVAL, ENOMEM}},
    {kMsgrcv, {E2BIG, EACCES, EFAULT, EIDRM, EINTR, EINVAL, ENOMSG, ENOSYS}},
    {kMsgctl, {EACCES, EFAULT, EIDRM, EINVAL, EPERM}},
    {kSemget, {EACCES, EEXIST, EIDRM, EINVAL, ENOENT, ENOMEM, ENOSPC}},
    {kSemop, {E2BIG, EACCES, EAGAIN, EFAULT, EFBIG, EIDRM, EINTR, EINVAL, ENOMEM, ERANGE}},
    {kSemctl, {EACCES, EFAULT, EIDRM, EINVAL, EPERM, ERANGE}},
    {kShmget, {EACCES, EEXIST, EINVAL, ENFILE, ENOENT, ENOMEM, ENOSPC, EPERM}},
    {kShmat, {EACCES, EIDRM, EINVAL, ENOMEM}},
    {kShmdt, {EINVAL}},
    {kShmctl, {EACCES, EFAULT, EIDRM, EINVAL, ENOMEM, EOVERFLOW, EPERM}},
    {kOpendir, {EACCES, EMFILE, ENFILE, ENOENT, ENOMEM, ENOTDIR}},
    {kFopen,
     {EINVAL, EACCES, EINTR, EISDIR, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENOENT, ENOMEM, ENOTDIR,
      EOVERFLOW, EPERM}},
    {kSystem, {EAGAIN, ENOMEM, ENOSYS, ECHILD, 0}, Settings::kByProbing},
    {kRemove,
     {EACCES, EBUSY, EFAULT, EINVAL, EIO, EISDIR, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR,
      ENOTEMPTY, EPERM, EROFS},
     Settings::kByProbing},
    {kGettimeofday, {EFAULT, EINVAL}},
    {kFlock, {EBADF, EINTR, EINVAL, ENOLCK, EWOULDBLOCK}},
    {kFstat, {EBADF, EFAULT, ENOMEM, EOVERFLOW}},
    {kStat, {EACCES, EFAULT, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EOVERFLOW}},
};

// A run under a sanitizer takes ten times as long, so that only the errors are tried there of which
// the library makes a difference, and one more.
std::vector<int> triedOf(const std::vector<int>& errors) {
  if (mallocIsOurs) return errors;
  std::vector<int> tried{errors.front()};
  for (const int error : {EINTR, EEXIST, ENOENT}) {
    if (std::find(errors.begin() + 1, errors.end(), error) != errors.end()) tried.push_back(error);
  }
  return tried;
}

class Faults : public testing::TestWithParam<Swept> {
 protected:
  Faults() { writeSettings(GetParam().settings); }
  ~Faults() override { removeSettings(); }

  // One run; true while there was a call to fail.
  bool runWith(int error, long nth) {
    const Function function = GetParam().function;
    const Outcome outcome = runOnce({function, nth, error});
    const std::string wrong = wrongWith(outcome);
    if (!wrong.empty() && ++failures_ <= kFailuresShown) {
      ADD_FAILURE() << nameOf(function) << " call " << nth << " (" << outcome.run.variant
                    << ") fails: " << std::strerror(error) << "\n"
                    << wrong;
    }
    tally_.add(outcome);
    if (outcome.run.met) ++points_;
    if (outcome.hung) failures_ = kFailuresShown;  // more of them would take too long
    return outcome.run.met && failures_ < kFailuresShown;
  }

  Tally tally_;
  long points_ = 0;
  int failures_ = 0;
};

TEST_P(Faults, Sweep) {
  const auto& [function, errors, settings] = GetParam();
  if (function == kMalloc && !mallocIsOurs) {
    GTEST_SKIP() << "the sanitizer has its own malloc: only operator new is swept";
  }
  const std::vector<int> tried = triedOf(errors);
  long calls = 0;
  for (const int error : tried) {
    long nth = 1;
    while (runWith(error, nth)) calls = std::max(calls, nth++);
    if (failures_ >= kFailuresShown) FAIL() << "given up after call " << nth;
  }
  std::printf("%s: %ld points, %ld calls with %zu of %zu errors each\n", nameOf(function), points_,
              calls, tried.size(), errors.size());
  RecordProperty("points", std::to_string(points_));
  EXPECT_EQ(tally_.missing(function), "");
}

INSTANTIATE_TEST_SUITE_P(Each, Faults, testing::ValuesIn(kSwept),
                         [](const auto& swept) { return nameOf(swept.param.function); });

}  // namespace

}  // namespace sweep_test
