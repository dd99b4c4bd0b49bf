// SPDX-License-Identifier: Apache-2.0
#include "host/run/exception.h"

#include <utility>

namespace host {
namespace {

thread_local std::shared_ptr<const ExceptionData> pending;

}  // namespace

const ExceptionData* pendingException() {
  return pending.get();
}

void setPendingException(std::shared_ptr<const ExceptionData> data) {
  pending = std::move(data);
}

void clearPendingException() {
  pending.reset();
}

void raisePendingException() {
  if (pending) throw MessageFailure{std::exchange(pending, nullptr)};
}

}  // namespace host
