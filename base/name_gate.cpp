// SPDX-License-Identifier: Apache-2.0
#include "base/name_gate.h"

#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

namespace {

using Gates = std::unordered_map<std::string, Shared_Gate>;

// There as long as one gate has a user. A static map would be gone before a host's last threads.
Gates* gates = nullptr;
std::mutex joining;

void dropWhenUnused() {
  if (!gates || !gates->empty()) return;
  delete gates;
  gates = nullptr;
}

}  // namespace

Name_Gate::Name_Gate(const char* name) {
  if (!name) return;
  const std::lock_guard guard(joining);
  try {
    if (!gates) gates = new Gates;
    auto& [own, gate] = *gates->try_emplace(name).first;
    name_ = &own;
    gate_ = &gate;
    ++gate_->users;
  } catch (const std::bad_alloc&) {
    dropWhenUnused();
  }
}

Name_Gate::~Name_Gate() {
  if (!gate_) return;
  const std::lock_guard guard(joining);
  if (--gate_->users > 0) return;
  gates->erase(gates->find(*name_));
  dropWhenUnused();
}
