// SPDX-License-Identifier: Apache-2.0
// The host's exceptions: what a failing node raises, and what of it the plug-in may ask for.
#ifndef ZEB_HOST_RUN_EXCEPTION_H
#define ZEB_HOST_RUN_EXCEPTION_H

#include <memory>
#include <string>

namespace host {

// The three texts that the plug-in may ask for, in UTF-8.
struct ExceptionData {
  std::string origin;
  std::string code;
  std::string text;
};

// Thrown through nodes, the plug-in's included, up to the propagation or the flow that catches it.
struct MessageFailure {
  std::shared_ptr<const ExceptionData> data;
};

// The exception that is pending in the calling thread, or null. It is set when a propagation ends
// in a failure and stays, with its texts, until it is re-raised or cleared. Setting another one
// replaces it.
const ExceptionData* pendingException();
void setPendingException(std::shared_ptr<const ExceptionData> data);
void clearPendingException();

// Throws the pending exception, after which none is pending. Without one it just returns.
void raisePendingException();

}  // namespace host

#endif  // ZEB_HOST_RUN_EXCEPTION_H
