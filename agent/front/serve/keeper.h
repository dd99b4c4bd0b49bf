// SPDX-License-Identifier: Apache-2.0
// The server's history: what it writes, and what it answers out of it.
#ifndef ZEB_AGENT_FRONT_SERVE_KEEPER_H
#define ZEB_AGENT_FRONT_SERVE_KEEPER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "agent/front/history/recording.h"
#include "agent/front/serve/options.h"
#include "agent/front/serve/seen.h"
#include "agent/model/follower.h"

namespace serve {

// For any number of threads, except its two sinks: only one thread may call them.
class Keeper {
 public:
  // `log` is told what changes. When a history can't be kept there is none: see refusal().
  Keeper(const KeepOptions& options, const std::function<void(const std::string&)>& log);

  void take(const model::FollowLook& look);
  void take(const Seen& seen);

  // Null when there is no history.
  const history::Recording* recording() const { return recording_.get(); }

  // Why there is none though there should be one, without its full stop; else empty.
  const std::string& refusal() const { return refused_; }

  // The same in words for everybody, or why it isn't written now; empty: all is well.
  std::string problem() const;

  // Where it is and how large it may get, a sentence with its end. `seen` may be null.
  std::string describe(const Seen* seen, std::chrono::milliseconds interval) const;

 private:
  std::string refused_;
  std::uint64_t mostBytes_;
  std::unique_ptr<history::Recording> recording_;
};

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_KEEPER_H
