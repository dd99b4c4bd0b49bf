// SPDX-License-Identifier: Apache-2.0
#include "host/run/plugin.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstring>
#include <stdexcept>

namespace host {
namespace {

constexpr char kEntryPoint[] = "gqaGetMessageflowNodeFactory";
constexpr char kEyecatcher[] = "NVFT";
constexpr std::int32_t kVersion = 3;

bool known(const HostNodeFunctionTable& table) {
  return std::memcmp(table.eyecatcher, kEyecatcher, sizeof table.eyecatcher) == 0 &&
         table.version == kVersion && table.createContext != nullptr &&
         table.deleteContext != nullptr && table.getAttributeName != nullptr &&
         table.setAttribute != nullptr && table.getAttribute != nullptr &&
         table.evaluate != nullptr;
}

}  // namespace

// The file stays loaded until the process ends, as in a real host: its threads may still be on
// their way out of it.
Plugin::Plugin(const std::filesystem::path& file) {
  void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet.
  if (library == nullptr) throw std::runtime_error(fmt::format("can't load {}", dlerror()));
  using EntryPoint = HostFactory* (*)();
  const auto entry = reinterpret_cast<EntryPoint>(dlsym(library, kEntryPoint));
  if (entry == nullptr) {
    throw std::runtime_error(fmt::format("{} has no {}", file.string(), kEntryPoint));
  }
  factory_ = entry();
  if (factory_ == nullptr || factory_->classes.empty()) {
    throw std::runtime_error(fmt::format("{} defines no node class", file.string()));
  }
  table_ = factory_->classes.front().table;
  if (!known(*table_)) {
    throw std::runtime_error(
        fmt::format("{} defines {} with a function table that is not \"{}\" version {}",
                    file.string(), toUtf8(factory_->classes.front().name), kEyecatcher, kVersion));
  }
}

}  // namespace host
