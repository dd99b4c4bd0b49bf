// SPDX-License-Identifier: Apache-2.0
// What the server answers, apart from how it is carried.
#ifndef ZEB_AGENT_FRONT_SERVE_ANSWERS_H
#define ZEB_AGENT_FRONT_SERVE_ANSWERS_H

#include "agent/front/serve/assets.h"
#include "agent/front/serve/event_book.h"
#include "agent/front/serve/gate.h"
#include "agent/front/serve/journal.h"
#include "agent/front/serve/keeper.h"
#include "agent/front/serve/watcher.h"
#include "agent/front/serve/what_changed.h"

namespace serve {

// Answers requests from what the watcher saw last. For any number of threads.
class Answers {
 public:
  // All must live as long. `changes` is null when there is no history.
  Answers(const Rules& rules, const Watcher& watcher, const EventBook& events, const Keeper& keeper,
          WhatChanged* changes, Journal& journal)
      : rules_(rules),
        watcher_(watcher),
        events_(events),
        keeper_(keeper),
        changes_(changes),
        journal_(journal) {}

  // Never throws: what goes wrong is an answer too.
  Reply operator()(const Request& request) noexcept;

 private:
  Reply answer(const Request& request, const Verdict& verdict) const;
  Reply answerText(const Request& request, Text text) const;
  Reply answerHistory(const Request& request, const HistoryQuery& query) const;
  Reply answerChanges(const Request& request) const;
  Health health() const;
  Reply answerDocument(const Request& request, Route route) const;
  Reply answerPage(const Request& request, std::uint64_t since) const;
  Reply answerFile(const Request& request, const page::File& file) const;

  const Rules& rules_;
  const Watcher& watcher_;
  const EventBook& events_;
  const Keeper& keeper_;
  WhatChanged* const changes_;
  Journal& journal_;
  const Assets assets_;
};

// {"error":"SENTENCE."} with that status.
Reply errorReply(int status, const std::string& problem);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_ANSWERS_H
