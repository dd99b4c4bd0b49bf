// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/trouble.h"

#include "agent/render/values.h"

namespace serve {

Trouble failedCall(const std::string& what, int error, const std::string& remedy) {
  return {Trouble::Kind::system, "can't " + what + ": " + render::errorText(error) + ". " + remedy,
          error};
}

}  // namespace serve
