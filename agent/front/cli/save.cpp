// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/save.h"

#include <unistd.h>

#include <array>
#include <cerrno>

#include "agent/front/cli/stop.h"
#include "agent/render/archive_words.h"
#include "format/version.h"

namespace cli {
namespace {

using archived::Existing;
using archived::Failure;

constexpr int kMostNames = 100;  // that are tried

std::string hostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

bool isThere(const Failure& failure) {
  return failure.kind == Failure::Kind::system && failure.error == EEXIST;
}

}  // namespace

archived::Origin originHere() {
  return {.host = hostName(), .version = layout::kVersion};
}

std::string save(const model::Snapshot& snapshot, const archived::Origin& origin,
                 const std::string& file, Existing existing, const char* option) {
  std::string name = file;
  Failure failure;
  if (!file.empty()) {
    failure = archived::save(snapshot, origin, name, existing);
  } else {
    for (int number = 1; number == 1 || (isThere(failure) && number <= kMostNames); ++number) {
      name = render::fileNameFor(snapshot, number);
      failure = archived::save(snapshot, origin, name, Existing::keep);
    }
  }
  if (failure) throw Stop{exitCodeOf(failure), render::problemOfWriting(failure, name, option)};
  return name;
}

}  // namespace cli
