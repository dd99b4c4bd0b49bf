// SPDX-License-Identifier: Apache-2.0
// The files of the page, ready to be sent.
#ifndef ZEB_AGENT_FRONT_SERVE_ASSETS_H
#define ZEB_AGENT_FRONT_SERVE_ASSETS_H

#include <map>

#include "agent/front/page/files.h"
#include "agent/front/serve/seen.h"

namespace serve {

// Never changes; for any number of threads.
class Assets {
 public:
  Assets();

  // `file` is one of page::files().
  Text of(const page::File& file, bool gzip) const;

 private:
  struct Forms {
    Text plain;
    Text compressed;
  };

  std::map<const page::File*, Forms> forms_;
};

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_ASSETS_H
