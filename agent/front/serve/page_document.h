// SPDX-License-Identifier: Apache-2.0
// All that the page shows, in one document: "zebmon.page".
#ifndef ZEB_AGENT_FRONT_SERVE_PAGE_DOCUMENT_H
#define ZEB_AGENT_FRONT_SERVE_PAGE_DOCUMENT_H

#include <string>
#include <vector>

#include "agent/front/serve/watcher.h"
#include "agent/render/json.h"

namespace serve {

// What is the same for all who ask for this look.
render::Json pageDocument(const Seen& seen);

// What differs from answer to answer.
struct Beside {
  Clock::time_point now;  // of the answer
  Health health = {};
  std::vector<std::string> routes = {};  // that can be asked for
  std::string events = "null";           // "zebmon.events", or null where they may not be told
};

// The rest of the document, with the comma that it begins with.
std::string pageRest(const Seen& seen, const Beside& beside);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_PAGE_DOCUMENT_H
